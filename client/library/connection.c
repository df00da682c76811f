/* SPDX-License-Identifier: MIT */
/* A stream with a deadline: it never blocks, and waits in poll(2) no longer than it may. */
#include "connection.h"

#include <errno.h>
#include <limits.h>
#include <poll.h>
#include <stdlib.h>
#include <time.h>
#include <unistd.h>

#include "vorn-client.h"

static int64_t now_ms(void)
{
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return (int64_t)now.tv_sec * 1000 + now.tv_nsec / 1000000;
}

int64_t deadline_after(int milliseconds)
{
    return milliseconds < 0 ? -1 : now_ms() + milliseconds;
}

/* What poll(2) wants to hear. */
static int time_left(int64_t deadline_ms)
{
    if (deadline_ms < 0) return -1;
    const int64_t left = deadline_ms - now_ms();
    if (left <= 0) return 0;
    return left > INT_MAX ? INT_MAX : (int)left;
}

/* Once more, at least, than the deadline says: what is there already is never too late. */
static int wait_for(struct connection *connection, short events)
{
    struct pollfd one = {connection->descriptor, events, 0};
    for (;;) {
        const int count = poll(&one, 1, time_left(connection->deadline_ms));
        if (count > 0) return VORN_CLIENT_OK;
        if (count == 0) {
            errno = ETIMEDOUT;
            return VORN_CLIENT_TIMED_OUT;
        }
        if (errno != EINTR) return VORN_CLIENT_SYSTEM;
    }
}

static int is_for_later(int error)
{
    return error == EAGAIN || error == EWOULDBLOCK || error == EINTR;
}

/*
 * A Unix socket whose listener has no room answers EAGAIN and has nothing to wait for: all there is
 * to do is to come again.
 */
static int connect_at_last(struct connection *connection, const struct sockaddr *address,
                           socklen_t length)
{
    const struct timespec pause = {0, 10000000};
    while (connect(connection->descriptor, address, length) != 0) {
        if (errno == EINPROGRESS || errno == EALREADY) {
            const int status = wait_for(connection, POLLOUT);
            if (status != VORN_CLIENT_OK) return status;
        } else if (errno == EISCONN) {
            return VORN_CLIENT_OK;
        } else if (!is_for_later(errno)) {
            return VORN_CLIENT_NO_DAEMON;
        } else if (time_left(connection->deadline_ms) == 0) {
            errno = ETIMEDOUT;
            return VORN_CLIENT_TIMED_OUT;
        } else {
            nanosleep(&pause, NULL);
        }
    }
    return VORN_CLIENT_OK;
}

int connection_open(struct connection *connection, const struct sockaddr *address, socklen_t length,
                    int64_t deadline_ms)
{
    connection->deadline_ms = deadline_ms;
    connection->descriptor =
        socket(address->sa_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (connection->descriptor < 0) return VORN_CLIENT_SYSTEM;

    const int status = connect_at_last(connection, address, length);
    if (status != VORN_CLIENT_OK) {
        const int reason = errno;
        connection_close(connection);
        errno = reason;
    }
    return status;
}

void connection_close(struct connection *connection)
{
    if (connection->descriptor >= 0) close(connection->descriptor);
    connection->descriptor = -1;
}

int connection_send(struct connection *connection, const void *bytes, size_t length)
{
    const char *at = bytes;
    while (length > 0) {
        const ssize_t count = send(connection->descriptor, at, length, MSG_NOSIGNAL);
        if (count > 0) {
            at += count;
            length -= (size_t)count;
        } else if (count < 0 && !is_for_later(errno)) {
            return VORN_CLIENT_LOST;
        } else {
            const int status = wait_for(connection, POLLOUT);
            if (status != VORN_CLIENT_OK) return status;
        }
    }
    return VORN_CLIENT_OK;
}

static int make_room(struct buffer *buffer)
{
    enum { least_room = 4096 };
    if (buffer->room - buffer->length > least_room / 2) return VORN_CLIENT_OK;

    const size_t room = buffer->room == 0 ? least_room : buffer->room * 2;
    char *grown = realloc(buffer->bytes, room);
    if (grown == NULL) return VORN_CLIENT_NO_MEMORY;
    buffer->bytes = grown;
    buffer->room = room;
    return VORN_CLIENT_OK;
}

int connection_receive(struct connection *connection, struct buffer *buffer, int *ended)
{
    if (make_room(buffer) != VORN_CLIENT_OK) return VORN_CLIENT_NO_MEMORY;
    for (;;) {
        const ssize_t count = recv(connection->descriptor, buffer->bytes + buffer->length,
                                   buffer->room - buffer->length - 1, 0);
        if (count >= 0) {
            buffer->length += (size_t)count;
            buffer->bytes[buffer->length] = '\0';
            *ended = count == 0;
            return VORN_CLIENT_OK;
        }
        if (!is_for_later(errno)) return VORN_CLIENT_LOST;
        const int status = wait_for(connection, POLLIN);
        if (status != VORN_CLIENT_OK) return status;
    }
}

int connection_receive_at_least(struct connection *connection, size_t least, void *bytes,
                                size_t room, size_t *received)
{
    size_t length = 0;
    while (length < least) {
        const int status = wait_for(connection, POLLIN);
        if (status != VORN_CLIENT_OK) return status;
        const ssize_t count =
            recv(connection->descriptor, (char *)bytes + length, room - length, 0);
        if (count > 0) {
            length += (size_t)count;
        } else if (count == 0 || !is_for_later(errno)) {
            return VORN_CLIENT_LOST;
        }
    }
    *received = length;
    return VORN_CLIENT_OK;
}

int connection_is_idle(const struct connection *connection)
{
    char byte;
    return connection->descriptor >= 0 && recv(connection->descriptor, &byte, 1, MSG_PEEK) < 0 &&
           (errno == EAGAIN || errno == EWOULDBLOCK);
}

void buffer_free(struct buffer *buffer)
{
    free(buffer->bytes);
    *buffer = (struct buffer){NULL, 0, 0};
}
