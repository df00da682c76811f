/* SPDX-License-Identifier: MIT */
/*
 * Who asked for what is being done. Most requests only read, and nobody wants to know whose they
 * were: to note a peer costs a pointer, and the kernel is asked when somebody asks for it.
 */
#include "core/peer.h"

#include "core/base/file.h"
#include "core/base/text.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <utility>

#include <fcntl.h>
#include <sys/socket.h>

namespace vorn {

namespace {

constexpr std::uint32_t unknown = UINT32_MAX;

constinit vorn_peer *innermost = nullptr;

const PeerCredentials &known(const vorn_peer &peer)
{
    PeerCredentials &credentials = *peer.credentials;
    if (credentials.are_known) return credentials;
    ucred told = {0, unknown, unknown};
    socklen_t size = sizeof told;
    getsockopt(peer.descriptor, SOL_SOCKET, SO_PEERCRED, &told, &size);
    return credentials = {true, told.uid, told.gid, told.pid};
}

/* A process calls itself what it likes, and what it says ends up in the log. */
void copy_printable(char *to, unsigned int most, const char *from, const char *ends)
{
    const std::size_t length = std::strcspn(from, ends);
    for (unsigned int i = 0; i < most && i < length; i++)
        *to++ = from[i] >= ' ' && from[i] <= '~' ? from[i] : '?';
    *to = '\0';
}

/* Whether a line "name:password:number:..." is the one of this number. */
bool has_number(const char *line, const char *number)
{
    const char *password = std::strchr(line, ':');
    const char *there = password && password > line ? std::strchr(password + 1, ':') : nullptr;
    const std::size_t length = std::strlen(number);
    return there && std::strncmp(there + 1, number, length) == 0 && there[1 + length] == ':';
}

/*
 * By hand: the C library would load whatever the device names in nsswitch.conf, which may ask over
 * the network and be waited for.
 */
void look_up_user(std::uint32_t uid, char *user)
{
    constexpr std::size_t room = vorn_peer::longest_user + 1;
    std::snprintf(user, room, "%lu", static_cast<unsigned long>(uid));
    const Fd users = open_regular("/etc/passwd", O_RDONLY);
    char block[1024];
    char line[256];
    unsigned int length = 0;
    for (ssize_t count = 0; users && (count = read(users.get(), block, sizeof block)) > 0;) {
        for (ssize_t i = 0; i < count; i++) {
            if (block[i] != '\n') {
                if (length < sizeof line - 1) line[length++] = block[i];
                continue;
            }
            line[std::exchange(length, 0)] = '\0';
            if (has_number(line, user)) {
                return copy_printable(user, vorn_peer::longest_user, line, ":");
            }
        }
    }
}

void read_program(const vorn_peer &peer)
{
    char path[32];
    char name[vorn_peer::longest_program + 2] = "";
    std::snprintf(path, sizeof path, "/proc/%ld/comm", static_cast<long>(known(peer).pid));
    const Fd file(open(path, O_RDONLY | O_CLOEXEC));
    const ssize_t count = file ? read(file.get(), name, sizeof name - 1) : 0;
    if (count > 0 && name[count - 1] == '\n') name[count - 1] = '\0';
    copy_printable(peer.program, vorn_peer::longest_program, name, "");
}

} // namespace

/* As a rule one user changes one thing after the other. */
const char *user_name(std::uint32_t uid)
{
    constexpr std::time_t trusted_s = 10;
    static constinit char name[vorn_peer::longest_user + 1] = "";
    static constinit std::uint32_t whose = 0;
    static constinit std::time_t since = 0;
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
    if (*name && uid == whose && now.tv_sec - since < trusted_s) return name;
    look_up_user(uid, name);
    whose = uid;
    since = now.tv_sec;
    return name;
}

const char *user_name(std::uint32_t uid, const char *for_user)
{
    static constinit char spoken_for[sizeof "gate:" + vorn_peer::longest_for_user] = "";
    if (*for_user == '\0') return user_name(uid);
    std::snprintf(spoken_for, sizeof spoken_for, "gate:%s", for_user);
    return spoken_for;
}

int known_groups(const vorn_peer *peer, std::uint32_t *groups, unsigned int most)
{
    static_assert(sizeof(gid_t) == sizeof(std::uint32_t));
    const bool fits = most <= 65536; /* as many as the kernel has at most */
    auto size = static_cast<socklen_t>((fits ? most : 65536) * sizeof *groups);
    const int result = getsockopt(peer->descriptor, SOL_SOCKET, SO_PEERGROUPS, groups, &size);
    if (result != 0 && errno != ERANGE) return -1;
    return static_cast<int>(size / sizeof *groups);
}

PeerOfRequest::PeerOfRequest(int descriptor, PeerCredentials *kept)
    : outer_(std::exchange(innermost, &peer_))
{
    peer_.descriptor = descriptor;
    peer_.credentials = kept ? kept : &own_;
    peer_.program[0] = '\0';
    peer_.for_user = nullptr;
    peer_.asks = peer_.stays = false;
    peer_.awaits = Awaited::nothing;
}

void PeerOfRequest::speaks_for(const char *user)
{
    if (innermost) innermost->for_user = user;
}

void PeerOfRequest::asks(bool stays)
{
    if (!innermost) return;
    innermost->asks = true;
    innermost->stays = stays;
}

Awaited PeerOfRequest::awaits()
{
    return innermost ? innermost->awaits : Awaited::nothing;
}

const vorn_peer *PeerOfRequest::take_asking()
{
    return innermost && std::exchange(innermost->asks, false) ? innermost : nullptr;
}

PeerOfRequest::~PeerOfRequest()
{
    innermost = outer_;
}

} // namespace vorn

using namespace vorn;

const vorn_peer *vorn_query_get_peer()
{
    return innermost;
}

uint32_t vorn_peer_get_uid(const vorn_peer *peer)
{
    return peer ? known(*peer).uid : 0;
}

uint32_t vorn_peer_get_gid(const vorn_peer *peer)
{
    return peer ? known(*peer).gid : 0;
}

int32_t vorn_peer_get_pid(const vorn_peer *peer)
{
    return peer ? known(*peer).pid : 0;
}

const char *vorn_peer_get_user(const vorn_peer *peer)
{
    return peer ? user_name(known(*peer).uid, vorn_peer_get_for_user(peer)) : "";
}

const char *vorn_peer_get_for_user(const vorn_peer *peer)
{
    return peer ? or_empty(peer->for_user) : "";
}

const char *vorn_peer_get_program(const vorn_peer *peer)
{
    if (!peer) return "";
    if (peer->program[0] == '\0' && known(*peer).pid > 0) read_program(*peer);
    return peer->program;
}

unsigned int vorn_peer_get_groups(const vorn_peer *peer, uint32_t *groups, unsigned int most)
{
    if (!peer || (!groups && most > 0)) return 0;
    const int count = known_groups(peer, groups, most);
    return count < 0 ? 0 : static_cast<unsigned int>(count);
}
