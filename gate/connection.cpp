/* SPDX-License-Identifier: MIT */
#include "connection.h"

#include <array>
#include <cerrno>

#include <sys/socket.h>

namespace vorn::gate {

namespace {

/* How many bytes the system has taken; below 0 when the connection is broken. */
ssize_t sent(int descriptor, std::string_view bytes)
{
    std::size_t at = 0;
    while (at < bytes.size()) {
        const ssize_t count =
            ::send(descriptor, bytes.data() + at, bytes.size() - at, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return errno == EAGAIN ? static_cast<ssize_t>(at) : -1;
        at += static_cast<std::size_t>(count);
    }
    return static_cast<ssize_t>(at);
}

} // namespace

ssize_t Connection::receive()
{
    std::array<char, 16384> piece;
    for (;;) {
        const ssize_t count = recv(descriptor, piece.data(), piece.size(), 0);
        if (count < 0 && errno == EINTR) continue;
        if (count > 0 && !drains) received.append(piece.data(), static_cast<std::size_t>(count));
        return count;
    }
}

bool Connection::send(std::string_view bytes)
{
    const ssize_t count = unsent.empty() ? sent(descriptor, bytes) : 0;
    if (count < 0) return false;
    unsent += bytes.substr(static_cast<std::size_t>(count));
    return true;
}

bool Connection::send_rest()
{
    const ssize_t count = sent(descriptor, unsent);
    if (count < 0) return false;
    unsent.erase(0, static_cast<std::size_t>(count));
    if (unsent.empty()) unsent.shrink_to_fit();
    return true;
}

} // namespace vorn::gate
