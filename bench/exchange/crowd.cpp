/* SPDX-License-Identifier: MIT */
/*
 * What others cost one client: crowd silent|slow ROUNDS REQUEST [LARGE-REQUEST] asks the daemon the
 * same again and again, alone and beside 500 clients that say nothing, or one that takes the reply
 * to the large request at a megabyte a second. Printed is, for each round of the two, the ratio of
 * their 99th percentiles, each of the best thousand: what else the machine does only adds.
 */
#include <algorithm>
#include <chrono>
#include <csignal>
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

double exchange(const std::string &message)
{
    const auto begin = Clock::now();
    const int connection = connect_to(door);
    say(connection, message);
    if (hear(connection) == 0) std::exit(1);
    close(connection);
    return std::chrono::duration<double, std::micro>(Clock::now() - begin).count();
}

double percentile_99(const std::string &message)
{
    double best = 1e9;
    for (int i = 0; i < windows; i++) {
        std::vector<double> times(exchanges);
        for (double &each : times)
            each = exchange(message);
        std::sort(times.begin(), times.end());
        best = std::min(best, times[times.size() * 99 / 100]);
    }
    return best;
}

double beside_silent_clients(const std::string &message)
{
    std::vector<int> silent;
    for (int i = 0; i < silent_clients; i++)
        silent.push_back(connect_to(door));
    exchange(message); /* all of them have been taken */
    const double time = percentile_99(message);
    for (const int each : silent) {
        char byte;
        if (recv(each, &byte, 1, MSG_DONTWAIT) == 0) std::exit(1); /* one was closed */
        close(each);
    }
    return time;
}

/* Says when the reply has begun, and never ends by itself. */
[[noreturn]] void read_slowly(const std::string &message, int begun)
{
    static char room[1 << 15];
    const int connection = connect_to(door);
    say(connection, message);
    for (bool first = true;; first = false) {
        if (read(connection, room, sizeof room) <= 0) std::exit(1);
        if (first) say(begun, "x");
        std::this_thread::sleep_for(std::chrono::milliseconds(32));
    }
}

double beside_a_slow_client(const std::string &message, const std::string &large)
{
    int ends[2];
    if (pipe(ends) != 0) std::exit(1);
    const pid_t reader = fork();
    if (reader == 0) read_slowly(large, ends[1]);
    char byte;
    if (!receive(ends[0], &byte, 1)) std::exit(1);
    const double time = percentile_99(message);
    if (waitpid(reader, nullptr, WNOHANG) != 0) std::exit(1); /* it has not had all it wants */
    kill(reader, SIGKILL);
    waitpid(reader, nullptr, 0);
    close(ends[0]);
    close(ends[1]);
    return time;
}

} // namespace

int main(int argc, char **argv)
{
    if (argc != 4 && argc != 5) return 2;
    const std::string message = framed(argv[3]);
    for (int round = std::atoi(argv[2]); round > 0; round--) {
        const double alone = percentile_99(message);
        const double beside = argc == 4 ? beside_silent_clients(message)
                                        : beside_a_slow_client(message, framed(argv[4]));
        std::printf("%.3f\n", beside / alone);
    }
}
