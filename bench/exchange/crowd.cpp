/* SPDX-License-Identifier: MIT */
/*
 * What others cost one client: crowd silent|slow ROUNDS REQUEST [LARGE-REQUEST] asks the daemon the
 * same again and again, alone and beside 500 clients that say nothing, or one that takes the reply
 * to the large request at a megabyte a second. Printed is, for each round of the two, the ratio of
 * their 99th percentiles, each of the best thousand. An exchange that takes
 * seconds ends it all, with a word why.
 *
 * Others that are no clients of the daemon cost it time, not work: crowd percentile REQUEST prints
 * the 99th percentile of the time that passed, in microseconds, in the best twentieth of many short
 * windows, for another program to compare.
 */
#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <thread>
#include <vector>

#include <sys/wait.h>

#include "exchange/socket.h"

using namespace vorn::bench;
using Clock = std::chrono::steady_clock;

namespace {

constexpr int silent_clients = 500;
constexpr std::size_t exchanges = 1000;
constexpr int windows = 10;
const sockaddr_un door = abstract_address("vorn_sock_lsql");

[[noreturn]] void give_up(const char *reason)
{
    std::fprintf(stderr, "crowd: %s\n", reason);
    std::exit(1);
}

/* In seconds of work, the daemon's and our own: what else the machine does is none. */
double exchange(const std::string &message)
{
    static pid_t daemon = 0;
    const auto begin = Clock::now();
    const double theirs = seconds_of(daemon);
    const double own = own_seconds();
    const int connection = connect_to(door);
    daemon = process_behind(connection);
    say(connection, message);
    const bool is_answered = hear(connection) > 0;
    close(connection);
    const double worked = own_seconds() - own + seconds_of(daemon) - theirs;
    if (!is_answered) give_up("a request is not answered");
    if (Clock::now() - begin > std::chrono::seconds(2)) give_up("an exchange takes seconds");
    return worked;
}

double percentile_99_of_a_window(const std::string &message)
{
    std::vector<double> times(exchanges);
    for (double &each : times)
        each = exchange(message);
    std::sort(times.begin(), times.end());
    return times[times.size() * 99 / 100];
}

double percentile_99(const std::string &message)
{
    double best = 1e9;
    for (int i = 0; i < windows; i++)
        best = std::min(best, percentile_99_of_a_window(message));
    return best;
}

double percentile_of_time_in_a_window(const std::string &message)
{
    constexpr std::size_t many = 150;
    std::vector<double> times(many);
    for (double &each : times) {
        const auto begin = Clock::now();
        exchange(message);
        each = std::chrono::duration<double, std::micro>(Clock::now() - begin).count();
    }
    std::sort(times.begin(), times.end());
    return times[many * 99 / 100];
}

/*
 * In microseconds. A window is long enough for what others do a thousand times a second, and so
 * short that a twentieth of them have none of what else a busy machine does.
 */
double percentile_of_time(const std::string &message)
{
    constexpr std::size_t short_windows = 300;
    std::vector<double> percentiles(short_windows);
    for (double &each : percentiles)
        each = percentile_of_time_in_a_window(message);
    std::sort(percentiles.begin(), percentiles.end());
    return percentiles[short_windows / 20];
}

class SilentClients {
public:
    SilentClients()
    {
        connections_.reserve(silent_clients);
        for (int i = 0; i < silent_clients; i++)
            connections_.push_back(connect_to(door));
    }
    SilentClients(const SilentClients &) = delete;
    ~SilentClients()
    {
        for (const int each : connections_)
            close(each);
    }

    bool are_all_there() const
    {
        char byte;
        return std::all_of(connections_.begin(), connections_.end(),
                           [&byte](int each) { return recv(each, &byte, 1, MSG_DONTWAIT) != 0; });
    }

private:
    std::vector<int> connections_;
};

/* They are turned out after five seconds, within which a window ends unless the machine is busy. */
double window_beside_silent_clients(const std::string &message)
{
    constexpr int tries = 20;
    for (int i = 0; i < tries; i++) {
        const SilentClients crowd;
        exchange(message); /* all of them have been taken */
        const double time = percentile_99_of_a_window(message);
        if (crowd.are_all_there()) return time;
    }
    give_up("silent clients are closed before a thousand exchanges are done");
}

double beside_silent_clients(const std::string &message)
{
    double best = 1e9;
    for (int i = 0; i < windows; i++)
        best = std::min(best, window_beside_silent_clients(message));
    return best;
}

/* Says when the reply has begun, and never ends by itself. */
[[noreturn]] void read_slowly(const std::string &message, int begun)
{
    static char room[1 << 15];
    const int connection = connect_to(door);
    say(connection, message);
    for (bool first = true;; first = false) {
        if (read(connection, room, sizeof room) <= 0) give_up("a slow reader is turned out");
        if (first) say(begun, "x");
        std::this_thread::sleep_for(std::chrono::milliseconds(32));
    }
}

double beside_a_slow_client(const std::string &message, const std::string &large)
{
    int ends[2];
    if (pipe(ends) != 0) give_up("no pipe");
    const pid_t reader = fork();
    if (reader == 0) read_slowly(large, ends[1]);
    char byte;
    if (!receive(ends[0], &byte, 1)) give_up("a slow reader gets nothing");
    const double time = percentile_99(message);
    if (waitpid(reader, nullptr, WNOHANG) != 0) give_up("a slow reader has had all it wants");
    kill(reader, SIGKILL);
    waitpid(reader, nullptr, 0);
    close(ends[0]);
    close(ends[1]);
    return time;
}

} // namespace

int main(int argc, char **argv)
{
    if (argc == 3 && std::strcmp(argv[1], "percentile") == 0) {
        std::printf("%.1f\n", percentile_of_time(framed(argv[2])));
        return 0;
    }
    if (argc != 4 && argc != 5) return 2;
    const std::string message = framed(argv[3]);
    exchange(message); /* it is known who answers */
    for (int round = std::atoi(argv[2]); round > 0; round--) {
        const double alone = percentile_99(message);
        const double beside = argc == 4 ? beside_silent_clients(message)
                                        : beside_a_slow_client(message, framed(argv[4]));
        std::printf("%.3f\n", beside / alone);
    }
}
