/* SPDX-License-Identifier: MIT */
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace vorn::bench {

inline sockaddr_un abstract_address(const char *name)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::snprintf(address.sun_path + 1, sizeof address.sun_path - 1, "%s", name);
    return address;
}

inline bool receive(int from, void *room, std::size_t size)
{
    auto *at = static_cast<char *>(room);
    while (size > 0) {
        const ssize_t count = read(from, at, size);
        if (count <= 0) return false;
        at += count;
        size -= static_cast<std::size_t>(count);
    }
    return true;
}

} // namespace vorn::bench
