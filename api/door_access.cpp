/* SPDX-License-Identifier: MIT */
/*
 * Rights at the doors without requests to evaluate. Who hears notices came over TCP, where the
 * kernel tells no peer: whose a connection's other end is stands in its list of connections.
 */
#include "api/door_access.h"

#include "api/sockets/inform_state.h"
#include "api/sockets/notify_state.h"
#include "core/base/file.h"
#include "core/peer.h"
#include "vorn/class.h"

#include <cinttypes>
#include <cstdio>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include "access/access.h"

namespace vorn {

namespace {

bool is_informed(const char *object, const char *for_user)
{
    const vorn_peer *peer = vorn_query_get_peer();
    if (for_user && !may_speak_for(peer, for_user)) return false;
    if (for_user) PeerOfRequest::speaks_for(for_user);
    const Access access(peer);
    if (access.is_locked_out() || access.failed()) return false;
    return !access.view() || access.view()->may_inform(object);
}

/* One end of a connection as the kernel's list has it. */
struct End {
    std::uint32_t address; /* in the network's order, read as a number of the machine's */
    std::uint32_t port;

    bool operator==(const End &other) const = default;
};

bool ends_of(int fd, End &own, End &other)
{
    sockaddr_in here = {};
    sockaddr_in there = {};
    socklen_t size = sizeof here;
    if (getsockname(fd, reinterpret_cast<sockaddr *>(&here), &size) != 0) return false;
    size = sizeof there;
    if (getpeername(fd, reinterpret_cast<sockaddr *>(&there), &size) != 0) return false;
    own = {here.sin_addr.s_addr, ntohs(here.sin_port)};
    other = {there.sin_addr.s_addr, ntohs(there.sin_port)};
    return here.sin_family == AF_INET && there.sin_family == AF_INET;
}

/* A connection as the kernel lists it, and whose its first end is. */
struct Listed {
    End local;
    End remote;
    unsigned int state;
    std::uint32_t uid;
    unsigned long inode;
};

/* An address of the older kind within one of the newer. */
bool is_mapped(const std::uint32_t (&parts)[2])
{
    return parts[0] == htonl(0xffff) && parts[1] == parts[0];
}

/* A line of either list; an end that its process has closed has no inode, and is root's. */
bool read_connection(const char *line, Listed &found)
{
    std::uint32_t parts[2] = {};
    int count = std::sscanf(line,
                            "%*d: %8" SCNx32 ":%" SCNx32 " %8" SCNx32 ":%" SCNx32
                            " %x %*s %*s %*s %" SCNu32 " %*d %lu",
                            &found.local.address, &found.local.port, &found.remote.address,
                            &found.remote.port, &found.state, &found.uid, &found.inode);
    if (count != 7) {
        count = std::sscanf(line,
                            "%*d: 0000000000000000%8" SCNx32 "%8" SCNx32 ":%" SCNx32
                            " 0000000000000000%8" SCNx32 "%8" SCNx32 ":%" SCNx32
                            " %x %*s %*s %*s %" SCNu32 " %*d %lu",
                            &parts[0], &found.local.address, &found.local.port, &parts[1],
                            &found.remote.address, &found.remote.port, &found.state, &found.uid,
                            &found.inode) -
                2;
        if (!is_mapped(parts)) return false;
    }
    constexpr unsigned int established = 1;
    return count == 7 && found.state == established && found.inode != 0;
}

/* Whose the other end of a connection within the device is; unknown when nobody says so. */
std::uint32_t user_at_other_end(int fd)
{
    End own = {};
    End other = {};
    if (!ends_of(fd, own, other)) return Subject::unknown;
    for (const char *path : {"/proc/net/tcp", "/proc/net/tcp6"}) {
        const File list(std::fopen(path, "re"));
        char line[256];
        while (list && std::fgets(line, sizeof line, list.get())) {
            Listed found = {};
            if (read_connection(line, found) && found.local == other && found.remote == own)
                return found.uid;
        }
    }
    return Subject::unknown;
}

bool may_read(const AccessView &view, const char *class_name, const char *property)
{
    if (!class_name) return view.reads_anything();
    const vorn_class *klass = vorn_classes_get(class_name);
    if (!klass) return view.reads_everything();
    return view.is_there(*klass) && view.of(*klass).may_read(property);
}

bool is_noticed(int fd, const char *class_name, const char *property)
{
    if (!access_rules) return true;
    Subject subject;
    subject.uid = user_at_other_end(fd);
    const Access access(subject);
    if (access.is_locked_out() || access.failed()) return false;
    return !access.view() || may_read(*access.view(), class_name, property);
}

} // namespace

void watch_doors()
{
    may_be_informed = is_informed;
    may_be_noticed = is_noticed;
}

} // namespace vorn
