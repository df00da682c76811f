/* SPDX-License-Identifier: MIT */
/* Questions to the daemon, and what its refusals mean to a client of the gate. */
#include "asking.h"

#include <algorithm>
#include <sstream>
#include <string_view>

namespace vorn::gate {

namespace {

/* The text after the mark, up to the next quote. */
std::string quoted_after(std::string_view line, std::string_view mark)
{
    const std::size_t found = line.find(mark);
    if (found == std::string_view::npos) return {};
    const std::string_view rest = line.substr(found + mark.size());
    return std::string(rest.substr(0, rest.find('"')));
}

bool is_about_a_trial(std::string_view error)
{
    return error.starts_with("A change is on trial") ||
           error.find("nothing is on trial") != std::string_view::npos ||
           error.find("the change that is on trial has another id") != std::string_view::npos;
}

/* What is said of names stands before the reason, which may name others. */
std::string_view head_of(std::string_view line)
{
    constexpr std::string_view refused = "\" is not valid for property";
    const std::size_t value = line.starts_with("Value \"") ? line.find(refused) : 0;
    if (value == std::string_view::npos) return {};
    const std::string_view head = line.substr(value);
    const std::size_t end = std::min(head.find("\": "), head.find("\"."));
    return end == std::string_view::npos ? head : head.substr(0, end + 1);
}

} // namespace

client::Request request_for(const Caller &caller, client::Request::Kind kind)
{
    client::Request request(kind, "gate");
    request.speak_for(caller.user);
    return request;
}

Wrong wrong_of(const std::string &line, int change)
{
    const std::string_view head = head_of(line);
    Wrong wrong = {line};
    wrong.class_name = quoted_after(head, "lass \"");
    wrong.name = quoted_after(head, "nstance \"");
    wrong.property = quoted_after(head, "roperty \"");
    wrong.change = change;
    return wrong;
}

Problem problem_of(const std::string &error, int change)
{
    Problem problem = {422, "refused", error};
    if (error.starts_with("Access denied")) problem = {403, "access-denied", error};
    if (error.starts_with("The configuration has changed")) problem = {412, "changed", error};
    if (is_about_a_trial(error)) problem = {409, "trial", error};
    std::istringstream lines(error);
    for (std::string line; std::getline(lines, line);)
        problem.errors.push_back(wrong_of(line, change));
    return problem;
}

std::vector<client::Outcome> ask(Desk &desk, const client::Request &request)
{
    return client::parse_answer(desk.device.ask(request.text()));
}

std::vector<client::Instance> select(Desk &desk, const Caller &caller, const client::Target &target,
                                     const std::vector<std::string> &properties)
{
    client::Request request = request_for(caller, client::Request::Kind::plain);
    request.select(target, properties);
    std::vector<client::Outcome> outcomes = ask(desk, request);
    if (outcomes.empty()) return {};
    if (outcomes[0].rc != 0) throw problem_of(outcomes[0].error);
    return std::move(outcomes[0].instances);
}

std::string present_commit(Desk &desk, const Caller &caller)
{
    client::Request request = request_for(caller, client::Request::Kind::plain);
    request.ask_for_commit();
    request.select({"schema-class", "none", {}}, {"type"});
    return client::commit_of(desk.device.ask(request.text()));
}

std::string unquoted(std::string_view tag)
{
    if (tag.starts_with("W/")) tag.remove_prefix(2);
    if (tag.size() >= 2 && tag.front() == '"' && tag.back() == '"')
        tag = tag.substr(1, tag.size() - 2);
    return std::string(tag);
}

} // namespace vorn::gate
