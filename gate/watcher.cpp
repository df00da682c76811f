/* SPDX-License-Identifier: MIT */
/* One look for each user and change, however many streams he has. */
#include "watcher.h"

#include <algorithm>
#include <chrono>
#include <thread>

#include <failure.h>

namespace vorn::gate {

namespace {

constexpr int moment_ms = 1000;
constexpr std::int64_t seconds_between_states = 5;

} // namespace

void Watcher::set_users(std::set<std::string> users)
{
    const std::lock_guard lock(mutex_);
    users_ = std::move(users);
}

/* Without a place among the daemon's subscribers a look each second has to do. */
void Watcher::wait_for_change()
{
    if (!notices_) {
        notices_.reset(vorn_client_new());
        if (notices_) vorn_client_set_timeout(notices_.get(), moment_ms);
        if (notices_ && vorn_client_subscribe(notices_.get()) != VORN_CLIENT_OK) notices_.reset();
    }
    if (!notices_) {
        std::this_thread::sleep_for(std::chrono::milliseconds(moment_ms));
        return;
    }
    char *notice = nullptr;
    const int status = vorn_client_next_notice(notices_.get(), &notice);
    std::free(notice);
    if (status == VORN_CLIENT_OK) was_notified_ = true;
    if (status != VORN_CLIENT_OK && status != VORN_CLIENT_TIMED_OUT) {
        notices_.reset();
        std::this_thread::sleep_for(std::chrono::milliseconds(moment_ms / 10));
    }
}

void Watcher::look_for(client::Device &device, const std::string &user, Seen &seen, bool is_anew)
{
    Desk desk = {device, house_.schemas, house_.answers, house_.stillness};
    const Caller caller = {user, "", ""};
    const std::vector<client::Instance> commits = last_commits(desk, caller);
    const std::vector<client::Instance> trials = present_trial(desk, caller);
    News news = {user, {}, {}, is_anew};
    const long long newest = commits.empty() ? 0 : number_of(commits.back());
    if (is_anew) news.events.push_back(event_of_reset(epoch_, newest));
    for (const client::Instance &each : commits)
        if (!is_anew && number_of(each) > seen.number)
            news.events.push_back(event_of_commit(each, epoch_));
    news.trial = mark_of_trial(trials);
    news.events.push_back(event_of_trial(trials));
    std::vector<State> present = states(desk, caller);
    for (const State &each : present)
        if (seen.number >= 0 && std::ranges::find(seen.states, each) == seen.states.end())
            news.events.push_back(event_of_state(each));
    seen = {newest, news.trial, std::move(present)};
    inbox_.give(std::move(news));
}

void Watcher::look(client::Device &device)
{
    const std::string epoch = present_epoch();
    const bool is_anew = !epoch_.empty() && epoch != epoch_;
    if (is_anew) house_.schemas.note_other_daemon();
    if (was_notified_) house_.schemas.note_change();
    epoch_ = epoch;

    std::set<std::string> users;
    {
        const std::lock_guard lock(mutex_);
        users = users_;
    }
    std::erase_if(seen_, [&](const auto &each) { return !users.contains(each.first); });
    if (users.empty()) {
        was_notified_ = false;
        return;
    }
    Desk desk = {device, house_.schemas, house_.answers, house_.stillness};
    const std::string commit = present_commit(desk, {*users.begin(), "", ""});
    const bool is_time = now_s() >= next_states_;
    const bool has_changed = is_anew || was_notified_ || commit != commit_;
    if (is_time) next_states_ = now_s() + seconds_between_states;
    for (const std::string &each : users) {
        const bool is_new = !seen_.contains(each);
        if (has_changed || is_time || is_new) look_for(device, each, seen_[each], is_anew);
    }
    commit_ = commit;
    was_notified_ = false;
}

void Watcher::run(const std::atomic<bool> &stop)
{
    constexpr int patience_ms = 30000;
    client::Device device(patience_ms);
    while (!stop) {
        wait_for_change();
        try {
            if (!stop) look(device);
        } catch (const client::Failure &) {
            commit_.clear(); /* no daemon, for now */
        } catch (const Problem &) {
            commit_.clear();
        } catch (const std::bad_alloc &) {
            commit_.clear();
        }
    }
}

} // namespace vorn::gate
