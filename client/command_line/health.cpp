/* SPDX-License-Identifier: MIT */
/* Whether a device is as it should be: one judgement for whoever tells it. */
#include "health.h"

#include "effects.h"
#include "text.h"

namespace vorn::client {

namespace {

using Problems = std::vector<std::string>;

void add_problem(Problems &problems, std::initializer_list<std::string_view> parts)
{
    problems.push_back(concat(parts));
}

void find_unsaved(const Instance &save, Problems &problems)
{
    if (save.value("result") == "failed")
        add_problem(problems, {"the configuration is not saved: ", save.value("reason")});
    if (!save.value("broken").empty()) {
        add_problem(problems,
                    {"the configuration could not be read and is kept as ", save.value("broken")});
    }
}

void find_unproven(const Instance &history, Problems &problems)
{
    if (history.value("unproven").empty()) return;
    add_problem(problems, {"a configuration that did not stay up has been replaced by the newest "
                           "one that did, and is kept as ",
                           history.value("unproven"),
                           "; \"vornctl inform history action=forget-unproven\" removes it"});
}

void find_not_applied(const std::pair<std::string, std::string> &asked,
                      const std::vector<Instance> &instances, Problems &problems)
{
    const auto &[class_name, property] = asked;
    if (property != "state" && property != "status") return;
    for (const Instance &each : instances) {
        const std::string &state = each.value(property);
        if (is_not_applied(state))
            add_problem(problems, {title_of(class_name, each.called()), ": ", state});
    }
}

} // namespace

const std::vector<Instance> *Answers::all_of(std::string_view class_name) const
{
    for (std::size_t i = 0; i < asked.size() && i < outcomes.size(); i++) {
        if (asked[i].first == class_name) return &outcomes[i].instances;
    }
    return nullptr;
}

const Instance *Answers::first_of(std::string_view class_name) const
{
    const std::vector<Instance> *all = all_of(class_name);
    return all && !all->empty() ? &all->front() : nullptr;
}

std::vector<std::string> Answers::problems() const
{
    Problems problems;
    if (const Instance *save = first_of("save")) find_unsaved(*save, problems);
    if (const Instance *history = first_of("history")) find_unproven(*history, problems);
    if (const std::vector<Instance> *plugins = all_of("plugin")) {
        for (const Instance &each : *plugins) {
            const std::string &state = each.value("state");
            if (state != "running")
                add_problem(problems, {title_of("plugin", each.called()), ": ", state});
        }
    }
    if (const Instance *daemon = first_of("daemon")) {
        const std::string &failing = daemon->value("failing-services");
        if (!failing.empty()) add_problem(problems, {"services that keep ending: ", failing});
    }
    for (std::size_t i = 0; i < asked.size() && i < outcomes.size(); i++)
        find_not_applied(asked[i], outcomes[i].instances, problems);
    return problems;
}

} // namespace vorn::client
