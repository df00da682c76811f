/* SPDX-License-Identifier: MIT */
/* Configurations of before, as the class "generation" tells them. */
#include "generations.h"

#include "failure.h"
#include "verb.h"

namespace vorn::client {

namespace {

constexpr char class_name[] = "generation";

[[noreturn]] void fail_without_history(const std::string &reason)
{
    throw Failure(differs, reason.empty() ? "this device keeps no history" : reason);
}

} // namespace

std::vector<Instance> generations(Device &device)
{
    Request request(Request::Kind::plain);
    request.select({class_name, {}, {}},
                   {"time", "user", "process", "program", "origin", "comment", "schema", "commit",
                    "changes", "bytes", "pinned", "state"});
    std::vector<Outcome> outcomes = parse_answer(device.ask(request.text()));
    if (outcomes.empty() || outcomes[0].instances.empty()) fail_without_history("");
    return outcomes[0].instances;
}

std::string document_of_generation(Device &device, const std::string &number)
{
    Request request(Request::Kind::plain);
    request.select({class_name, number, {}}, {"state", "document"});
    const std::vector<Outcome> outcomes = parse_answer(device.ask(request.text()));
    if (outcomes.empty() || outcomes[0].instances.empty())
        fail_without_history("there is no generation " + number);
    const Instance &found = outcomes[0].instances[0];
    if (found.value("document").empty())
        throw Failure(refused, "generation " + number + " is " + found.value("state"));
    return found.value("document");
}

Configuration configuration_of_generation(Device &device, const std::string &number)
{
    return parse_configuration(document_of_generation(device, number),
                               ("generation " + number).c_str());
}

std::string generation_in(const std::string &word)
{
    constexpr long most = 2000000000;
    return std::to_string(number_in("GENERATION", word, most));
}

} // namespace vorn::client
