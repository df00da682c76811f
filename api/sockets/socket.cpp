/* SPDX-License-Identifier: MIT */
/*
 * The daemon's sockets, made in one uniform way. Whatever fails is reported with the system's
 * reason, and the descriptor is closed before the answer.
 */
#include "vorn/socket.h"

#include "core/base/file.h"
#include "core/base/result.h"
#include "core/base/text.h"
#include "core/guard.h"
#include "vorn/debug.h"

#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace vorn {

namespace {

constexpr int backlog = 50;
constexpr int no_descriptor = -1;

int set_mode(int descriptor, bool blocking)
{
    const int flags = fcntl(descriptor, F_GETFL);
    const int wanted = blocking ? flags & ~O_NONBLOCK : flags | O_NONBLOCK;
    if (flags != -1 && fcntl(descriptor, F_SETFL, wanted) != -1) return ok;

    vorn_debug_perror("fcntl");
    close(descriptor);
    return failed;
}

Fd open_socket(int family, int type)
{
    Fd descriptor(socket(family, type, 0));
    if (!descriptor) vorn_debug_perror("socket");
    return descriptor;
}

bool close_on_exec(const Fd &descriptor)
{
    if (fcntl(descriptor.get(), F_SETFD, FD_CLOEXEC) != -1) return true;
    vorn_debug_perror("fcntl");
    return false;
}

int listen_on(Fd descriptor)
{
    if (listen(descriptor.get(), backlog) == 0) return descriptor.release();
    vorn_debug_perror("listen");
    return no_descriptor;
}

/* A byte of 0, the name, and the padding after it, which is part of an abstract name. */
void put_abstract_name(sockaddr_un &address, const char *name)
{
    std::snprintf(address.sun_path + 1, sizeof address.sun_path - 1, "%s", name);
}

/* A name that can't be canonicalised is one that does not exist yet: it is bound as it stands. */
void put_file_name(sockaddr_un &address, const char *name)
{
    char canonical[PATH_MAX];
    const bool exists = realpath(name, canonical) != nullptr;
    if (exists) unlink(canonical);
    std::snprintf(address.sun_path, sizeof address.sun_path, "%s", exists ? canonical : name);
}

sockaddr_in internet_address(int port, int local_only)
{
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_ANY);
    if (local_only) inet_aton("127.0.0.1", &address.sin_addr);
    return address;
}

template <typename Address>
bool bind_to(const Fd &descriptor, const Address &address, const char *report)
{
    const auto *plain = reinterpret_cast<const sockaddr *>(&address);
    if (bind(descriptor.get(), plain, sizeof address) == 0) return true;
    vorn_debug_perror(report);
    return false;
}

} // namespace

} // namespace vorn

using namespace vorn;

int vorn_socket_set_nonblock(int descriptor)
{
    return set_mode(descriptor, false);
}

int vorn_socket_set_block(int descriptor)
{
    return set_mode(descriptor, true);
}

int vorn_socket_get_unix(const char *name, unsigned int flags)
{
    if (absent(name, "name")) return no_descriptor;

    Fd descriptor = open_socket(AF_UNIX, SOCK_STREAM);
    if (!descriptor) return no_descriptor;
    vorn_socket_set_nonblock(descriptor.get());
    if (!close_on_exec(descriptor)) return no_descriptor;

    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (flags & VORN_SOCKET_ABSTRACT) {
        put_abstract_name(address, name);
    } else {
        put_file_name(address, name);
    }
    const Line<160> report("Unable to bind to domain %s", name);
    if (!bind_to(descriptor, address, report.get())) return no_descriptor;
    return listen_on(std::move(descriptor));
}

int vorn_socket_get_udp()
{
    Fd descriptor = open_socket(AF_INET, SOCK_DGRAM);
    if (!descriptor || !close_on_exec(descriptor)) return no_descriptor;
    return descriptor.release();
}

int vorn_socket_get_tcp(int port, int local_only)
{
    Fd descriptor = open_socket(AF_INET, SOCK_STREAM);
    if (!descriptor) return no_descriptor;
    const int on = 1;
    setsockopt(descriptor.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    vorn_socket_set_nonblock(descriptor.get());
    if (!close_on_exec(descriptor)) return no_descriptor;

    const Line<160> report("Unable to bind to port %d", port);
    const sockaddr_in address = internet_address(port, local_only);
    if (!bind_to(descriptor, address, report.get())) return no_descriptor;
    return listen_on(std::move(descriptor));
}
