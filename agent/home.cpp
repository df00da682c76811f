/* SPDX-License-Identifier: MIT */
#include "home.h"

#include <algorithm>
#include <ctime>
#include <vector>

#include <poll.h>
#include <sys/random.h>

#include "files.h"
#include "service.h"

namespace vorn::fleet {

namespace {

constexpr int at_most_ms = 3600000;
constexpr std::int64_t farewell_ms = 1500;
constexpr std::int64_t long_wait_ms = 900;

Time now()
{
    timespec time = {};
    clock_gettime(CLOCK_BOOTTIME, &time);
    return {time.tv_sec * 1000LL + time.tv_nsec / 1000000, std::time(nullptr)};
}

bool is_any_ready(const std::vector<pollfd> &descriptors, std::size_t from)
{
    return std::any_of(descriptors.begin() + static_cast<std::ptrdiff_t>(from), descriptors.end(),
                       [](const pollfd &each) { return each.revents != 0; });
}

} // namespace

Home::Home(const HomeOptions &options)
    : options_(options),
      daemon_(std::make_shared<Daemon>()),
      link_(options.link, {[this] {
                               connected_since_ = now().wall;
                               link_failure_.clear();
                               agent_.connected(now());
                           },
                           [this](const std::string &why) {
                               connected_since_ = 0;
                               link_failure_ = why;
                               agent_.disconnected(now());
                           },
                           [this](unsigned token) { agent_.acknowledged(token, now()); },
                           [this](const Message &message) { agent_.received(message, now()); }}),
      agent_(options.settings, *this)
{}

void Home::connect()
{
    link_.connect(now().ms);
}

void Home::disconnect()
{
    link_.disconnect(now().ms);
}

void Home::look(std::shared_ptr<const Desired> document)
{
    worker_.give([this, daemon = daemon_, document]() -> Worker::Then {
        return [this, view = daemon->look(document.get())] { agent_.looked(view, now()); };
    });
}

void Home::apply(std::shared_ptr<const Desired> document)
{
    worker_.give([this, daemon = daemon_, document]() -> Worker::Then {
        return [this, result = daemon->apply(*document)] { agent_.applied(result, now()); };
    });
}

void Home::confirm(const std::string &trial_id)
{
    worker_.give([this, daemon = daemon_, trial_id]() -> Worker::Then {
        return [this, result = daemon->confirm(trial_id)] { agent_.confirmed(result, now()); };
    });
}

void Home::revert(const std::string &trial_id)
{
    worker_.give([this, daemon = daemon_, trial_id]() -> Worker::Then {
        daemon->revert(trial_id);
        return [this] { agent_.reverted(now()); };
    });
}

void Home::ask(const std::string &lsql)
{
    worker_.give([this, daemon = daemon_, lsql]() -> Worker::Then {
        return [this, reply = daemon->ask(lsql)] {
            agent_.answered(reply.refusal, reply.text, now());
        };
    });
}

void Home::read(const std::vector<Selection> &what)
{
    worker_.give([this, daemon = daemon_, what]() -> Worker::Then {
        return [this, shown = daemon->read(what)] { agent_.states_read(shown, now()); };
    });
}

Note Home::read_note()
{
    return fleet::read_note(options_.note);
}

bool Home::write_note(const Note &note)
{
    return fleet::write_note(options_.note, note);
}

std::uint32_t Home::chance()
{
    std::uint32_t number = 0;
    [[maybe_unused]] const ssize_t got = getrandom(&number, sizeof number, 0);
    return number;
}

/* One line each; what the broker said cannot make another. */
void Home::tell_status()
{
    std::string error = link_failure_.empty() ? agent_.last_error() : link_failure_;
    std::ranges::replace_if(
        error, [](unsigned char each) { return each < ' ' || each == 0x7f; }, '?');
    const std::string text = "connected " + std::string(connected_since_ != 0 ? "yes" : "no") +
                             "\nsince " + std::to_string(connected_since_) + "\nerror " +
                             error.substr(0, 200) + '\n';
    if (text == told_ || options_.status.empty()) return;
    if (write_status(options_.status, text)) told_ = text;
}

void Home::run(int stop)
{
    agent_.start(now());
    std::vector<pollfd> descriptors;
    std::int64_t end = never;
    while (now().ms < end && (end == never || connected_since_ != 0)) {
        descriptors = {{end == never ? stop : -1, POLLIN, 0},
                       {worker_.descriptor(), POLLIN, 0},
                       {notices_.descriptor(), POLLIN, 0}};
        link_.add_descriptors(descriptors);
        const std::int64_t wait = std::min({agent_.wake_at(), link_.wake_at(), notices_.wake_at(),
                                            end, now().ms + at_most_ms}) -
                                  now().ms;
        if (wait >= long_wait_ms) service::give_back();
        poll(descriptors.data(), descriptors.size(),
             static_cast<int>(std::max<std::int64_t>(wait, 0)));
        worker_.finish();
        if (descriptors[2].revents != 0 || now().ms >= notices_.wake_at())
            if (notices_.serve(now().ms)) agent_.changed(now());
        link_.serve(now().ms, is_any_ready(descriptors, 3));
        if (end == never && now().ms >= agent_.wake_at()) agent_.wake(now());
        tell_status();
        if (end == never && descriptors[0].revents != 0) {
            end = now().ms + farewell_ms;
            link_.disconnect(now().ms);
        }
    }
}

} // namespace vorn::fleet
