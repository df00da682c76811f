/* SPDX-License-Identifier: MIT */
/*
 * One client of a framed socket. Deadlines are absolute, so neither a byte now and then nor a
 * signal stretches them. Input that nobody asked for is read and thrown away while the reply goes
 * out and a moment longer: a client that is still writing takes no reply, and a connection that is
 * closed with unread input ends in a reset where the client should find the end of the stream.
 */
#include "api/sockets/connection.h"

#include "core/eloop_state.h"
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
/* A client that sent too much and is silent for so long has sent it all. */
constexpr std::int64_t silence_ms = 100;
constexpr std::size_t block_size = 4096;
/* An exchange of so many bytes may have taken thirty times as much memory. */
constexpr std::size_t large_exchange = 65536;

std::int64_t now_ms()
{
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return std::int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1000000;
}

/* Whether a call that moved no bytes may move some later. */
bool may_go_on(ssize_t count)
{
    return count < 0 && (errno == EAGAIN || errno == EINTR);
}

Fd accept_client(int listener, const Door &door)
{
    Fd client(accept_or_rest(listener));
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

int accept_or_rest(int listener)
{
    const int client = accept(listener, nullptr, nullptr);
    const int error = errno;
    if (client < 0 && error != EAGAIN && error != EINTR && error != ECONNABORTED) {
        eloop_rest(listener);
    }
    errno = error;
    return client;
}

Connection::Connection(int listener, const Door &door)
    : Connection(accept_client(listener, door), door)
{}

Connection::Connection(Fd client, const Door &door)
    : client_(std::move(client)), door_(door), request_deadline_ms_(now_ms() + limit_ms)
{}

/* The last of an exchange: what it was about is freed by now. */
Connection::~Connection()
{
    if (carried_ >= large_exchange) give_memory_back();
    if (!client_) return;
    /* Nothing can arrive any more after this, so that there is an end to throwing away. */
    shutdown(client_.get(), SHUT_RDWR);
    while (discard_input() > 0)
        continue;
}

/* One call for a request that is short, and all of it here, instead of one for each part of it. */
void Connection::read_ahead()
{
    const ssize_t count = recv(client_.get(), ahead_, sizeof ahead_, MSG_DONTWAIT);
    if (count > 0) ahead_end_ = static_cast<std::size_t>(count);
}

std::uint32_t Connection::read_word()
{
    std::uint32_t word = 0;
    if (ahead_end_ == 0) read_ahead();
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
    Allocated<char> body(static_cast<char *>(noted(std::calloc(std::size_t{length} + 1, 1))));
    if (!body) {
        vorn_debug_fatal("malloc");
        return {};
    }
    carried_ += length;
    read_up_to(body.get(), length);
    if (too_slow_) return {};
    return body;
}

/* The bytes that came along with the ones asked for, as a rule the whole request. */
std::size_t Connection::take_read_ahead(void *room, std::size_t size)
{
    const std::size_t taken = std::min(size, ahead_end_ - ahead_begin_);
    std::memcpy(room, ahead_ + ahead_begin_, taken);
    ahead_begin_ += taken;
    return taken;
}

std::size_t Connection::read_up_to(void *room, std::size_t size)
{
    auto *bytes = static_cast<char *>(room);
    std::size_t taken = take_read_ahead(room, size);

    while (taken < size && !too_slow_) {
        const ssize_t count = recv(client_.get(), bytes + taken, size - taken, MSG_DONTWAIT);
        if (count <= 0 && !may_go_on(count)) break;
        if (count > 0) {
            taken += static_cast<std::size_t>(count);
        } else {
            wait(POLLIN, request_deadline_ms_);
        }
        if (taken < size) note_lateness();
    }
    return taken;
}

void Connection::note_lateness()
{
    too_slow_ = now_ms() >= request_deadline_ms_;
    if (too_slow_) vorn_debug_eprintf("%s client took too long to send its request.\n", door_.name);
}

/* Waits no longer than to the deadline; answers what happened, which may be nothing. */
short Connection::wait(short events, std::int64_t deadline_ms) const
{
    pollfd one = {client_.get(), events, 0};
    poll(&one, 1, static_cast<int>(std::max(deadline_ms - now_ms(), std::int64_t{0})));
    return one.revents;
}

void Connection::reply(const char *text)
{
    const std::int64_t deadline_ms = now_ms() + limit_ms;
    std::size_t left = std::strlen(text);
    carried_ += left;
    short events = POLLIN | POLLOUT;

    while (left > 0) {
        const ssize_t count = send(client_.get(), text, left, MSG_DONTWAIT | MSG_NOSIGNAL);
        if (count < 0 && !may_go_on(count)) return;
        if (count > 0) {
            text += count;
            left -= static_cast<std::size_t>(count);
        } else if (wait(events, deadline_ms) & POLLIN) {
            const ssize_t discarded = discard_input();
            if (discarded <= 0 && !may_go_on(discarded)) events = POLLOUT;
        }
        if (left > 0 && now_ms() >= deadline_ms) {
            vorn_debug_eprintf("%s client took too long to take its reply.\n", door_.name);
            return;
        }
    }
    hear_out(deadline_ms);
}

/*
 * Lets a client that sent more than it announced finish its writing, since it reads only then. One
 * that sent what it should is not waited for.
 */
void Connection::hear_out(std::int64_t deadline_ms)
{
    std::size_t heard = 0;

    while (heard < longest_request && now_ms() < deadline_ms) {
        const ssize_t count = discard_input();
        if (count <= 0) {
            if (heard == 0) client_ = Fd(); /* all is said */
            return;
        }
        if (heard == 0) shutdown(client_.get(), SHUT_WR);
        heard += static_cast<std::size_t>(count);
        wait(POLLIN, std::min(deadline_ms, now_ms() + silence_ms));
    }
}

ssize_t Connection::discard_input()
{
    char block[block_size];
    return recv(client_.get(), block, sizeof block, MSG_DONTWAIT);
}

} // namespace vorn
