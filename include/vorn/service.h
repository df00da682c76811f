/* SPDX-License-Identifier: MIT */
#ifndef VORN_SERVICE_H
#define VORN_SERVICE_H

#include "vorn/api.h"
#include "vorn/process.h"

#include <stdio.h>

VORN_BEGIN

/** Set when a child has exited; cleared by vorn_service_poll. */
extern VORN_API volatile int sig_child_received;

/** Called after a service was found gone and its record dropped. */
typedef void (*vorn_service_exited_fn)(void *data);

VORN_API int vorn_command_execl(const char *program, ...) __attribute__((sentinel));
VORN_API int vorn_command_execlod(const char *program, ...);
VORN_API int vorn_command_execv(char *const arguments[]);
VORN_API int vorn_command_execvod(char *const arguments[], int output_mode, const char *directory);

VORN_API void vorn_service_init(void);
VORN_API int vorn_service_set_exited_fn(const char *name, vorn_service_exited_fn exited,
                                        void *data);
VORN_API int vorn_service_execl(const char *name, const char *program, ...)
    __attribute__((sentinel));
VORN_API int vorn_service_execlod(const char *name, const char *program, ...);
VORN_API int vorn_service_execv(const char *name, char *const arguments[]);
VORN_API int vorn_service_execvod(const char *name, char *const arguments[], int output_mode,
                                  const char *directory);
VORN_API int vorn_service_is_running(const char *name);
VORN_API int vorn_service_stop(const char *name, int signal_number, int limit_us);
VORN_API void vorn_service_shutdown(void);
VORN_API void vorn_service_sig_child(int signal_number, void *eloop_data, void *user_data);
VORN_API void vorn_service_poll(void);
VORN_API void vorn_service_print(FILE *stream);

VORN_END

#endif
