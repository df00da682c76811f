/* SPDX-License-Identifier: MIT */
/*
 * Many devices of a fleet in one process: fleet_swarm N BROKER PORT SPEED TENANT [requests]
 * [key=BASE64]
 *
 * Each is the agent itself with its connection, before a daemon that is simulated. SPEED is how
 * much faster their clocks run than those on the wall. It is told what to do by lines on the
 * standard input, and answers each with a line of JSON:
 *
 *     stats               how they are doing; rates are those since ...
 *     forget              ... this
 *     memory              bytes for each of them
 *     kill agent NUMBER   by SIGKILL, as it were; it is back by itself
 *     kill daemon NUMBER
 *     bare                from now on messages are measured, and go no further
 *     proof               ... and what is as large as a report is sent back, and once more when the
 *                         broker has acknowledged that: a change's ways without an agent's work
 *     agents              the agents get them again
 *     measured            how long those took, in milliseconds
 */
#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <deque>
#include <queue>
#include <random>
#include <string>
#include <vector>

#include <malloc.h>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/resource.h>
#include <unistd.h>

#include "measure.h"
#include "simulated_device.h"
#include "tests/agent/signer.h"

namespace {

using vorn::fleet::microseconds;
using vorn::fleet::never;
using vorn::fleet::Settings;
using vorn::fleet::SimulatedDaemon;
using vorn::fleet::SimulatedDevice;
using vorn::fleet::Time;

constexpr std::uint32_t of_input = 0xffffffff;
constexpr std::uint32_t of_urgent = 0xfffffffe;
constexpr int at_once = 16;
constexpr std::size_t size_of_report = 600;
constexpr unsigned first_answer = 0xfffffff0; /* tokens that no agent comes to */
constexpr unsigned last_answer = 0xfffffff1;

/* Bytes that this process has written. */
long private_memory()
{
    std::FILE *file = std::fopen("/proc/self/smaps_rollup", "re");
    long kib = 0;
    char line[200];
    while (file && std::fgets(line, sizeof line, file))
        if (std::sscanf(line, "Anonymous: %ld", &kib) == 1) break;
    if (file) std::fclose(file);
    return kib * 1024;
}

/* How many there were in the busiest second. */
class Rate {
public:
    void count(std::int64_t now_us)
    {
        total_++;
        recent_.push_back(now_us);
        while (recent_.front() <= now_us - 1000000)
            recent_.pop_front();
        most_ = std::max(most_, recent_.size());
    }
    std::string text() const
    {
        return "{\"total\":" + std::to_string(total_) +
               ",\"most_a_second\":" + std::to_string(most_) + "}";
    }

private:
    std::uint64_t total_ = 0;
    std::size_t most_ = 0;
    std::deque<std::int64_t> recent_;
};

class Swarm : public vorn::fleet::Street {
public:
    Swarm(int count, const vorn::fleet::Broker &broker, double speed, const Settings &shared);

    void run();

    Time now() const override;
    void later(SimulatedDevice &device, std::function<void()> job) override
    {
        jobs_.push_back({&device, device.life(), std::move(job)});
    }
    void count_dial() override { dials_.count(microseconds()); }
    void count_connection() override { connections_.count(microseconds()); }
    bool measures(SimulatedDevice &device, const vorn::fleet::Message &message) override;
    bool measures(SimulatedDevice &device, unsigned token) override;
    std::uint32_t chance() override { return static_cast<std::uint32_t>(random_()); }

private:
    struct Place {
        std::unique_ptr<SimulatedDevice> device;
        int descriptor = -1;
        std::uint32_t events = 0;
        unsigned links = 0;
        std::int64_t armed_ms = never;
        bool is_urgent = false;    /* as its descriptor is watched */
        bool is_answering = false; /* without its agent */
    };
    struct Job {
        SimulatedDevice *device;
        unsigned life;
        std::function<void()> work;
    };
    enum class Mode : std::uint8_t { agents, bare, proof };
    using Timer = std::pair<std::int64_t, std::uint32_t>;

    void serve(std::uint32_t number, bool has_heard);
    bool is_amid_a_change(const Place &place) const;
    void serve_urgent();
    void watch(std::uint32_t number);
    void arm(std::uint32_t number);
    void run_jobs();
    void run_timers();
    int time_left() const;
    bool read_input();
    void obey(const std::string &line);
    void answer(SimulatedDevice &device, unsigned token);
    bool take_mode(const std::string &word);
    std::string measured();
    std::string stats();
    std::string memory() const;

    double speed_;
    std::int64_t begin_us_ = microseconds();
    std::int64_t begin_wall_ = std::time(nullptr);
    std::mt19937 random_{std::random_device()()};
    int epoll_ = epoll_create1(EPOLL_CLOEXEC);
    int urgent_ = epoll_create1(EPOLL_CLOEXEC); /* which is in the other */
    long private_before_ = private_memory();
    long in_use_before_ = static_cast<long>(mallinfo2().uordblks + mallinfo2().hblkhd);
    std::string input_;
    std::vector<Place> places_;
    std::deque<Job> jobs_;
    std::priority_queue<Timer, std::vector<Timer>, std::greater<>> timers_;
    std::vector<pollfd> wanted_;
    Rate dials_;
    Rate connections_;
    Mode mode_ = Mode::agents;
    std::uint32_t served_ = 0;
    std::vector<std::int64_t> took_us_;
    std::vector<std::int64_t> since_begin_us_;
};

Swarm::Swarm(int count, const vorn::fleet::Broker &broker, double speed, const Settings &shared)
    : speed_(speed)
{
    places_.resize(static_cast<std::size_t>(count));
    for (int i = 0; i < count; i++)
        places_[static_cast<std::size_t>(i)].device =
            std::make_unique<SimulatedDevice>(*this, shared, broker, "sim" + std::to_string(i));
    epoll_event event = {EPOLLIN, {.u32 = of_input}};
    epoll_ctl(epoll_, EPOLL_CTL_ADD, STDIN_FILENO, &event);
    event.data.u32 = of_urgent;
    epoll_ctl(epoll_, EPOLL_CTL_ADD, urgent_, &event);
}

Time Swarm::now() const
{
    const double passed = static_cast<double>(microseconds() - begin_us_) * speed_;
    return {static_cast<std::int64_t>(passed / 1000),
            begin_wall_ + static_cast<std::int64_t>(passed / 1000000)};
}

/* Each device would have a processor of its own: here whoever has begun a change is served before
 * those who have not, so that none of these waits for the work of all others twice. */
bool Swarm::is_amid_a_change(const Place &place) const
{
    return place.is_answering || place.device->daemon().wake_at() != never;
}

/* What a link waits for changes with each of its states, and a descriptor that was closed has gone
 * from the list by itself. */
void Swarm::watch(std::uint32_t number)
{
    Place &place = places_[number];
    wanted_.clear();
    place.device->add_descriptors(wanted_);
    const int descriptor = wanted_.empty() ? -1 : wanted_[0].fd;
    const std::uint32_t events =
        wanted_.empty() ? 0 : static_cast<std::uint32_t>(wanted_[0].events);
    const bool is_urgent = is_amid_a_change(place);
    if (place.descriptor == descriptor && place.events == events &&
        place.links == place.device->links() && place.is_urgent == is_urgent)
        return;
    epoll_event event = {events, {.u32 = number}};
    const bool has_moved = place.descriptor != descriptor || place.is_urgent != is_urgent;
    if (has_moved && place.descriptor >= 0)
        epoll_ctl(place.is_urgent ? urgent_ : epoll_, EPOLL_CTL_DEL, place.descriptor, nullptr);
    const int epoll = is_urgent ? urgent_ : epoll_;
    if (descriptor >= 0 && epoll_ctl(epoll, EPOLL_CTL_MOD, descriptor, &event) != 0)
        epoll_ctl(epoll, EPOLL_CTL_ADD, descriptor, &event);
    place.is_urgent = is_urgent;
    place.descriptor = descriptor;
    place.events = events;
    place.links = place.device->links();
}

void Swarm::arm(std::uint32_t number)
{
    Place &place = places_[number];
    const std::int64_t wake = place.device->wake_at();
    if (wake >= place.armed_ms) return;
    place.armed_ms = wake;
    timers_.emplace(wake, number);
}

void Swarm::serve(std::uint32_t number, bool has_heard)
{
    served_ = number;
    places_[number].device->serve(has_heard);
    run_jobs();
    watch(number);
    arm(number);
}

/* All are of the device that is being served. */
void Swarm::run_jobs()
{
    while (!jobs_.empty()) {
        const Job job = std::move(jobs_.front());
        jobs_.pop_front();
        if (job.device->life() == job.life && job.device->lives()) job.work();
    }
}

void Swarm::run_timers()
{
    const std::int64_t now_ms = now().ms;
    while (!timers_.empty() && timers_.top().first <= now_ms) {
        const auto [when, number] = timers_.top();
        timers_.pop();
        if (places_[number].armed_ms != when) continue;
        places_[number].armed_ms = never;
        serve(number, false);
    }
}

int Swarm::time_left() const
{
    if (timers_.empty()) return -1;
    const double left = static_cast<double>(timers_.top().first - now().ms) / speed_;
    return static_cast<int>(std::clamp(left + 1, 0.0, 1000.0));
}

void Swarm::run()
{
    for (std::uint32_t i = 0; i < places_.size(); i++) {
        places_[i].device->start();
        serve(i, false);
    }
    std::array<epoll_event, at_once> events{};
    for (bool goes_on = true; goes_on;) {
        const int count = epoll_wait(epoll_, events.data(), at_once, time_left());
        serve_urgent();
        for (int i = 0; i < count; i++) {
            const std::uint32_t number = events[static_cast<std::size_t>(i)].data.u32;
            if (number == of_input) {
                goes_on = read_input() && goes_on;
            } else if (number != of_urgent) {
                serve(number, true);
            }
        }
        run_timers();
    }
}

void Swarm::serve_urgent()
{
    std::array<epoll_event, 512> events{};
    const int count = epoll_wait(urgent_, events.data(), static_cast<int>(events.size()), 0);
    for (int i = 0; i < count; i++)
        serve(events[static_cast<std::size_t>(i)].data.u32, true);
}

bool Swarm::read_input()
{
    char room[4096];
    const ssize_t count = read(STDIN_FILENO, room, sizeof room);
    if (count <= 0) return false;
    input_.append(room, static_cast<std::size_t>(count));
    for (std::size_t end; (end = input_.find('\n')) != std::string::npos;) {
        obey(input_.substr(0, end));
        input_.erase(0, end + 1);
    }
    std::fflush(stdout);
    return true;
}

void Swarm::obey(const std::string &line)
{
    unsigned number = 0;
    if (std::sscanf(line.c_str(), "kill agent %u", &number) == 1 && number < places_.size()) {
        places_[number].device->kill_agent();
    } else if (std::sscanf(line.c_str(), "kill daemon %u", &number) == 1 &&
               number < places_.size()) {
        places_[number].device->kill_daemon();
    } else if (line == "forget") {
        dials_ = {};
        connections_ = {};
    } else if (line == "memory") {
        std::puts(memory().c_str());
        return;
    } else if (line == "stats") {
        std::puts(stats().c_str());
        return;
    } else if (line == "measured") {
        std::puts(measured().c_str());
        return;
    } else if (!take_mode(line)) {
        std::puts("{\"error\":\"what?\"}");
        return;
    }
    watch(number);
    arm(number);
    std::puts("{}");
}

bool Swarm::take_mode(const std::string &word)
{
    if (word != "agents" && word != "bare" && word != "proof") return false;
    mode_ = word == "agents" ? Mode::agents : word == "bare" ? Mode::bare : Mode::proof;
    return true;
}

/* What a report is to the broker. */
void Swarm::answer(SimulatedDevice &device, unsigned token)
{
    device.publish(
        {token, device.topic("reported"), std::string(size_of_report, 'x'), {}, true, 0});
}

/* Such a message begins with the times at which it and the first of its like were sent. */
bool Swarm::measures(SimulatedDevice &device, const vorn::fleet::Message &message)
{
    if (mode_ == Mode::agents) return false;
    if (mode_ == Mode::proof) {
        places_[served_].is_answering = true;
        answer(device, first_answer);
        return true;
    }
    const std::string sent(message.payload.substr(0, 40));
    char *rest = nullptr;
    const std::int64_t now_us = microseconds();
    took_us_.push_back(now_us - std::strtoll(sent.c_str(), &rest, 10));
    since_begin_us_.push_back(now_us - std::strtoll(rest, nullptr, 10));
    return true;
}

bool Swarm::measures(SimulatedDevice &device, unsigned token)
{
    if (token == first_answer) answer(device, last_answer);
    if (token == last_answer) places_[served_].is_answering = false;
    return token == first_answer || token == last_answer;
}

std::string Swarm::measured()
{
    std::ranges::sort(took_us_);
    std::ranges::sort(since_begin_us_);
    const std::string text = "{\"each\":" + vorn::fleet::percentiles(took_us_) +
                             ",\"since_begin\":" + vorn::fleet::percentiles(since_begin_us_) + '}';
    took_us_.clear();
    since_begin_us_.clear();
    return text;
}

/* What others keep open for a while, as a burst of messages, is given back before. */
std::string Swarm::memory() const
{
    malloc_trim(0);
    const long count = static_cast<long>(places_.size());
    const long in_use = static_cast<long>(mallinfo2().uordblks + mallinfo2().hblkhd);
    return "{\"private_each\":" + std::to_string((private_memory() - private_before_) / count) +
           ",\"in_use_each\":" + std::to_string((in_use - in_use_before_) / count) + '}';
}

std::string Swarm::stats()
{
    std::int64_t lowest = never;
    std::int64_t highest = 0;
    std::size_t connected = 0;
    std::size_t on_trial = 0;
    SimulatedDaemon::Books sum;
    for (const Place &each : places_) {
        const SimulatedDaemon &daemon = each.device->daemon();
        lowest = std::min(lowest, daemon.saved_generation());
        highest = std::max(highest, daemon.saved_generation());
        connected += each.device->is_connected() ? 1 : 0;
        on_trial += daemon.wake_at() != never ? 1 : 0;
        sum.applied += daemon.books().applied;
        sum.confirmed += daemon.books().confirmed;
        sum.taken_back += daemon.books().taken_back;
        sum.out_of_order += daemon.books().out_of_order;
    }
    const auto member = [](const char *name, auto value) {
        return ",\"" + std::string(name) + "\":" + std::to_string(value);
    };
    const std::string text =
        "{\"devices\":" + std::to_string(places_.size()) + member("connected", connected) +
        member("lowest", lowest) + member("highest", highest) + member("on_trial", on_trial) +
        member("applied", sum.applied) + member("confirmed", sum.confirmed) +
        member("taken_back", sum.taken_back) + member("out_of_order", sum.out_of_order) +
        ",\"dials\":" + dials_.text() + ",\"connections\":" + connections_.text() + "}";
    return text;
}

} // namespace

/*
 * Takes the place of the C library's: libmosquitto makes a pair for each client, to wake up a
 * thread that none of these have. Three descriptors for each device would be more than a process
 * may have.
 */
extern "C" int socketpair(int, int, int, int *)
{
    errno = EMFILE;
    return -1;
}

int main(int count, char *arguments[])
{
    if (count < 6) return 2;
    const std::vector<std::string> words(arguments + 1, arguments + count);
    mallopt(M_ARENA_MAX, 1);
    mallopt(M_MMAP_THRESHOLD, 1 << 20);
    rlimit files = {};
    getrlimit(RLIMIT_NOFILE, &files);
    files.rlim_cur = files.rlim_max;
    setrlimit(RLIMIT_NOFILE, &files);
    if (mosquitto_lib_init() != MOSQ_ERR_SUCCESS) return 1;
    Settings shared;
    shared.identity.tenant = words[4];
    std::string key = Signer().public_key();
    for (std::size_t i = 5; i < words.size(); i++) {
        shared.answers_requests = shared.answers_requests || words[i] == "requests";
        if (words[i].starts_with("key=")) key = words[i].substr(4);
    }
    shared.keys = {vorn::fleet::Key::of(key).value()};
    Swarm swarm(std::atoi(words[0].c_str()), {words[1], std::atoi(words[2].c_str())},
                std::atof(words[3].c_str()), shared);
    swarm.run();
    std::fflush(stdout);
    _exit(0); /* without a word to the broker */
}
