/* SPDX-License-Identifier: MIT */
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>

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

/* A request as the LSQL socket wants it. */
inline std::string framed(const std::string &request)
{
    const auto length = static_cast<std::uint32_t>(request.size());
    return std::string(reinterpret_cast<const char *>(&length), sizeof length) + request;
}

inline int connect_to(const sockaddr_un &address)
{
    const int connection = socket(AF_UNIX, SOCK_STREAM, 0);
    if (connect(connection, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0) {
        std::perror(address.sun_path[0] ? address.sun_path : address.sun_path + 1);
        std::exit(1);
    }
    return connection;
}

inline void say(int connection, const std::string &message)
{
    if (write(connection, message.data(), message.size()) == static_cast<ssize_t>(message.size())) {
        return;
    }
    std::perror("write");
    std::exit(1);
}

/* Takes what comes up to the end of the stream; answers how much. */
inline std::size_t hear(int connection)
{
    static char room[1 << 16];
    std::size_t total = 0;
    for (ssize_t count; (count = read(connection, room, sizeof room)) > 0;)
        total += static_cast<std::size_t>(count);
    return total;
}

/* The process that listened for the other end. */
inline pid_t process_behind(int connection)
{
    ucred peer = {};
    socklen_t size = sizeof peer;
    getsockopt(connection, SOL_SOCKET, SO_PEERCRED, &peer, &size);
    return peer.pid;
}

/* The processor's time that a process has had; 0 where none tells. */
inline double seconds_of(pid_t process)
{
    double nanoseconds = 0;
    const std::string path = "/proc/" + std::to_string(process) + "/schedstat";
    std::FILE *file = std::fopen(path.c_str(), "r");
    if (!file || std::fscanf(file, "%lf", &nanoseconds) != 1) nanoseconds = 0;
    if (file) std::fclose(file);
    return nanoseconds / 1e9;
}

inline double own_seconds()
{
    timespec spent;
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &spent);
    return static_cast<double>(spent.tv_sec) + static_cast<double>(spent.tv_nsec) / 1e9;
}

} // namespace vorn::bench
