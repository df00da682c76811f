/* SPDX-License-Identifier: MIT */
/* Recorded is not applied, and applied is not saved. */
#include "effects.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <iostream>
#include <thread>

#include "failure.h"
#include "lsql.h"
#include "text.h"

namespace vorn::client {

namespace {

using std::chrono::steady_clock;

bool begins_with_any(std::string_view state, std::initializer_list<const char *> heads)
{
    return std::ranges::any_of(heads, [&](const char *head) { return state.starts_with(head); });
}

bool is_in_progress(std::string_view state)
{
    return begins_with_any(state, {"applying", "starting"});
}

/* What a state says of itself that is good otherwise, or nothing. */
std::string why_unsaved(const std::string &state)
{
    constexpr const char *words = ", but not saved: ";
    const std::size_t at =
        is_in_progress(state) || is_not_applied(state) ? std::string::npos : state.find(words);
    return at == std::string::npos ? "" : state.substr(at + std::strlen(words));
}

/* What only a plugin tells. */
bool is_state(const Property &property)
{
    return (property.name == "state" || property.name == "status") && !property.writable;
}

} // namespace

bool is_not_applied(std::string_view state)
{
    return begins_with_any(state, {"waiting for", "failed", "differs"});
}

std::string title_of(std::string_view class_name, std::string_view name)
{
    return name.empty() ? std::string(class_name) : concat({class_name, " \"", shown(name), "\""});
}

std::vector<std::pair<std::string, std::string>> states_in(const Schema &schema)
{
    std::vector<std::pair<std::string, std::string>> states;
    for (const Class &klass : schema.classes()) {
        for (const Property &property : klass.properties) {
            const std::pair state(schema.family_of(klass.name), property.name);
            if (!is_state(property)) continue;
            if (std::ranges::find(states, state) == states.end()) states.push_back(state);
        }
    }
    return states;
}

std::optional<Instance> saves_of(Device &device)
{
    const std::vector<Instance> saves = device.select({"save", {}, {}});
    if (saves.empty()) return std::nullopt;
    return saves[0];
}

Effects::Effects(Device &device, const Schema &schema)
    : device_(device), schema_(schema), watched_(states_in(schema)), before_(ask())
{}

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
            std::string &state = states[{watched_[i].first, each.called()}];
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
        const bool is_touched = std::ranges::any_of(touched, [&](const Target &target) {
            return schema_.family_of(target.class_name) == each.first.first &&
                   (!target.name || *target.name == each.first.second);
        });
        const auto before = before_.find(each.first);
        const bool is_as_before = before != before_.end() && before->second == each.second;
        return (!is_touched && is_as_before) ||
               (!is_in_progress(each.second) && !is_not_applied(each.second) &&
                why_unsaved(each.second).empty());
    });
    return states;
}

int Effects::report(const std::vector<Target> &touched, bool waits) const
{
    using namespace std::chrono_literals;
    const auto deadline = steady_clock::now() + (waits ? 5s : 0s);
    States states = of_interest(touched);
    const auto goes_on = [](const auto &each) { return is_in_progress(each.second); };
    const auto is_bad = [](const auto &each) { return why_unsaved(each.second).empty(); };
    while (std::ranges::any_of(states, goes_on) && steady_clock::now() < deadline) {
        std::this_thread::sleep_for(100ms);
        states = of_interest(touched);
    }
    const std::string so_far = std::ranges::any_of(states, is_bad) ? "recorded" : "applied";
    bool is_saved = true;
    for (const auto &[key, state] : states) {
        const std::string unsaved = why_unsaved(state);
        is_saved = is_saved && unsaved.empty();
        std::cerr << "vornctl: "
                  << (!unsaved.empty()        ? so_far + ", but not saved: "
                      : is_in_progress(state) ? "recorded, but still in progress: "
                                              : "recorded, but not applied: ")
                  << title_of(key.first, key.second) << ": "
                  << shown(unsaved.empty() ? state : unsaved) << '\n';
    }
    const std::optional<Instance> saves = saves_of(device_);
    if (saves && saves->value("result") == "failed") {
        is_saved = false;
        std::cerr << "vornctl: " << so_far << ", but not saved: " << shown(saves->value("reason"))
                  << '\n';
    }
    return so_far == "recorded" ? not_applied : is_saved ? done : not_saved;
}

} // namespace vorn::client
