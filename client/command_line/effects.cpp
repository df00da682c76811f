/* SPDX-License-Identifier: MIT */
/* Recorded is not applied, and applied is not saved. */
#include "effects.h"

#include <algorithm>
#include <chrono>
#include <iostream>
#include <thread>

#include "failure.h"
#include "lsql.h"
#include "text.h"

namespace vorn::client {

namespace {

using std::chrono::steady_clock;

bool begins_with_any(const std::string &state, std::initializer_list<const char *> heads)
{
    return std::any_of(heads.begin(), heads.end(),
                       [&](const char *head) { return state.rfind(head, 0) == 0; });
}

bool is_in_progress(const std::string &state)
{
    return begins_with_any(state, {"applying", "starting"});
}

bool is_not_applied(const std::string &state)
{
    return begins_with_any(state, {"waiting for", "failed"});
}

/* What only a plugin tells. */
bool is_state(const Property &property)
{
    return (property.name == "state" || property.name == "status") && !property.writable;
}

} // namespace

std::optional<Instance> saves_of(Device &device)
{
    Request request(Request::Kind::plain);
    request.select({"save", {}, {}}, {});
    const std::vector<Outcome> outcomes = parse_answer(device.ask(request.text()));
    if (outcomes.empty() || outcomes[0].instances.empty()) return std::nullopt;
    return outcomes[0].instances[0];
}

Effects::Effects(Device &device, const Schema &schema) : device_(device), schema_(schema)
{
    for (const Class &klass : schema.classes()) {
        for (const Property &property : klass.properties) {
            const std::string family = schema.family_of(klass.name);
            if (!is_state(property)) continue;
            if (std::find(watched_.begin(), watched_.end(), std::pair(family, property.name)) ==
                watched_.end()) {
                watched_.emplace_back(family, property.name);
            }
        }
    }
    before_ = ask();
}

Effects::States Effects::ask() const
{
    States states;
    if (watched_.empty()) return states;
    Request request(Request::Kind::plain);
    for (const auto &[class_name, property] : watched_)
        request.select({class_name, {}, {}}, {property});
    const std::vector<Outcome> outcomes = parse_answer(device_.ask(request.text()));
    for (std::size_t i = 0; i < outcomes.size() && i < watched_.size(); i++) {
        for (const Instance &each : outcomes[i].instances) {
            std::string &state = states[{watched_[i].first, each.name.value_or("")}];
            const std::string &value = each.value(watched_[i].second);
            if (state.empty() || is_not_applied(value) || is_in_progress(value)) state = value;
        }
    }
    return states;
}

Effects::States Effects::of_interest(const std::vector<Target> &touched) const
{
    States states = ask();
    std::erase_if(states, [&](const auto &each) {
        const bool is_touched =
            std::any_of(touched.begin(), touched.end(), [&](const Target &target) {
                return schema_.family_of(target.class_name) == each.first.first &&
                       (!target.name || *target.name == each.first.second);
            });
        const auto before = before_.find(each.first);
        const bool is_as_before = before != before_.end() && before->second == each.second;
        return (!is_touched && is_as_before) ||
               (!is_in_progress(each.second) && !is_not_applied(each.second));
    });
    return states;
}

int Effects::report(const std::vector<Target> &touched, bool waits) const
{
    using namespace std::chrono_literals;
    const auto deadline = steady_clock::now() + (waits ? 5s : 0s);
    States states = of_interest(touched);
    const auto goes_on = [](const auto &each) { return is_in_progress(each.second); };
    while (std::any_of(states.begin(), states.end(), goes_on) && steady_clock::now() < deadline) {
        std::this_thread::sleep_for(100ms);
        states = of_interest(touched);
    }
    for (const auto &[key, state] : states) {
        std::cerr << "vornctl: recorded, but "
                  << (is_in_progress(state) ? "still in progress: " : "not applied: ") << key.first
                  << (key.second.empty() ? "" : " \"" + shown(key.second) + "\"") << ": "
                  << shown(state) << '\n';
    }
    const std::optional<Instance> saves = saves_of(device_);
    const bool is_saved = !saves || saves->value("result") != "failed";
    if (!is_saved) {
        std::cerr << "vornctl: " << (states.empty() ? "applied" : "recorded")
                  << ", but not saved: " << shown(saves->value("reason")) << '\n';
    }
    return !states.empty() ? not_applied : is_saved ? done : not_saved;
}

} // namespace vorn::client
