/* SPDX-License-Identifier: MIT */
/*
 * Announcements to subscribers. A connection's life: accepted and registered with the loop, but
 * no subscriber yet; a subscriber from its first byte on, in the lowest free slot; cleared,
 * unregistered and closed when the peer closes. With all slots taken that first byte ends it.
 * A slot that an object change clears leaves the connection open: its next byte subscribes it
 * again. There are never more connections than a few, subscribers or not, so that nobody who opens
 * them without end takes the daemon's descriptors away.
 */
#include "vorn/notify.h"

#include "api/sockets/clients.h"
#include "api/sockets/notify_sender.h"
#include "api/sockets/notify_state.h"
#include "core/base/file.h"
#include "core/base/limits.h"
#include "core/base/result.h"
#include "core/base/text.h"
#include "core/guard.h"
#include "core/process.h"
#include "vorn/debug.h"
#include "vorn/eloop.h"
#include "vorn/socket.h"

#include <cerrno>

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace vorn {

bool (*may_be_noticed)(int fd, const char *class_name, const char *property) = nullptr;
constinit NotifyConnection notify_connection[notify_slots] = {};
constinit std::int32_t conf_change_counter = 1;
constinit int open_notify_connections = 0;

namespace {

constexpr int port = 8001;
constexpr int loopback_only = 1;

enum class Peer { there, gone };

/*
 * Reads what the subscriber wrote, which nobody wants; tells whether it is still there. One that
 * writes without end is not read without end.
 */
Peer discard_input(std::FILE *stream)
{
    errno = 0;
    for (int count = 0; count < most_discarded; count++) {
        if (std::getc(stream) == EOF) {
            const int reason = errno;
            std::clearerr(stream);
            return reason == EAGAIN ? Peer::there : Peer::gone;
        }
    }
    return Peer::there;
}

/* Whoever only listens must not take the last descriptors, which others are served with. */
bool has_room(int fd)
{
    constexpr long kept_for_requests = 4;
    if (fd + kept_for_requests >= sysconf(_SC_OPEN_MAX)) return false;
    return open_notify_connections < most_notice_connections;
}

int failed_to(const char *what, int fd)
{
    vorn_debug_perror(what);
    if (fd >= 0) close(fd);
    return -1;
}

int accept_connection(int listener)
{
    const int fd = accept_or_rest(listener);
    if (fd < 0) return failed_to("vorn_notify_new_connection accept", -1);
    if (fcntl(fd, F_SETFD, FD_CLOEXEC) < 0) {
        return failed_to("vorn_notify_new_connection fcntl", fd);
    }
    vorn_socket_set_nonblock(fd);
    return fd;
}

Text object_change(const char *origin, const char *class_name, const char *instance_name,
                   const char *property, const char *value)
{
    return format("<?xml version=\"1.0\"?><object_changed%s%s%s><%s%s%s%s><%s>%s</%s></%s>"
                  "</object_changed>\n",
                  origin ? " origin=\"" : "", origin ? origin : "", origin ? "\"" : "", class_name,
                  instance_name ? " name=\"" : "", instance_name ? instance_name : "",
                  instance_name ? "\"" : "", property, value, property, class_name);
}

Text conf_change(const char *origin)
{
    if (!origin) {
        return format("<?xml version=\"1.0\"?><conf_changed>%d</conf_changed>\n",
                      conf_change_counter);
    }
    return format("<?xml version=\"1.0\"?><conf_changed origin=\"%s\">%d</conf_changed>\n", origin,
                  conf_change_counter);
}

bool is_meant(const NotifyConnection &slot, const char *class_name, const char *property)
{
    return !may_be_noticed || may_be_noticed(slot.fd, class_name, property);
}

} // namespace

int vorn_notify_add_connection(int fd, std::FILE *stream)
{
    for (const NotifyConnection &slot : notify_connection) {
        if (!slot.in_use || slot.fd != fd) continue;
        if (slot.stream != stream) {
            vorn_debug_eprintf("%s: fp doesn't match.\n", "vorn_notify_add_connection");
        }
        return ok;
    }
    for (NotifyConnection &slot : notify_connection) {
        if (slot.in_use) continue;
        slot = {true, fd, stream};
        return ok;
    }
    return failed;
}

void notify_remove_connection(int fd)
{
    for (NotifyConnection &slot : notify_connection) {
        if (!slot.in_use || slot.fd != fd) continue;
        slot = {};
        return;
    }
}

bool notify_begin_connection(int fd, std::FILE *stream)
{
    if (eloop_register_read_sock(fd, notify_read, nullptr, stream) != 0) return false;
    open_notify_connections++;
    return true;
}

void notify_end_connection(int fd, std::FILE *stream)
{
    open_notify_connections--;
    eloop_unregister_read_sock(fd);
    forget_unsent(fd);
    std::fclose(stream);
}

void notify_read(int fd, void *, void *user_data)
{
    auto *stream = static_cast<std::FILE *>(user_data);
    const Peer peer = discard_input(stream);

    if (vorn_notify_add_connection(fd, stream) != ok) {
        vorn_debug_eprintf("Unable to add notify connection.\n");
        notify_end_connection(fd, stream);
        return;
    }
    if (peer == Peer::there) return;

    notify_remove_connection(fd);
    notify_end_connection(fd, stream);
    vorn_debug_1printf("Notify connection ended (fd %d).\n", fd);
}

void notify_new_connection(int listener, void *, void *)
{
    const int fd = accept_connection(listener);
    if (fd < 0) return;

    std::FILE *stream = fdopen(fd, "w+");
    if (!stream) {
        failed_to("vorn_notify_new_connection fdopen", fd);
        return;
    }
    if (!has_room(fd) || !notify_begin_connection(fd, stream)) {
        vorn_debug_eprintf("Unable to add notify connection.\n");
        std::fclose(stream);
        return;
    }
    vorn_debug_1printf("Notify connection started (fd %d).\n", fd);
}

} // namespace vorn

using namespace vorn;

int vorn_notify_init()
{
    Fd listener(vorn_socket_get_tcp(port, loopback_only));
    if (!listener) return failed;
    if (eloop_register_read_sock(listener.get(), notify_new_connection, nullptr, nullptr)) {
        return failed;
    }
    listener.release();
    return ok;
}

unsigned int vorn_notify_get_subscribers()
{
    return static_cast<unsigned int>(open_notify_connections);
}

void vorn_notify_conf_change(const char *origin)
{
    /* Counts on past the largest number rather than stopping at it. */
    conf_change_counter =
        static_cast<std::int32_t>(static_cast<std::uint32_t>(conf_change_counter) + 1);

    const Text message = conf_change(origin);
    if (!message) return;
    for (const NotifyConnection &slot : notify_connection) {
        if (slot.in_use && is_meant(slot, nullptr, nullptr)) send_message(slot.fd, message.get());
    }
}

void vorn_notify_object_change(const char *origin, const char *class_name,
                               const char *instance_name, const char *property, const char *value)
{
    if (absent(class_name, "class") || absent(property, "property")) return;
    if (absent(value, "value")) return;

    if (value_for_others) value = value_for_others(class_name, property, value);
    const Text message = object_change(origin, class_name, instance_name, property, value);
    if (!message) return;
    for (const NotifyConnection &slot : notify_connection) {
        if (!slot.in_use || !is_meant(slot, class_name, property)) continue;
        if (send_message(slot.fd, message.get())) continue;
        notify_remove_connection(slot.fd);
    }
}
