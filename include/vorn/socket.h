/* SPDX-License-Identifier: MIT */
#ifndef VORN_SOCKET_H
#define VORN_SOCKET_H

#include "vorn/api.h"

VORN_BEGIN

/** In vorn_socket_get_unix: the name is abstract, not a file's. */
enum { VORN_SOCKET_ABSTRACT = 1 };

VORN_API int vorn_socket_set_nonblock(int descriptor);
VORN_API int vorn_socket_set_block(int descriptor);
VORN_API int vorn_socket_get_unix(const char *name, unsigned int flags);
VORN_API int vorn_socket_get_udp(void);
VORN_API int vorn_socket_get_tcp(int port, int local_only);

/** Opens the LSQL socket. Returns 0, or 1 when it cannot be opened. Called once by start-up. */
VORN_API int vorn_socket_api_init(void);

VORN_END

#endif
