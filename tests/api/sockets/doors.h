/* SPDX-License-Identifier: MIT */
#pragma once

#include "core/base/file.h"
#include "vorn/socket.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>

#include <arpa/inet.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace vorn::tests {

/* A name of this process only, so that tests side by side don't meet. */
inline std::string own(const std::string &name)
{
    return "vorn_test_" + std::to_string(getpid()) + "_" + name;
}

/* A client of an abstract name; none when nobody listens there. */
inline Fd connect_to(const std::string &name)
{
    Fd client(socket(AF_UNIX, SOCK_STREAM, 0));
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path + 1, name.data(), name.size());
    const auto *plain = reinterpret_cast<const sockaddr *>(&address);
    return connect(client.get(), plain, sizeof address) == 0 ? std::move(client) : Fd();
}

/* Sends what the buffer takes; the rest is not sent. */
inline std::size_t send_to(const Fd &peer, const std::string &bytes)
{
    const ssize_t count = send(peer.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    return count > 0 ? static_cast<std::size_t>(count) : 0;
}

/* Everything up to the end of the stream, which must not be a reset. */
inline std::string receive_all(const Fd &peer)
{
    std::string text;
    char block[4096];
    ssize_t count;
    while ((count = read(peer.get(), block, sizeof block)) > 0)
        text.append(block, static_cast<std::size_t>(count));
    EXPECT_EQ(count, 0) << std::strerror(errno);
    return text;
}

/* Four bytes in the machine's own order. */
inline std::string word(std::uint32_t number)
{
    std::string bytes(sizeof number, '\0');
    std::memcpy(bytes.data(), &number, sizeof number);
    return bytes;
}

/* The same, most significant byte first. */
inline std::string network_word(std::uint32_t number)
{
    return word(htonl(number));
}

/* A listener to which one client has come, with its request already sent. */
struct Visit {
    explicit Visit(const std::string &request)
        : listener(vorn_socket_get_unix(own("door").c_str(), VORN_SOCKET_ABSTRACT)),
          client(connect_to(own("door")))
    {
        EXPECT_EQ(send_to(client, request), request.size());
    }

    Fd listener;
    Fd client;
};

} // namespace vorn::tests
