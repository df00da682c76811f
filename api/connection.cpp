/* SPDX-License-Identifier: MIT */
/*
 * One client of a framed socket. Deadlines are absolute, so neither a byte now and then nor a
 * signal stretches them. Input that nobody asked for is read and thrown away while the reply goes
 * out: a client that is still writing takes no reply, and a connection that is closed with unread
 * input ends in a reset, which can cost the client what it had not read yet.
 */
#include "api/connection.h"

#include "vorn/debug.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>

namespace vorn {

namespace {

constexpr std::int64_t limit_ms = 5000;
constexpr std::size_t block_size = 4096;
/* A client that goes on writing for ever is not listened to for ever. */
constexpr int most_drained_blocks = 256;

std::int64_t now_ms()
{
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return std::int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1000000;
}

bool is_not_now(int error)
{
    return error == EAGAIN || error == EINTR;
}

Fd accept_client(int listener, const Door &door)
{
    Fd client(accept(listener, nullptr, nullptr));
    if (!client) {
        vorn_debug_perror(door.accept_failed);
        return client;
    }
    if (fcntl(client.get(), F_SETFD, FD_CLOEXEC) == -1) {
        vorn_debug_perror(door.fcntl_failed);
        return Fd();
    }
    return client;
}

} // namespace

Connection::Connection(int listener, const Door &door)
    : Connection(accept_client(listener, door), door)
{}

Connection::Connection(Fd client, const Door &door)
    : client_(std::move(client)), door_(door), request_deadline_ms_(now_ms() + limit_ms)
{}

Connection::~Connection()
{
    if (client_) drain();
}

std::uint32_t Connection::read_word()
{
    std::uint32_t word = 0;
    return read_up_to(&word, sizeof word) == sizeof word ? word : 0;
}

Allocated<char> Connection::read_body(std::uint32_t length)
{
    if (length == 0) return {};
    if (length > longest_request) {
        vorn_debug_eprintf("%s request of %lu bytes is too long.\n", door_.name,
                           static_cast<unsigned long>(length));
        return {};
    }
    Allocated<char> body(static_cast<char *>(std::calloc(std::size_t{length} + 1, 1)));
    if (!body) {
        vorn_debug_fatal("malloc");
        return {};
    }
    read_up_to(body.get(), length);
    if (too_slow_) return {};
    return body;
}

std::size_t Connection::read_up_to(void *room, std::size_t size)
{
    auto *bytes = static_cast<char *>(room);
    std::size_t taken = 0;

    while (taken < size && !too_slow_) {
        const ssize_t count = recv(client_.get(), bytes + taken, size - taken, MSG_DONTWAIT);
        if (count > 0) {
            taken += static_cast<std::size_t>(count);
            continue;
        }
        if (count == 0 || !is_not_now(errno)) break;
        short happened = 0;
        if (!wait(POLLIN, request_deadline_ms_, happened)) {
            vorn_debug_eprintf("%s client took too long to send its request.\n", door_.name);
            too_slow_ = true;
        }
    }
    return taken;
}

/* False once the deadline has passed. */
bool Connection::wait(short events, std::int64_t deadline_ms, short &happened) const
{
    const std::int64_t left = deadline_ms - now_ms();
    if (left <= 0) return false;

    pollfd one = {client_.get(), events, 0};
    poll(&one, 1, static_cast<int>(left));
    happened = one.revents;
    return true;
}

void Connection::reply(const char *text)
{
    const std::int64_t deadline_ms = now_ms() + limit_ms;
    const std::size_t length = std::strlen(text);
    std::size_t sent = 0;
    short events = POLLIN | POLLOUT;

    while (sent < length) {
        const ssize_t count =
            send(client_.get(), text + sent, length - sent, MSG_DONTWAIT | MSG_NOSIGNAL);
        if (count > 0) {
            sent += static_cast<std::size_t>(count);
            continue;
        }
        if (count < 0 && !is_not_now(errno)) return;
        short happened = 0;
        if (!wait(events, deadline_ms, happened)) {
            vorn_debug_eprintf("%s client took too long to take its reply.\n", door_.name);
            return;
        }
        if ((happened & POLLIN) && !discard_input()) events = POLLOUT;
    }
}

/* False at the end of what the client sends. */
bool Connection::discard_input()
{
    char block[block_size];
    const ssize_t count = recv(client_.get(), block, sizeof block, MSG_DONTWAIT);
    return count > 0 || (count < 0 && is_not_now(errno));
}

void Connection::drain()
{
    char block[block_size];
    int blocks = 0;
    while (blocks < most_drained_blocks &&
           recv(client_.get(), block, sizeof block, MSG_DONTWAIT) > 0) {
        blocks++;
    }
}

} // namespace vorn
