/* SPDX-License-Identifier: MIT */
#include "supervise.h"

#include "vorn/vorn.h"

#include <signal.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

enum { longest_pause_s = 60, long_enough_s = 60, end_limit_us = 5000000 };

struct supervised {
    const char *name;
    char **arguments; /* null while it is not to run */
    int is_waiting;   /* for its next start */
    int pause_s;      /* before the next start */
    time_t started;
};

supervised *supervise_new(const char *name)
{
    supervised *program = calloc(1, sizeof *program);
    if (program == NULL) return NULL;
    program->name = name;
    program->pause_s = 1;
    return program;
}

static void free_arguments(char **arguments)
{
    for (char **each = arguments; each != NULL && *each != NULL; each++)
        free(*each);
    free(arguments);
}

static char **copy_arguments(const char *const arguments[])
{
    size_t count = 0;
    while (arguments[count] != NULL)
        count++;
    char **copy = calloc(count + 1, sizeof *copy);
    for (size_t i = 0; copy != NULL && i < count; i++) {
        copy[i] = strdup(arguments[i]);
        if (copy[i] != NULL) continue;
        free_arguments(copy);
        return NULL;
    }
    return copy;
}

static int are_same(char *const left[], const char *const right[])
{
    while (*left != NULL && *right != NULL && strcmp(*left, *right) == 0) {
        left++;
        right++;
    }
    return *left == NULL && *right == NULL;
}

static time_t now(void)
{
    struct timespec time;
    clock_gettime(CLOCK_MONOTONIC, &time);
    return time.tv_sec;
}

static void start(supervised *program);

static void start_again(void *eloop_data, void *data)
{
    (void)eloop_data;
    supervised *program = data;
    program->is_waiting = 0;
    start(program);
}

static void wait_to_start(supervised *program, const char *reason)
{
    vorn_debug_eprintf("%s %s; it is started again in %d s.\n", program->name, reason,
                       program->pause_s);
    program->is_waiting = 1;
    eloop_register_timeout(program->pause_s, 0, start_again, NULL, program);
    program->pause_s =
        program->pause_s < longest_pause_s / 2 ? 2 * program->pause_s : longest_pause_s;
}

/* Told by the daemon's poll; its record of the service is gone by then, this function with it. */
static void ended(void *data)
{
    supervised *program = data;
    if (program->arguments == NULL) return;
    if (now() - program->started >= long_enough_s) program->pause_s = 1;
    wait_to_start(program, "has ended");
}

static void start(supervised *program)
{
    program->started = now();
    if (vorn_service_execv(program->name, program->arguments) != 0 ||
        vorn_service_set_exited_fn(program->name, ended, program) != 0) {
        wait_to_start(program, "can't be started");
    }
}

/* Whoever ends a service on purpose does not want to hear of it. */
static void end(supervised *program)
{
    eloop_cancel_timeout(start_again, NULL, program);
    program->is_waiting = 0;
    program->pause_s = 1;
    vorn_service_set_exited_fn(program->name, NULL, NULL);
    if (vorn_service_stop(program->name, SIGTERM, end_limit_us) == -1) {
        vorn_service_stop(program->name, SIGKILL, end_limit_us);
    }
}

int supervise_run(supervised *program, const char *const arguments[])
{
    const int same = program->arguments != NULL && are_same(program->arguments, arguments);
    if (same && !program->is_waiting) return 0;

    char **copy = copy_arguments(arguments);
    if (copy == NULL) return 1;
    if (program->arguments != NULL) end(program);
    free_arguments(program->arguments);
    program->arguments = copy;
    start(program);
    return 0;
}

void supervise_try_again(supervised *program)
{
    if (!program->is_waiting) return;
    eloop_cancel_timeout(start_again, NULL, program);
    start_again(NULL, program);
}

void supervise_stop(supervised *program)
{
    if (program->arguments == NULL) return;
    end(program);
    free_arguments(program->arguments);
    program->arguments = NULL;
}

const char *supervise_status(const supervised *program)
{
    if (program->arguments == NULL) return "stopped";
    return program->is_waiting || !vorn_service_is_running(program->name) ? "failed" : "running";
}
