/* SPDX-License-Identifier: MIT */
/*
 * The daemon's doors as a client sees them. A framed request is a length in the machine's own byte
 * order and the text out, everything up to the end of the stream in; an inform request has a
 * version before that. On the stream, which stays, requests and replies have a number and a length
 * in network order. Notices come one after the other, each ended by a NUL byte.
 */
#include <arpa/inet.h>
#include <errno.h>
#include <netinet/in.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/un.h>

#include "connection.h"
#include "vorn-client.h"

enum { default_timeout_ms = 30000, notify_port = 8001, inform_version = 0 };

struct vorn_client {
    int timeout_ms;
    struct connection stream; /* once there was a request, and the daemon has such a door */
    uint32_t number;          /* of the last request on it */
    struct connection subscription;
    struct buffer notices; /* what came and was not taken yet */
    char error[160];
};

vorn_client *vorn_client_new(void)
{
    vorn_client *client = malloc(sizeof *client);
    if (client == NULL) return NULL;
    *client = (vorn_client){
        .timeout_ms = default_timeout_ms, .stream = {-1, -1}, .subscription = {-1, -1}};
    return client;
}

void vorn_client_delete(vorn_client *client)
{
    if (client == NULL) return;
    vorn_client_unsubscribe(client);
    connection_close(&client->stream);
    free(client);
}

void vorn_client_set_timeout(vorn_client *client, int milliseconds)
{
    client->timeout_ms = milliseconds;
}

const char *vorn_client_status_text(int status)
{
    switch (status) {
    case VORN_CLIENT_OK:
        return "done";
    case VORN_CLIENT_NO_DAEMON:
        return "no daemon is listening on this machine";
    case VORN_CLIENT_TIMED_OUT:
        return "the daemon did not answer in time";
    case VORN_CLIENT_LOST:
        return "the daemon dropped the connection";
    case VORN_CLIENT_NO_ANSWER:
        return "the daemon gave no answer";
    case VORN_CLIENT_BAD_ARGUMENT:
        return "this can't be sent";
    case VORN_CLIENT_NO_MEMORY:
        return "out of memory";
    case VORN_CLIENT_SYSTEM:
        return "no connection can be made";
    default:
        return "unknown status";
    }
}

const char *vorn_client_error(const vorn_client *client)
{
    return client->error;
}

static int failed(vorn_client *client, int status)
{
    const int reason = errno;
    if (status == VORN_CLIENT_NO_DAEMON || status == VORN_CLIENT_SYSTEM) {
        snprintf(client->error, sizeof client->error, "%s (%s)", vorn_client_status_text(status),
                 strerror(reason));
    } else {
        snprintf(client->error, sizeof client->error, "%s", vorn_client_status_text(status));
    }
    return status;
}

static int refused(vorn_client *client, const char *why)
{
    snprintf(client->error, sizeof client->error, "%s", why);
    return VORN_CLIENT_BAD_ARGUMENT;
}

/* Abstract: a zero byte first, and the padding after the name is part of the name. */
static int open_door(struct connection *connection, const char *name, int64_t deadline_ms)
{
    struct sockaddr_un address;
    memset(&address, 0, sizeof address);
    address.sun_family = AF_UNIX;
    snprintf(address.sun_path + 1, sizeof address.sun_path - 1, "%s", name);
    return connection_open(connection, (const struct sockaddr *)&address, sizeof address,
                           deadline_ms);
}

static int open_notices(struct connection *connection, int64_t deadline_ms)
{
    struct sockaddr_in address;
    memset(&address, 0, sizeof address);
    address.sin_family = AF_INET;
    address.sin_port = htons(notify_port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return connection_open(connection, (const struct sockaddr *)&address, sizeof address,
                           deadline_ms);
}

/* A daemon that refuses the request closes early: what it had to say may still be there. */
static int exchange(struct connection *connection, const void *head, size_t head_length,
                    const char *body, size_t length, struct buffer *reply)
{
    int sent = connection_send(connection, head, head_length);
    if (sent == VORN_CLIENT_OK) sent = connection_send(connection, body, length);
    if (sent != VORN_CLIENT_OK && sent != VORN_CLIENT_LOST) return sent;

    for (int ended = 0; !ended;) {
        const int status = connection_receive(connection, reply, &ended);
        if (status == VORN_CLIENT_LOST && reply->length > 0) break;
        if (status != VORN_CLIENT_OK) return status;
    }
    if (reply->length > 0) return VORN_CLIENT_OK;
    return sent == VORN_CLIENT_OK ? VORN_CLIENT_NO_ANSWER : sent;
}

static int exchange_at(vorn_client *client, const char *door, const void *head, size_t head_length,
                       const char *body, size_t length, struct buffer *reply)
{
    struct connection connection;
    int status = open_door(&connection, door, deadline_after(client->timeout_ms));
    if (status != VORN_CLIENT_OK) return failed(client, status);

    status = exchange(&connection, head, head_length, body, length, reply);
    connection_close(&connection);
    if (status == VORN_CLIENT_OK) return status;
    buffer_free(reply);
    return failed(client, status);
}

/* In one piece when it is short. */
static int send_frame(struct connection *stream, uint32_t number, const char *request,
                      size_t length)
{
    char piece[4096];
    const uint32_t head[] = {htonl(number), htonl((uint32_t)length)};
    const size_t taken = length < sizeof piece - sizeof head ? length : sizeof piece - sizeof head;

    memcpy(piece, head, sizeof head);
    memcpy(piece + sizeof head, request, taken);
    const int status = connection_send(stream, piece, sizeof head + taken);
    return status == VORN_CLIENT_OK ? connection_send(stream, request + taken, length - taken)
                                    : status;
}

/* Most replies come whole with their head. */
static int receive_frame(struct connection *stream, uint32_t number, struct buffer *reply)
{
    uint32_t piece[1024];
    const size_t head = 2 * sizeof piece[0];
    size_t count = 0;
    int status = connection_receive_at_least(stream, head, piece, sizeof piece, &count);
    if (status != VORN_CLIENT_OK) return status;

    const size_t length = ntohl(piece[1]);
    count -= head;
    if (piece[0] != htonl(number) || count > length) return VORN_CLIENT_LOST;
    if (length == 0) return VORN_CLIENT_NO_ANSWER;
    reply->bytes = length < SIZE_MAX ? malloc(length + 1) : NULL;
    if (reply->bytes == NULL) return VORN_CLIENT_NO_MEMORY;
    memcpy(reply->bytes, piece + 2, count);
    const size_t rest = length - count;
    status = connection_receive_at_least(stream, rest, reply->bytes + count, rest, &count);
    reply->bytes[length] = '\0';
    reply->length = length;
    return status;
}

/*
 * VORN_CLIENT_NO_DAEMON when there is no such door. A connection that stayed may have been closed
 * since: then what could not be sent whole was not served, and is sent again on a new one.
 */
static int exchange_on_stream(vorn_client *client, const char *request, size_t length,
                              struct buffer *reply)
{
    struct connection *stream = &client->stream;
    const int64_t deadline_ms = deadline_after(client->timeout_ms);
    int status = VORN_CLIENT_LOST;

    client->number++;
    stream->deadline_ms = deadline_ms;
    if (connection_is_idle(stream)) {
        status = send_frame(stream, client->number, request, length);
    }
    if (status == VORN_CLIENT_LOST) {
        connection_close(stream);
        status = open_door(stream, "vorn_sock_lsql_stream", deadline_ms);
        if (status != VORN_CLIENT_OK) return status;
        status = send_frame(stream, client->number, request, length);
    }
    if (status == VORN_CLIENT_OK) status = receive_frame(stream, client->number, reply);
    if (status != VORN_CLIENT_OK) buffer_free(reply);
    if (status != VORN_CLIENT_OK && status != VORN_CLIENT_NO_ANSWER) connection_close(stream);
    return status;
}

static int exchange_at_best(vorn_client *client, const char *request, size_t length,
                            struct buffer *reply)
{
    const int status = exchange_on_stream(client, request, length, reply);
    if (status == VORN_CLIENT_NO_DAEMON) {
        const uint32_t head = (uint32_t)length;
        return exchange_at(client, "vorn_sock_lsql", &head, sizeof head, request, length, reply);
    }
    return status == VORN_CLIENT_OK ? status : failed(client, status);
}

int vorn_client_request(vorn_client *client, const char *request, size_t length, char **reply,
                        size_t *reply_length)
{
    struct buffer answer = {NULL, 0, 0};
    int status = VORN_CLIENT_OK;

    if (length == 0) {
        status = refused(client, "the request is empty");
    } else if (length > VORN_CLIENT_LONGEST_REQUEST) {
        status = refused(client, "the request is longer than 16 MiB");
    } else {
        status = exchange_at_best(client, request, length, &answer);
    }
    *reply = answer.bytes;
    if (reply_length != NULL) *reply_length = answer.length;
    return status;
}

int vorn_client_is_idle(const vorn_client *client)
{
    return connection_is_idle(&client->stream);
}

static int can_be_sent(const char *parameter)
{
    const char *separator = strchr(parameter, '=');
    return separator != NULL && separator != parameter && strchr(parameter, '&') == NULL;
}

/* "object=NAME&name=value...", the caller's; null when memory is gone. */
static char *inform_body(const char *object, const char *const parameters[], size_t count)
{
    static const char head[] = "object=";
    size_t room = sizeof head + strlen(object);
    for (size_t i = 0; i < count; i++)
        room += 1 + strlen(parameters[i]);

    char *body = malloc(room);
    if (body == NULL) return NULL;
    char *end = stpcpy(stpcpy(body, head), object);
    for (size_t i = 0; i < count; i++)
        end = stpcpy(stpcpy(end, "&"), parameters[i]);
    return body;
}

int vorn_client_inform(vorn_client *client, const char *object, const char *const parameters[],
                       size_t count, char **reply)
{
    struct buffer answer = {NULL, 0, 0};
    *reply = NULL;
    if (*object == '\0' || strchr(object, '&') != NULL) {
        return refused(client, "an object has a name without \"&\"");
    }
    for (size_t i = 0; i < count; i++) {
        if (!can_be_sent(parameters[i])) {
            return refused(client, "a parameter is name=value without \"&\"");
        }
    }
    char *body = inform_body(object, parameters, count);
    if (body == NULL) return failed(client, VORN_CLIENT_NO_MEMORY);

    const uint32_t head[] = {inform_version, (uint32_t)strlen(body)};
    const int status =
        exchange_at(client, "vorn_sock_inform", head, sizeof head, body, head[1], &answer);
    free(body);
    *reply = answer.bytes;
    return status;
}

int vorn_client_subscribe(vorn_client *client)
{
    vorn_client_unsubscribe(client);
    int status = open_notices(&client->subscription, deadline_after(client->timeout_ms));
    /* The first byte, whatever it is, makes a subscriber. */
    if (status == VORN_CLIENT_OK) status = connection_send(&client->subscription, "+", 1);
    if (status == VORN_CLIENT_OK) return status;

    failed(client, status);
    connection_close(&client->subscription);
    return status;
}

void vorn_client_unsubscribe(vorn_client *client)
{
    connection_close(&client->subscription);
    buffer_free(&client->notices);
}

/* The first of the notices that came whole; null without one, or without memory. */
static char *take_notice(struct buffer *notices, const char *end)
{
    const size_t length = (size_t)(end - notices->bytes) + 1;
    char *notice = malloc(length);
    if (notice == NULL) return NULL;
    memcpy(notice, notices->bytes, length);
    notices->length -= length;
    memmove(notices->bytes, notices->bytes + length, notices->length);
    return notice;
}

int vorn_client_next_notice(vorn_client *client, char **notice)
{
    struct connection *subscription = &client->subscription;
    struct buffer *notices = &client->notices;

    *notice = NULL;
    if (subscription->descriptor < 0) return refused(client, "there is no subscription");
    subscription->deadline_ms = deadline_after(client->timeout_ms);
    for (;;) {
        const char *end =
            notices->length > 0 ? memchr(notices->bytes, '\0', notices->length) : NULL;
        if (end != NULL) {
            *notice = take_notice(notices, end);
            return *notice != NULL ? VORN_CLIENT_OK : failed(client, VORN_CLIENT_NO_MEMORY);
        }
        int ended = 0;
        int status = connection_receive(subscription, notices, &ended);
        if (status == VORN_CLIENT_OK && ended) status = VORN_CLIENT_LOST;
        if (status == VORN_CLIENT_LOST) vorn_client_unsubscribe(client);
        if (status != VORN_CLIENT_OK) return failed(client, status);
    }
}

int vorn_client_get_descriptor(const vorn_client *client)
{
    return client->subscription.descriptor;
}
