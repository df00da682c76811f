/* SPDX-License-Identifier: MIT */
#ifndef VORN_SERVICE_H
#define VORN_SERVICE_H

#include "vorn/api.h"
#include "vorn/process.h"

#include <stdio.h>

/**
 * Children of the daemon: commands, which are waited for, and services, which run under a name
 * until they are told to stop.
 *
 *     if (vorn_command_execl("ip", "link", "set", "eth0", "up", (char *)NULL) != 0) ...
 *
 *     vorn_service_set_exited_fn("dhcp", start_dhcp_again, NULL);
 *     vorn_service_execl("dhcp", "udhcpc", "-f", "-i", "eth0", (char *)NULL);
 *     ...
 *     vorn_service_stop("dhcp", SIGTERM, 2000000);
 *
 * A program is searched along PATH. Its arguments come as a list that ends in a null pointer, or
 * as a vector that does; in the forms that end in "od" the output mode and the directory follow,
 * after the null of a list. Without the memory for a list, "malloc" or "realloc" is reported on
 * standard error, nothing is started and -1 returned. A null vector
 * ("Null arguments.\n" at level 1) or one without a program ("Null program.\n") starts nothing.
 *
 * The output mode says where standard output and standard error go: 0 to /dev/null; 1 to /dev/null
 * unless the debug level is above 0; any other value where the daemon's go. The forms without "od"
 * use mode 1. The directory is where the program runs; null for where the daemon does.
 *
 * A child leads a session of its own, reads from /dev/null, inherits no descriptor above 2 up to
 * 1023 and has SIGCHLD, SIGTERM, SIGINT and SIGHUP at their defaults. What goes wrong on its way
 * is reported on standard error with the system's reason: "Unable to change directories to \"%s\"
 * while executing \"%s\"" (at most 160 characters), after which it runs where the daemon does, and
 * "Unable to execute \"%s\"" (at most 80), after which it exits with status 127. The latter comes
 * when the output mode is in force already, and is lost with the output where that is discarded. A
 * failed fork is reported as "fork".
 *
 * Above debug level 0 each start is a line of the log: "Running \"ip link\" -> pid = 12 ", ended by
 * "-> status = 0\n" or "-> errno = 10\n" for a command and by "\n" for a service.
 *
 * With vorn_process_no_actions nothing is started or signalled; the line says "-> (no actions) "
 * instead of the process id, which counts as 0.
 */

VORN_BEGIN

/** Set when a child has exited; cleared by vorn_service_poll. */
extern VORN_API volatile int sig_child_received;

/** Called by vorn_service_poll after a service was found gone and its record dropped. */
typedef void (*vorn_service_exited_fn)(void *data);

/**
 * Run a command and wait for it; the daemon does nothing else meanwhile. Return its wait status as
 * waitpid gives it (0 for a clean exit with 0; WEXITSTATUS and so on take it apart), or -1 when it
 * could not be started or waited for, as always without actions.
 */
VORN_API int vorn_command_execl(const char *program, ...) __attribute__((sentinel));
/** The same with an output mode and a folder after the null. */
VORN_API int vorn_command_execlod(const char *program, ...);
/** The same with a vector of arguments that a null ends; the first one is the program. */
VORN_API int vorn_command_execv(char *const arguments[]);
/** The same with a vector, an output mode and a folder. */
VORN_API int vorn_command_execvod(char *const arguments[], int output_mode, const char *directory);

/** Makes the table of services unless it is there. Called once, by the start-up. */
VORN_API void vorn_service_init(void);

/**
 * Sets the function to call, with its data, when the service is found gone; null for none. It
 * belongs to the service's record and is dropped with it, so whoever starts a service again from
 * that function sets it again too.
 *
 * Returns 0, or 1 for a null name ("Null name.\n" at level 1) and without memory.
 */
VORN_API int vorn_service_set_exited_fn(const char *name, vorn_service_exited_fn exited,
                                        void *data);

/**
 * Start a service and don't wait. It counts as running from then on, also after a failed fork:
 * vorn_service_poll tries that again. Starting a name that runs already forgets
 * the process it had, which goes on.
 *
 * Return 0; 1 for a null name ("Null name.\n" at level 1), a null vector or program, and without
 * the memory for a record; -1 without the memory for the arguments of a list.
 */
VORN_API int vorn_service_execl(const char *name, const char *program, ...)
    __attribute__((sentinel));
/** The same with an output mode and a folder after the null. */
VORN_API int vorn_service_execlod(const char *name, const char *program, ...);
/** The same with a vector of arguments that a null ends; the first one is the program. */
VORN_API int vorn_service_execv(const char *name, char *const arguments[]);
/** The same with a vector, an output mode and a folder. */
VORN_API int vorn_service_execvod(const char *name, char *const arguments[], int output_mode,
                                  const char *directory);
/**
 * The same with a descriptor of the caller's in place of the output mode: standard output and
 * standard error are copies of it, and what goes wrong on the child's way is written there. Below
 * 0 it is output mode 1. The daemon ignores SIGPIPE, and so does the child: one that writes into a
 * pipe that nobody reads any more goes on.
 */
VORN_API int vorn_service_execvfd(const char *name, char *const arguments[], int output,
                                  const char *directory);

/**
 * Returns the process id of a service that was started and is not known to be stopped, whether it
 * still runs or not; 0 for any other name, for null, after a failed fork and without actions.
 */
VORN_API int vorn_service_get_pid(const char *name);

/**
 * For an exit function, while it runs: how the service's process ended, as waitpid gives it
 * (WIFSIGNALED and so on take it apart). -1 when that is not known, because the service was never
 * started or somebody else waited for its process, and outside of an exit function.
 */
VORN_API int vorn_service_get_exit_status(void);

/**
 * Returns 1 when the service was started, has not been told to stop, and its process exists and is
 * no zombie; otherwise 0. Without actions no service has a process.
 */
VORN_API int vorn_service_is_running(const char *name);

/**
 * Sends a service a signal and waits up to the limit, in microseconds, for its process to be gone;
 * with a limit of 0 it does not wait. The waiting is busy and lets nothing else happen.
 *
 * Returns 1 when the process is gone or there was no waiting; -1 when the limit passed ("Timeout
 * while sending signal %d to service %s with pid %d.\n" at level 1); 0 when there was nothing to
 * do: no name, no such service, or one that is stopped, all without a word; or no actions.
 *
 * The signal is logged at level 1 ("Sending signal %d to service %s with pid %d.\n"), with a line
 * "(no actions)\n" after it where it stays at that. The service is stopping then, and stopped once
 * the poll finds its process gone; without actions at once. A service that has no process, since
 * its fork failed, is not signalled.
 */
VORN_API int vorn_service_stop(const char *name, int signal_number, int limit_us);

/**
 * Stops every service that runs, and every one that was told to stop and has not yet, in the order
 * of first use, with SIGTERM and five seconds, then with SIGKILL and one. Logged at level 1:
 * "Stopping %s (%d)...\n". Called when the daemon is told to end.
 */
VORN_API void vorn_service_shutdown(void);

/**
 * Reaps every child that has exited and sets sig_child_received. The daemon's handler of SIGCHLD;
 * the arguments do not matter. The status of a command that is being waited for is not taken.
 */
VORN_API void vorn_service_sig_child(int signal_number, void *eloop_data, void *user_data);

/**
 * Looks for each service's process, if sig_child_received is set. One that was stopping and is gone
 * is stopped and stays known; any other one that is gone (a stopped one is, by the next time) is
 * logged at level 1, dropped, and its exit function called: "Service %s with pid %d is no longer
 * running. %s.\n", ending in "Service has no callback" when there is a function and in "Running
 * callback" when there is none. The remark is the wrong way round and stays so: these words are
 * part of this interface, and people's log filters know them. The daemon calls it every two
 * seconds.
 *
 * A service whose fork failed is started again by each call until that works, whatever
 * sig_child_received says. When a child has exited meanwhile and the service has an exit function,
 * or when memory was gone for its arguments too, it is dropped as above instead.
 *
 * A process that was reaped, by whomever, is gone, whoever has its number now: nobody is taken for
 * a service, or signalled, for having its number.
 */
VORN_API void vorn_service_poll(void);

/** Prints a table of the services, in the order of first use. */
VORN_API void vorn_service_print(FILE *stream);

/**
 * The name of a service, by its rank from 0 on, that has ended by itself three times within the
 * last ten minutes: the latest sixteen that have ended are known. It holds until the next call of
 * vorn_service_poll. Null after the last.
 */
VORN_API const char *vorn_service_get_failing(unsigned int rank);

VORN_END

#endif
