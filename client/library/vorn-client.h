/* SPDX-License-Identifier: MIT */
#ifndef VORN_CLIENT_H
#define VORN_CLIENT_H

#include <stddef.h>

/**
 * @file
 * Talks to the vorn daemon of this machine: requests, events for plugins, change notices.
 *
 *     vorn_client *client = vorn_client_new();
 *     char *reply = NULL;
 *     int status = vorn_client_request(client, request, strlen(request), &reply, NULL);
 *     if (status == VORN_CLIENT_OK) puts(reply);
 *     else fprintf(stderr, "%s\n", vorn_client_error(client));
 *     free(reply);
 *     vorn_client_delete(client);
 *
 * The library has no state of its own: everything is in the client, which one thread may use at a
 * time. It raises no signal and changes no signal's handling. Statuses are those below; on any but
 * VORN_CLIENT_OK the places for results hold null and 0.
 */

#ifdef __cplusplus
extern "C" {
#endif

/** Marks what the library exports. */
#define VORN_CLIENT_API __attribute__((visibility("default")))

/** One user of the daemon. */
typedef struct vorn_client vorn_client;

/** How a call ended. */
enum vorn_client_status {
    VORN_CLIENT_OK = 0,           /**< done */
    VORN_CLIENT_NO_DAEMON = 1,    /**< nobody listens on this machine */
    VORN_CLIENT_TIMED_OUT = 2,    /**< the deadline passed */
    VORN_CLIENT_LOST = 3,         /**< the connection broke */
    VORN_CLIENT_NO_ANSWER = 4,    /**< the daemon closed without a word: not XML, or refused */
    VORN_CLIENT_BAD_ARGUMENT = 5, /**< what was given can't be sent */
    VORN_CLIENT_NO_MEMORY = 6,    /**< memory is gone */
    VORN_CLIENT_SYSTEM = 7        /**< the system refused a socket */
};

/** The longest request that the daemon takes, in bytes. */
enum { VORN_CLIENT_LONGEST_REQUEST = 16 * 1024 * 1024 };

/** Makes a client with a deadline of 30 seconds. Null when memory is gone. */
VORN_CLIENT_API vorn_client *vorn_client_new(void);

/** Ends the client's connections, the subscription too, and frees it. Null does nothing. */
VORN_CLIENT_API void vorn_client_delete(vorn_client *client);

/**
 * Sets how long one call may take in all, in milliseconds. Less than 0 is for ever, 0 takes only
 * what is there already.
 */
VORN_CLIENT_API void vorn_client_set_timeout(vorn_client *client, int milliseconds);

/** A sentence for people, in English, for a status; the text is the library's. */
VORN_CLIENT_API const char *vorn_client_status_text(int status);

/**
 * What the last call that failed has to say, with the system's reason where there is one: "no
 * daemon is listening on this machine (Connection refused)". Good until the next call.
 */
VORN_CLIENT_API const char *vorn_client_error(const vorn_client *client);

/**
 * Sends one LSQL request and takes the whole reply.
 *
 * The reply ends in a NUL that is not counted; the caller frees it. The place for its length may
 * be null. A request that is empty or too long is not sent: VORN_CLIENT_BAD_ARGUMENT. An answer
 * that says that the request failed is an answer: VORN_CLIENT_OK.
 *
 * The client keeps its connection for the next request, with a daemon that lets it; one that was
 * closed meanwhile is opened again. VORN_CLIENT_LOST leaves open whether the request was served.
 */
VORN_CLIENT_API int vorn_client_request(vorn_client *client, const char *request, size_t length,
                                        char **reply, size_t *reply_length);

/**
 * 1 while the connection of the last request stays and nothing has come on it since the reply, else
 * 0. After a request with tell-change="yes", whose reply said so: whether nothing has changed
 * since. Such a client is best used for nothing else: what tells of a change may come where the
 * reply to the next request is awaited, which is lost then. Several threads may ask at once while
 * none uses the client otherwise.
 */
VORN_CLIENT_API int vorn_client_is_idle(const vorn_client *client);

/**
 * Tells the plugin that handles the object of an event, with `count` parameters "name=value", and
 * takes its answer: "OK\n" or a line that begins with "ERR ". The caller frees it.
 *
 * The request knows no escapes: an object that is empty or holds "&", and a parameter that has no
 * name or no "=" or that holds "&", can't be sent: VORN_CLIENT_BAD_ARGUMENT.
 */
VORN_CLIENT_API int vorn_client_inform(vorn_client *client, const char *object,
                                       const char *const parameters[], size_t count, char **reply);

/**
 * Subscribes to change notices. A subscription that exists is ended first. The daemon does not
 * confirm: changes made right afterwards may come too early to be told.
 */
VORN_CLIENT_API int vorn_client_subscribe(vorn_client *client);

/** Ends the subscription; without one nothing happens. */
VORN_CLIENT_API void vorn_client_unsubscribe(vorn_client *client);

/**
 * Waits for the next notice, one XML document with its newline. The caller frees it.
 *
 * VORN_CLIENT_TIMED_OUT leaves the subscription as it is. VORN_CLIENT_LOST ends it, as when the
 * daemon ends; subscribe again. VORN_CLIENT_BAD_ARGUMENT without a subscription.
 */
VORN_CLIENT_API int vorn_client_next_notice(vorn_client *client, char **notice);

/** The subscription's descriptor, for poll(2) before vorn_client_next_notice; -1 without one. */
VORN_CLIENT_API int vorn_client_get_descriptor(const vorn_client *client);

/**
 * The text as it stands in an XML document, markup and control characters escaped, both between
 * tags and in a quoted attribute. The caller frees it. Null when memory is gone, and for a text
 * that no document can hold: other control characters than tab, newline and carriage return.
 */
VORN_CLIENT_API char *vorn_client_escape(const char *text);

#ifdef __cplusplus
}
#endif

#endif
