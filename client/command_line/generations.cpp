/* SPDX-License-Identifier: MIT */
/* Configurations of before, as the class "generation" tells them. */
#include "generations.h"

#include "failure.h"
#include "verb.h"

namespace vorn::client {

namespace {

constexpr char class_name[] = "generation";

} // namespace

std::vector<Instance> generations(Device &device)
{
    std::vector<Instance> all =
        device.select({class_name, {}, {}}, {"time", "user", "process", "program", "origin",
                                             "comment", "schema", "commit", "changes", "result",
                                             "providers", "failures", "bytes", "pinned", "state"});
    if (all.empty()) {
        const bool keeps_some = !device.select({"history", {}, {}}, {"result"}).empty();
        fail(differs, {keeps_some ? "there is no generation yet" : "this device keeps no history"});
    }
    return all;
}

std::string document_of_generation(Device &device, const std::string &number)
{
    const std::vector<Instance> found =
        device.select({class_name, number, {}}, {"state", "document"});
    if (found.empty()) fail(differs, {"there is no generation ", number});
    const std::string &document = found[0].value("document");
    if (document.empty()) fail(refused, {"generation ", number, " is ", found[0].value("state")});
    return document;
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
