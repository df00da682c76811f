/* SPDX-License-Identifier: MIT */
/* A transaction that was done may still not be saved, or wait for something of the system. */
#include "aftermath.h"

#include <algorithm>
#include <cstdlib>

#include <text.h>

namespace vorn::gate {

namespace {

constexpr std::size_t most_looked_at = 100;

struct Looked {
    std::string what; /* "save", "trial", or empty for a changed object */
};

void put_save(const Json &json, const client::Instance &save)
{
    const std::string &result = save.value("result");
    const bool is_saved = result != "failed" && result != "held";
    put(json, "saved", boolean(is_saved));
    if (!is_saved) put_text(json, "detail", save.value("reason"));
}

void put_trial(const Json &json, const client::Instance &trial)
{
    if (trial.value("state") != "pending") return;
    Json told = object();
    put_text(told, "id", trial.value("id"));
    put(told, "deadline-seconds", number(std::atoi(trial.value("remaining").c_str())));
    put(json, "trial", std::move(told));
}

void add_states(const Json &not_applied, const std::vector<client::Instance> &instances,
                const std::string &class_name)
{
    for (const client::Instance &each : instances) {
        if (!is_not_applied(each.value("state"))) continue;
        Wrong wrong = {each.value("state"), class_name, each.called(), "state"};
        append(not_applied, json_of(wrong));
    }
}

} // namespace

bool is_not_applied(std::string_view state)
{
    return state.starts_with("waiting") || state.starts_with("failed") ||
           state.starts_with("differs");
}

Json json_of_trial(const std::vector<client::Instance> &trials)
{
    Json json = object();
    const bool is_pending = !trials.empty() && trials[0].value("state") == "pending";
    put_text(json, "state", is_pending ? "pending" : "none");
    if (!is_pending) return json;
    for (const char *property : {"id", "holder", "since", "until"})
        put_text(json, property, trials[0].value(property));
    put(json, "remaining", number(std::atoi(trials[0].value("remaining").c_str())));
    return json;
}

Json aftermath(Desk &desk, const Caller &caller, const DeviceSchema &schema, const Wish &wish)
{
    client::Request request = request_for(caller, client::Request::Kind::plain);
    request.ask_for_commit();
    std::vector<Looked> looked;
    const auto look_at = [&](const client::Target &target, std::string what,
                             const std::vector<std::string> &properties) {
        request.select(target, properties);
        looked.push_back({std::move(what)});
    };
    if (schema.schema.find("save")) look_at({"save", {}, {}}, "save", {"result", "reason"});
    if (schema.schema.find("trial"))
        look_at({"trial", {}, {}}, "trial", {"state", "id", "remaining"});
    std::vector<std::string> owners;
    for (const Wish::Change &each : wish.changes) {
        const bool is_there = each.kind != Wish::Change::Kind::remove && each.target.where.empty();
        const client::Property *state =
            schema.schema.find_property(each.target.class_name, "state");
        if (!is_there || !state || !state->readable || looked.size() >= most_looked_at) continue;
        look_at({each.target.class_name, each.target.name, {}}, "", {"state"});
        owners.push_back(each.target.class_name);
    }
    if (looked.empty()) look_at({"schema-class", "none", {}}, "nothing", {"type"});

    const std::string reply = desk.device.ask(request.text());
    const std::vector<client::Outcome> outcomes = client::parse_answer(reply);
    Json json = object();
    Json not_applied = list();
    put_text(json, "commit", client::commit_of(reply));
    put(json, "saved", boolean(true));
    std::size_t owner = 0;
    for (std::size_t i = 0; i < outcomes.size() && i < looked.size(); i++) {
        const auto &instances = outcomes[i].instances;
        if (looked[i].what.empty()) add_states(not_applied, instances, owners[owner++]);
        if (instances.empty()) continue;
        if (looked[i].what == "save") put_save(json, instances[0]);
        if (looked[i].what == "trial") put_trial(json, instances[0]);
    }
    put(json, "not-applied", std::move(not_applied));
    return json;
}

} // namespace vorn::gate
