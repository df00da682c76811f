/* SPDX-License-Identifier: MIT */
/*
 * What a client writes at a framed door, in pieces of any size: the requests that are found in it,
 * and the replies, held against a reader that has everything at once.
 */
#include "api/sockets/client.h"
#include "core/base/limits.h"
#include "core/debug_state.h"

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include "fuzz/target.h"

namespace {

using vorn::Client;
using vorn::Door;

std::vector<std::string> requests;

/* The text up to its end, as an evaluation would find it; some requests have no reply. */
void answer(Client &client, char *text)
{
    requests.emplace_back(text);
    if (*text != '!') client.reply(vorn::copy_of(text));
}

constexpr Door doors[] = {{"LSQL", "", "", 4, nullptr, false, answer},
                          {"inform", "", "", 8, "version\n", false, answer},
                          {"stream", "", "", 8, nullptr, true, answer}};

std::uint32_t word_at(std::string_view bytes, std::size_t place)
{
    std::uint32_t word;
    std::memcpy(&word, bytes.data() + place, sizeof word);
    return word;
}

std::string network_word(std::size_t number)
{
    const std::uint32_t word = htonl(static_cast<std::uint32_t>(number));
    return std::string(reinterpret_cast<const char *>(&word), sizeof word);
}

struct Expected {
    std::vector<std::string> requests;
    std::string replies;
};

Expected read_at_once(std::string_view bytes, const Door &door)
{
    Expected expected;
    while (bytes.size() >= door.head_size) {
        const std::string number(bytes.substr(0, 4));
        if (door.unknown_version && word_at(bytes, 0) != 0) break;
        std::uint32_t length = word_at(bytes, door.head_size - 4);
        if (door.stays) length = ntohl(length);
        if (length == 0 || length > vorn::longest_request) break;
        bytes.remove_prefix(door.head_size);
        if (door.stays && bytes.size() < length) break;

        const std::string text(bytes.substr(0, length));
        const std::string request(text.c_str());
        const std::string reply = request[0] == '!' ? "" : request;
        expected.requests.push_back(request);
        if (door.stays) expected.replies += number + network_word(reply.size());
        expected.replies += reply;
        if (!door.stays) break;
        bytes.remove_prefix(length);
    }
    return expected;
}

std::string taken_from(int peer)
{
    char room[65536];
    const ssize_t count = recv(peer, room, sizeof room, MSG_DONTWAIT);
    return std::string(room, count > 0 ? static_cast<std::size_t>(count) : 0);
}

/* As long as there is something to do, the peer takes what is said. */
std::string serve(Client &client, int peer)
{
    std::string replies;
    while (!client.is_over() && client.go_on()) {
        if (client.has_whole_request()) client.evaluate();
        replies += taken_from(peer);
    }
    return replies;
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static const bool ready = (vorn::debug_state = {0, 0, 0, std::fopen("/dev/null", "w")}, true);
    vorn::fuzz::require(ready, "nobody reads the log");
    if (size < 2) return 0;
    const Door &door = doors[data[0] % std::size(doors)];
    const std::size_t piece = 1 + std::size_t{data[1]};
    const std::string_view bytes(reinterpret_cast<const char *>(data) + 2, size - 2);
    const Expected expected = read_at_once(bytes, door);
    int ends[2];
    vorn::fuzz::require(socketpair(AF_UNIX, SOCK_STREAM, 0, ends) == 0, "there are sockets");
    requests.clear();
    std::string replies;
    {
        const vorn::Fd peer(ends[0]);
        Client client(vorn::Fd(ends[1]), door);
        for (std::size_t begin = 0; begin < bytes.size() && !client.is_over(); begin += piece) {
            const std::string_view next = bytes.substr(begin, piece);
            send(peer.get(), next.data(), next.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
            replies += serve(client, peer.get());
        }
        shutdown(peer.get(), SHUT_WR);
        replies += serve(client, peer.get());
        vorn::fuzz::require(client.is_over(), "a client that has left is over");
        replies += taken_from(peer.get());
    }
    vorn::fuzz::require(requests == expected.requests, "the requests are those that were written");
    vorn::fuzz::require(replies == expected.replies, "the replies are those to the requests");
    return 0;
}
