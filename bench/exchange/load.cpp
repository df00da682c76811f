/* SPDX-License-Identifier: MIT */
/*
 * load SECONDS REQUEST SERVER...: how many exchanges a second each server makes with one client
 * that never pauses. The servers take turns in short slices, so that whatever else the machine
 * does hits all alike; what is printed for each is the median of its slices. A server is an
 * abstract socket's name, or redis:PATH for a Redis that is asked for one key instead.
 */
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "exchange/socket.h"

using namespace vorn::bench;
using Clock = std::chrono::steady_clock;

namespace {

constexpr auto slice = std::chrono::milliseconds(200);
constexpr char redis_prefix[] = "redis:";

struct Server {
    std::string name;
    sockaddr_un address;
    std::string message;
    bool hangs_up; /* the end of the reply is the end of the stream */
    std::vector<double> rates;
};

std::string framed(const std::string &request)
{
    const auto length = static_cast<std::uint32_t>(request.size());
    return std::string(reinterpret_cast<const char *>(&length), sizeof length) + request;
}

Server make_server(const std::string &name, const std::string &request)
{
    const std::size_t prefix = sizeof redis_prefix - 1;
    if (name.compare(0, prefix, redis_prefix) != 0) {
        return {name, abstract_address(name.c_str()), framed(request), true, {}};
    }
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::snprintf(address.sun_path, sizeof address.sun_path, "%s", name.c_str() + prefix);
    return {name, address, "GET key\r\n", false, {}};
}

std::size_t exchange(const Server &server)
{
    static char room[1 << 16];
    const int connection = socket(AF_UNIX, SOCK_STREAM, 0);
    if (connect(connection, reinterpret_cast<const sockaddr *>(&server.address),
                sizeof server.address) != 0 ||
        write(connection, server.message.data(), server.message.size()) < 0) {
        std::perror(server.name.c_str());
        std::exit(1);
    }
    std::size_t total = 0;
    ssize_t count = 0;
    do {
        count = read(connection, room, sizeof room);
        if (count > 0) total += static_cast<std::size_t>(count);
    } while (count > 0 && server.hangs_up);
    close(connection);
    return total;
}

double rate(const Server &server)
{
    const auto begin = Clock::now();
    int exchanges = 0;
    while (Clock::now() - begin < slice) {
        if (exchange(server) == 0) {
            std::fprintf(stderr, "%s gives no answer\n", server.name.c_str());
            std::exit(1);
        }
        exchanges++;
    }
    return exchanges / std::chrono::duration<double>(Clock::now() - begin).count();
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
    for (Server &server : servers) {
        std::sort(server.rates.begin(), server.rates.end());
        std::printf("%s %.0f\n", server.name.c_str(), server.rates[server.rates.size() / 2]);
    }
}
