/* SPDX-License-Identifier: MIT */
/* What happened, and how the device is. */
#include "commits.h"

#include <algorithm>
#include <cstdlib>
#include <sstream>

#include "aftermath.h"

namespace vorn::gate {

namespace {

const std::vector<std::string> &commit_properties()
{
    static const std::vector<std::string> names = {
        "time", "origin", "changed",   "deleted", "parse",   "refresh", "validate", "apply",
        "save", "user",   "providers", "process", "program", "changes", "result",   "failures"};
    return names;
}

Json number_of(const std::string &value)
{
    return number(std::atoll(value.c_str()));
}

/* "NAME INSTANCES MICROSECONDS", with commas between them. */
Json providers_of(const std::string &value)
{
    Json providers = list();
    std::istringstream parts(value);
    for (std::string part; std::getline(parts, part, ',');) {
        std::istringstream words(part);
        std::string name;
        long long instances = 0;
        long long microseconds = 0;
        if (!(words >> name >> instances >> microseconds)) continue;
        Json provider = object();
        put_text(provider, "name", name);
        put(provider, "instances", number(instances));
        put(provider, "microseconds", number(microseconds));
        append(providers, std::move(provider));
    }
    return providers;
}

Json problems_of(const std::vector<State> &all, const client::Instance *save)
{
    Json problems = list();
    if (save && save->value("result") == "failed")
        append(problems, json_of(Wrong{save->value("reason"), "save", {}, "result"}));
    for (const State &each : all)
        if (is_not_applied(each.value))
            append(problems, json_of(Wrong{each.value, each.class_name, each.name, "state"}));
    return problems;
}

} // namespace

std::vector<client::Instance> last_commits(Desk &desk, const Caller &caller)
{
    return select(desk, caller, {"commit", {}, {}}, commit_properties());
}

Json json_of_commit(const client::Instance &commit)
{
    Json json = object();
    Json microseconds = object();
    put(json, "number", number_of(commit.called()));
    for (const char *each :
         {"time", "user", "process", "program", "origin", "changes", "result", "failures"})
        put_text(json, each, commit.value(each));
    for (const char *each : {"changed", "deleted"})
        put(json, each, number_of(commit.value(each)));
    for (const char *each : {"parse", "refresh", "validate", "apply", "save"})
        put(microseconds, each, number_of(commit.value(each)));
    put(json, "microseconds", std::move(microseconds));
    put(json, "providers", providers_of(commit.value("providers")));
    return json;
}

Answer get_commits(Desk &desk, const Caller &caller, const Request &)
{
    std::vector<client::Instance> found = last_commits(desk, caller);
    std::ranges::reverse(found);
    Json commits = list();
    for (const client::Instance &each : found)
        append(commits, json_of_commit(each));
    const Json json = object();
    put(json, "commits", std::move(commits));
    return answer_of(json);
}

std::vector<State> states(Desk &desk, const Caller &caller)
{
    const auto schema = desk.schemas.of(desk.device, caller.user);
    std::vector<State> result;
    client::Request request = request_for(caller, client::Request::Kind::plain);
    for (const std::string &each : schema->classes_with_state)
        request.select({each, {}, {}}, {"state"});
    if (request.empty()) return result;
    const std::vector<client::Outcome> outcomes = ask(desk, request);
    for (std::size_t i = 0; i < outcomes.size() && i < schema->classes_with_state.size(); i++) {
        for (const client::Instance &each : outcomes[i].instances) {
            if (!each.value("state").empty())
                result.push_back(
                    {schema->classes_with_state[i], each.called(), each.value("state")});
        }
    }
    return result;
}

Json json_of_state(const State &state)
{
    Json json = object();
    put_text(json, "class", state.class_name);
    if (!state.name.empty()) put_text(json, "name", state.name);
    put_text(json, "property", "state");
    put_text(json, "value", state.value);
    return json;
}

Answer get_status(Desk &desk, const Caller &caller, const Request &)
{
    const std::vector<State> all = states(desk, caller);
    client::Request request = request_for(caller, client::Request::Kind::plain);
    request.ask_for_commit();
    request.select({"save", {}, {}}, {"time", "result", "reason", "unsaved", "boot", "broken"});
    request.select({"trial", {}, {}}, {"state", "id", "holder", "since", "until", "remaining"});
    request.select({"system", {}, {}}, {"hostname"});
    const std::string reply = desk.device.ask(request.text());
    const std::vector<client::Outcome> outcomes = client::parse_answer(reply);
    if (outcomes.size() < 3) throw Problem{500, "failed", "The daemon's answer makes no sense."};

    const Json json = object();
    put_text(json, "commit", client::commit_of(reply));
    put_text(json, "schema", desk.schemas.of(desk.device, caller.user)->id);
    Json device = object();
    for (const client::Instance &each : outcomes[2].instances)
        put_text(device, "hostname", each.value("hostname"));
    put(json, "device", std::move(device));
    const auto &saves = outcomes[0].instances;
    Json save = object();
    for (const client::Instance &each : saves)
        for (const auto &[property, value] : each.values)
            put_text(save, property.c_str(), value);
    put(json, "save", std::move(save));
    put(json, "trial", json_of_trial(outcomes[1].instances));
    put(json, "problems", problems_of(all, saves.empty() ? nullptr : saves.data()));
    Json told = list();
    for (const State &each : all)
        append(told, json_of_state(each));
    put(json, "states", std::move(told));
    return answer_of(json);
}

} // namespace vorn::gate
