/* SPDX-License-Identifier: MIT */
#ifndef VORN_CLIENT_CONNECTION_H
#define VORN_CLIENT_CONNECTION_H

#include <stddef.h>
#include <stdint.h>
#include <sys/socket.h>
#include <sys/types.h>

/* Bytes that grow, and always have room for a NUL after them. */
struct buffer {
    char *bytes;
    size_t length;
    size_t room;
};

/* One stream to the daemon, never blocking. All calls answer a vorn_client_status. */
struct connection {
    int descriptor;      /* -1 when closed */
    int64_t deadline_ms; /* of the steady clock; negative for none */
};

/* A deadline so many milliseconds from now; negative for none. */
int64_t deadline_after(int milliseconds);

int connection_open(struct connection *connection, const struct sockaddr *address, socklen_t length,
                    int64_t deadline_ms);
void connection_close(struct connection *connection);

int connection_send(struct connection *connection, const void *bytes, size_t length);

/* Waits for some more bytes and adds them; *ended tells that there will be no more. */
int connection_receive(struct connection *connection, struct buffer *buffer, int *ended);

/* Waits for so many bytes, and takes what else is there; the end of the stream before that loses
 * the connection. */
int connection_receive_at_least(struct connection *connection, size_t least, void *bytes,
                                size_t room, size_t *received);

/* Whether it is open and nothing waits to be received, its end included. */
int connection_is_idle(const struct connection *connection);

void buffer_free(struct buffer *buffer);

#endif
