/* SPDX-License-Identifier: MIT */
#ifndef VORN_ELOOP_H
#define VORN_ELOOP_H

#include "vorn/api.h"

VORN_BEGIN

/** Called when a registered descriptor is readable. */
typedef void (*eloop_sock_handler)(int sock, void *eloop_data, void *user_data);

/** Called once when a timeout is due. */
typedef void (*eloop_timeout_handler)(void *eloop_data, void *user_data);

/** Called from the loop, never in signal context, after a signal arrived once or more. */
typedef void (*eloop_signal_handler)(int sig, void *eloop_data, void *user_data);

/** In eloop_cancel_timeout: matches any data pointer. */
#define ELOOP_ANY ((void *)-1)

VORN_API void eloop_init(void *user_data);
VORN_API int eloop_register_read_sock(int sock, eloop_sock_handler handler, void *eloop_data,
                                      void *user_data);
VORN_API int eloop_unregister_read_sock(int sock);
VORN_API int eloop_register_timeout(int secs, unsigned int usecs, eloop_timeout_handler handler,
                                    void *eloop_data, void *user_data);
VORN_API int eloop_cancel_timeout(eloop_timeout_handler handler, void *eloop_data, void *user_data);
VORN_API int eloop_register_signal(int sig, eloop_signal_handler handler, void *user_data);
VORN_API void eloop_run(void);
VORN_API void eloop_terminate(void);
VORN_API void eloop_destroy(void);
VORN_API int eloop_terminated(void);
VORN_API void *eloop_get_user_data(void);

VORN_END

#endif
