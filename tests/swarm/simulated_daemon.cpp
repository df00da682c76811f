/* SPDX-License-Identifier: MIT */
#include "simulated_daemon.h"

#include <algorithm>

namespace vorn::fleet {

namespace {

/* A gateway that no network of the tests has. */
constexpr char nowhere[] = "10.9.0.254";

bool cuts_off(const Desired *document)
{
    if (!document) return false;
    const auto route = document->content.find("route");
    return route != document->content.end() &&
           std::ranges::any_of(route->second.items, [](const Item &item) {
               const auto gateway = item.values.find("gateway");
               return gateway != item.values.end() && gateway->second == nowhere;
           });
}

} // namespace

void SimulatedDaemon::run(const Document &document)
{
    running_ = document;
    changes_++;
    is_cut_off_ = cuts_off(document.get());
}

void SimulatedDaemon::take_back()
{
    trial_end_ms_ = never;
    books_.taken_back++;
    run(saved_);
}

View SimulatedDaemon::look(const Document &document) const
{
    View view;
    view.commit = std::to_string(changes_);
    view.schema = "0123456789abcdef";
    view.versions["daemon"] = "simulated";
    if (running_) {
        view.generation = running_->generation;
        view.digest = running_->digest;
    }
    if (trial_end_ms_ != never) {
        view.trial = View::Trial::ours;
        view.trial_id = view.commit;
    }
    if (!document) return view;
    view.desired_hash = document->hash;
    view.hash = running_ ? running_->hash : hash_of({});
    if (view.hash != view.desired_hash)
        view.differences.push_back({document->content.begin()->first, "", "", "", ""});
    return view;
}

Applied SimulatedDaemon::apply(const Document &document, std::int64_t now_ms)
{
    if (!is_alive_) return {{Reason::busy, "no answer"}, {}};
    if (trial_end_ms_ != never) return {{Reason::busy, "a change is on trial"}, {}};
    books_.applied++;
    if (running_ && document->generation <= running_->generation) books_.out_of_order++;
    run(document);
    trial_end_ms_ = now_ms + document->trial * 1000;
    return {{}, std::to_string(changes_)};
}

Refusal SimulatedDaemon::confirm(const std::string &trial_id)
{
    if (!is_alive_) return {Reason::busy, "no answer"};
    if (trial_end_ms_ == never || trial_id != std::to_string(changes_))
        return {Reason::unreached, "there is no such trial"};
    books_.confirmed++;
    if (running_->generation <= saved_generation()) books_.out_of_order++;
    saved_ = running_;
    trial_end_ms_ = never;
    return {};
}

void SimulatedDaemon::revert(const std::string &trial_id)
{
    if (is_alive_ && trial_end_ms_ != never && trial_id == std::to_string(changes_)) take_back();
}

bool SimulatedDaemon::wake(std::int64_t now_ms)
{
    const bool is_over = now_ms >= trial_end_ms_;
    if (is_over) take_back();
    return is_over;
}

void SimulatedDaemon::kill()
{
    if (trial_end_ms_ != never) take_back();
    is_alive_ = false;
}

} // namespace vorn::fleet
