/* SPDX-License-Identifier: MIT */
#ifndef VORN_ELOOP_H
#define VORN_ELOOP_H

#include "vorn/api.h"

/**
 * The one place where the daemon waits. Whoever is interested in a socket, a point in time or a
 * signal registers a handler, and the loop calls it, always in ordinary program context and never
 * two at a time. A handler must not block: nothing else runs meanwhile, the watchdog included.
 *
 *     eloop_register_read_sock(sock, handle_connection, NULL, NULL);
 *     eloop_register_timeout(5, 0, scan_channels, radio, NULL);
 *     eloop_register_signal(SIGUSR2, print_channels, NULL);
 *
 * Again and again the loop waits, then calls the handlers of the signals that came, in the order
 * of registration; then of at most one timeout, the earliest that is due; then of the sockets that
 * are readable, in the order of registration. What else is due has its turn in the next pass.
 *
 * Handlers may register, cancel and unregister anything, themselves included, and may end the
 * loop. The pointers that are given are handed back as they are; the loop never looks at them.
 * Time is counted in the kernel's clock ticks: setting the clock disturbs no timeout.
 */

VORN_BEGIN

/** Called when a registered descriptor is readable. */
typedef void (*eloop_sock_handler)(int sock, void *eloop_data, void *user_data);

/** Called once when a timeout is due. To be called again, it registers itself again. */
typedef void (*eloop_timeout_handler)(void *eloop_data, void *user_data);

/**
 * Called from the loop, never in signal context, once after a signal arrived once or more. The
 * second argument is the loop's own pointer, the third the one that was registered.
 */
typedef void (*eloop_signal_handler)(int sig, void *eloop_data, void *user_data);

/** In eloop_cancel_timeout: matches any data pointer. */
#define ELOOP_ANY ((void *)-1)

/**
 * Makes the loop ready for use and stores the pointer that eloop_get_user_data answers. Whatever
 * was registered before is dropped without being freed. Called by the daemon before the plugins
 * are loaded.
 */
VORN_API void eloop_init(void *user_data);

/**
 * Calls the handler whenever the descriptor is readable. One that is registered twice has both
 * handlers called. One that is closed must be unregistered: the wait fails otherwise, which ends
 * the loop.
 *
 * Returns 0. Returns -1, without a trace, when memory is gone, and for a descriptor that does not
 * fit into the wait's set: a negative one, or one of 1024 or more.
 */
VORN_API int eloop_register_read_sock(int sock, eloop_sock_handler handler, void *eloop_data,
                                      void *user_data);

/**
 * Removes the first registration of the descriptor and leaves the descriptor open. When a handler
 * of a socket does this, to whichever descriptor, the rest of the sockets has to wait for the next
 * pass. Returns 0, or -1 when the descriptor is not registered.
 */
VORN_API int eloop_unregister_read_sock(int sock);

/**
 * Calls the handler once, after so many seconds and microseconds. The latter are rounded down to
 * whole ticks, of which there are mostly 100 per second. Timeouts that are due together run in the
 * order of registration, one per pass; a time of 0 is due in the next pass, which does not wait.
 * The whole must stay below 2 to the 31 ticks, 248 days.
 *
 * Returns 0; -2 for negative seconds; -1 when memory is gone.
 */
VORN_API int eloop_register_timeout(int secs, unsigned int usecs, eloop_timeout_handler handler,
                                    void *eloop_data, void *user_data);

/**
 * Cancels every timeout of the handler that was registered with these pointers; ELOOP_ANY stands
 * for any pointer. A timeout whose handler is running is no longer among them. Returns how many
 * there were.
 */
VORN_API int eloop_cancel_timeout(eloop_timeout_handler handler, void *eloop_data, void *user_data);

/**
 * Calls the handler from the loop after the signal has arrived, in place of whatever the process
 * did on that signal before. There is no way to take it back. A second registration of the same
 * signal is never called.
 *
 * A signal that comes while handlers run is handled after the next wait, which it does not cut
 * short. The daemon's own timeout of two seconds bounds that.
 *
 * Returns 0, or -1 when memory is gone, which leaves the signal as it was.
 */
VORN_API int eloop_register_signal(int sig, eloop_signal_handler handler, void *user_data);

/**
 * Waits and calls handlers until eloop_terminate, or until there is neither a socket nor a timeout
 * to wait for; signals alone do not keep the loop. Also returns when the wait fails other than by
 * a signal, after perror("select").
 */
VORN_API void eloop_run(void);

/** Makes eloop_run return before it waits again; the handlers of this pass still have their turn.
 */
VORN_API void eloop_terminate(void);

/**
 * Frees the timeouts and both tables. Signals stay as they are and go unheard. Nothing but
 * eloop_init may follow.
 */
VORN_API void eloop_destroy(void);

/** 1 after eloop_terminate, else 0. */
VORN_API int eloop_terminated(void);

/** The pointer that eloop_init was given; signal handlers get it as their second argument. */
VORN_API void *eloop_get_user_data(void);

VORN_END

#endif
