/* SPDX-License-Identifier: MIT */
/*
 * Sends messages to subscribers without ever waiting for one. The kernel may take half a message;
 * its rest is then kept, at most one per connection, and tried again every second. Until it is
 * gone all further messages for that connection are left out: a subscriber that reads again finds
 * whole messages, never half of one followed by another. What is kept for all of them is bounded;
 * who would need more hears the end of the stream.
 */
#include "api/sockets/notify_sender.h"

#include "core/base/limits.h"
#include "core/base/memory.h"
#include "core/base/text.h"
#include "vorn/debug.h"
#include "vorn/eloop.h"

#include <cerrno>
#include <cstring>

#include <sys/socket.h>

namespace vorn {

namespace {

constexpr int retry_seconds = 1;

struct Unsent : Record {
    int fd = -1;
    Allocated<char> bytes;
    std::size_t length = 0;
    std::size_t sent = 0;
    Unsent *next = nullptr;
};

constinit Unsent *unsent = nullptr;

/* Of all subscribers together. */
std::size_t unsent_length()
{
    std::size_t length = 0;
    for (const Unsent *each = unsent; each; each = each->next)
        length += each->length;
    return length;
}

Unsent **find_unsent(int fd)
{
    Unsent **place = &unsent;
    while (*place && (*place)->fd != fd)
        place = &(*place)->next;
    return place;
}

void drop(Unsent **place)
{
    const Owned<Unsent> dropped(*place);
    *place = dropped->next;
}

/* How many bytes went out; fewer than all when the connection takes no more for now, or ever. */
std::size_t send_some(int fd, const char *bytes, std::size_t length)
{
    std::size_t sent = 0;
    while (sent < length) {
        const ssize_t count = send(fd, bytes + sent, length - sent, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) break;
        sent += static_cast<std::size_t>(count);
    }
    return sent;
}

bool send_rest(Unsent &rest)
{
    rest.sent += send_some(rest.fd, rest.bytes.get() + rest.sent, rest.length - rest.sent);
    return rest.sent == rest.length;
}

void retry_unsent(void *, void *)
{
    for (Unsent **place = &unsent; *place;) {
        if (send_rest(**place)) {
            drop(place);
        } else {
            place = &(*place)->next;
        }
    }
    if (unsent) eloop_register_timeout(retry_seconds, 0, retry_unsent, nullptr, nullptr);
}

bool keep_rest(int fd, const char *bytes, std::size_t length)
{
    if (length > longest_unsent - unsent_length()) {
        vorn_debug_eprintf("More than %zu bytes to be sent to subscribers.\n", longest_unsent);
        return false;
    }
    Owned<Unsent> rest = make<Unsent>();
    if (!rest) return false;
    rest->bytes.reset(static_cast<char *>(noted(std::malloc(length))));
    if (!rest->bytes) return false;

    if (!unsent && eloop_register_timeout(retry_seconds, 0, retry_unsent, nullptr, nullptr) != 0) {
        return false;
    }
    std::memcpy(rest->bytes.get(), bytes, length);
    rest->fd = fd;
    rest->length = length;
    rest->next = unsent;
    unsent = rest.release();
    return true;
}

/* An earlier message that is still on its way goes first. */
bool has_caught_up(int fd)
{
    Unsent **place = find_unsent(fd);
    if (!*place) return true;
    if (!send_rest(**place)) return false;
    drop(place);
    return true;
}

} // namespace

bool send_message(int fd, const char *message)
{
    if (!has_caught_up(fd)) return false;

    const std::size_t length = std::strlen(message) + 1;
    const std::size_t sent = send_some(fd, message, length);
    if (sent == length) return true;
    if (sent == 0) return false;

    /* Without room to finish it, the only way to send no half message is to send no more. */
    if (!keep_rest(fd, message + sent, length - sent)) shutdown(fd, SHUT_RDWR);
    return false;
}

void forget_unsent(int fd)
{
    if (Unsent **place = find_unsent(fd); *place) drop(place);
    if (!unsent) eloop_cancel_timeout(retry_unsent, nullptr, nullptr);
}

} // namespace vorn
