/* SPDX-License-Identifier: MIT */
#ifndef VORN_SOCKET_H
#define VORN_SOCKET_H

#include "vorn/api.h"

/**
 * Sockets, made in one uniform way: close-on-exec, so that no child inherits them; listeners
 * non-blocking, with room for 50 clients that wait. What is returned belongs to the caller.
 *
 *     int listener = vorn_socket_get_unix("radio_events", VORN_SOCKET_ABSTRACT);
 *     if (listener != -1) eloop_register_read_sock(listener, take_client, NULL, NULL);
 *
 * A step that fails is reported on standard error with the system's reason, as "vorn: socket: ...",
 * "vorn: fcntl: ...", "vorn: listen: ...", "vorn: Unable to bind to domain %s: ..." or
 * "vorn: Unable to bind to port %d: ..."; the descriptor is closed and -1 is returned. Nothing is
 * tried again.
 */

VORN_BEGIN

/** In vorn_socket_get_unix: the name is abstract, not a file's. */
enum { VORN_SOCKET_ABSTRACT = 1 };

/**
 * Make a descriptor non-blocking, or blocking again. Return 0, or 1 ("fcntl") after closing the
 * descriptor, which is not to be used or closed again then.
 */
VORN_API int vorn_socket_set_nonblock(int descriptor);
/** The same, the other way round. */
VORN_API int vorn_socket_set_block(int descriptor);

/**
 * Opens a listener in the Unix domain. Returns its descriptor, or -1; a null name is answered with
 * "Null name.\n" at level 1.
 *
 * With VORN_SOCKET_ABSTRACT in the flags the name is an abstract one, cut at 106 characters, and
 * the zeros that fill the rest of the address are part of it: a client connects with the whole
 * address structure, zeroed, a 0 byte, and the name after it.
 *
 * Otherwise it is a path, cut at 107 characters. A path that exists is canonicalised and the file
 * there removed first; any other is bound as it is given.
 */
VORN_API int vorn_socket_get_unix(const char *name, unsigned int flags);

/** Opens a UDP socket, unbound and blocking. Returns its descriptor, or -1. */
VORN_API int vorn_socket_get_udp(void);

/**
 * Opens a TCP listener on a port, of 127.0.0.1 when local_only is not 0, else of every address.
 * Returns its descriptor, or -1.
 */
VORN_API int vorn_socket_get_tcp(int port, int local_only);

/**
 * Opens the LSQL socket, abstract name "vorn_sock_lsql", and has the event loop serve it. Each
 * connection carries one request, a length of 4 bytes in the machine's own order and the text, and
 * one reply, the text up to the end of the stream. A client has 5 seconds to send its request and 5
 * to take the reply; whoever does not keep to that is dropped with an error in the log.
 *
 * No reply is sent to a length of 0 or of more than 16 MiB, to what is not well-formed XML or
 * declares entities, and to what would keep the parser busy for minutes: elements more than 256
 * deep, an element with many attributes or namespaces (500 are always taken, more than a thousand
 * never), more than 100,000 different names, attributes that the document declares.
 *
 * Opens "vorn_sock_lsql_stream" too, on which a connection carries any number of requests and
 * replies, in order. Each has a head of 8 bytes, the number that the client gave the request and
 * the length of the text, most significant byte first; where the other socket sends no reply this
 * one sends one of length 0. A request of length 0 or of more than 16 MiB ends the connection.
 * Between two requests a client has as much time as it likes.
 *
 * Returns 0, or 1 when the first can't be opened; clients do without the second. Called once, by
 * the start-up.
 */
VORN_API int vorn_socket_api_init(void);

/** How many clients are connected to the LSQL sockets and the inform socket just now. */
VORN_API unsigned int vorn_socket_get_clients(void);

VORN_END

#endif
