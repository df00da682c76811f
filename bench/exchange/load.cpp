/* SPDX-License-Identifier: MIT */
/*
 * load SECONDS REQUEST SERVER...: how many exchanges a second each server makes with one client
 * that never pauses. The servers take turns in short slices, so that whatever else the machine
 * does hits all alike. On one processor the time that both have worked is taken, which is all the
 * time that passes where nothing else runs. Printed are each server's rates in the order of its
 * slices. A server is an abstract socket's name, stream:NAME for one on which the client stays, or
 * redis:PATH for a Redis that is asked for one key instead.
 */
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <arpa/inet.h>
#include <sched.h>

#include "exchange/socket.h"

using namespace vorn::bench;
using Clock = std::chrono::steady_clock;

namespace {

constexpr auto slice = std::chrono::milliseconds(20);
const std::string redis_prefix = "redis:";
const std::string stream_prefix = "stream:";

struct Server {
    std::string name;
    sockaddr_un address;
    std::string message;
    int stays = -1; /* the connection, of one that takes any number of framed requests */
    pid_t process = 0;
    bool hangs_up = true; /* the end of the reply is the end of the stream */
    std::vector<double> rates = {};
};

std::string network_word(std::size_t number)
{
    const std::uint32_t word = htonl(static_cast<std::uint32_t>(number));
    return std::string(reinterpret_cast<const char *>(&word), sizeof word);
}

bool has_prefix(const std::string &name, const std::string &prefix)
{
    return name.compare(0, prefix.size(), prefix) == 0;
}

Server make_server(const std::string &name, const std::string &request)
{
    Server server = {name, abstract_address(name.c_str()), framed(request)};
    if (has_prefix(name, redis_prefix)) {
        server.address = {};
        server.address.sun_family = AF_UNIX;
        std::snprintf(server.address.sun_path, sizeof server.address.sun_path, "%s",
                      name.c_str() + redis_prefix.size());
        server.message = "GET key\r\n";
        server.hangs_up = false;
    } else if (has_prefix(name, stream_prefix)) {
        server.address = abstract_address(name.c_str() + stream_prefix.size());
        server.message = network_word(1) + network_word(request.size()) + request;
        server.stays = connect_to(server.address);
    }
    return server;
}

std::size_t exchange_and_stay(const Server &server)
{
    static char room[1 << 16];
    std::uint32_t head[2];
    say(server.stays, server.message);
    if (!receive(server.stays, head, sizeof head)) return 0;
    const std::size_t length = ntohl(head[1]);
    return length <= sizeof room && receive(server.stays, room, length) ? length : 0;
}

std::size_t exchange(Server &server)
{
    if (server.stays >= 0) {
        server.process = process_behind(server.stays);
        return exchange_and_stay(server);
    }
    char room[1024];
    const int connection = connect_to(server.address);
    server.process = process_behind(connection);
    say(connection, server.message);
    const std::size_t total =
        server.hangs_up
            ? hear(connection)
            : static_cast<std::size_t>(std::max<ssize_t>(read(connection, room, sizeof room), 0));
    close(connection);
    return total;
}

bool is_pinned()
{
    cpu_set_t processors;
    return sched_getaffinity(0, sizeof processors, &processors) == 0 && CPU_COUNT(&processors) == 1;
}

double rate(Server &server)
{
    exchange(server); /* what comes first has to be made first */
    static const bool counts_work = is_pinned() && seconds_of(server.process) > 0;
    const double theirs = seconds_of(server.process);
    const double own = own_seconds();
    const auto begin = Clock::now();
    int exchanges = 0;
    while (Clock::now() - begin < slice) {
        if (exchange(server) == 0) {
            std::fprintf(stderr, "%s gives no answer\n", server.name.c_str());
            std::exit(1);
        }
        exchanges++;
    }
    const double passed = std::chrono::duration<double>(Clock::now() - begin).count();
    const double worked = own_seconds() - own + seconds_of(server.process) - theirs;
    return exchanges / (counts_work ? worked : passed);
}

} // namespace

int main(int argc, char **argv)
{
    if (argc < 4) return 2;
    const double seconds = std::atof(argv[1]);
    std::vector<Server> servers;
    for (int i = 3; i < argc; i++)
        servers.push_back(make_server(argv[i], argv[2]));
    const auto end = Clock::now() + std::chrono::duration<double>(seconds);
    do {
        for (Server &server : servers)
            server.rates.push_back(rate(server));
    } while (Clock::now() < end);
    for (const Server &server : servers) {
        std::printf("%s", server.name.c_str());
        for (const double each : server.rates)
            std::printf(" %.0f", each);
        std::printf("\n");
    }
}
