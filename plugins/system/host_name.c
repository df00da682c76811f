/* SPDX-License-Identifier: MIT */
/*
 * The name is set by a program, which a commit waits for no longer than a moment. Its status is
 * known only while the daemon's reaper is held; of one that took longer, the kernel's name tells.
 */
#include "host_name.h"

#include "vorn/vorn.h"

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <stdio.h>
#include <string.h>
#include <sys/wait.h>
#include <unistd.h>

enum { wait_ms = 80, limit_s = 10, words_room = 160 };

static const char service[] = "hostname";

static struct {
    int output; /* of the program that runs; below 0 without one */
    int has_failed;
    char name[80];
    char words[words_room];
} run = {.output = -1};

static void give_up(void *eloop_data, void *data)
{
    (void)eloop_data;
    (void)data;
    const int pid = vorn_service_get_pid(service);
    if (pid > 0) kill(pid, SIGKILL);
}

/* Whether there is more to come. What a program says may be anything; a state is one line. */
static int hear(void)
{
    char piece[64];
    size_t used = strlen(run.words);
    const ssize_t size = read(run.output, piece, sizeof piece);
    for (ssize_t i = 0; i < size && used + 1 < sizeof run.words; i++) {
        run.words[used++] = piece[i] >= ' ' && piece[i] <= '~' ? piece[i] : ' ';
        run.words[used] = '\0';
    }
    while (used > 0 && run.words[used - 1] == ' ')
        run.words[--used] = '\0';
    return size > 0 || (size < 0 && (errno == EINTR || errno == EAGAIN));
}

static void close_output(void)
{
    close(run.output);
    run.output = -1;
}

static void hear_late(int descriptor, void *eloop_data, void *data)
{
    char now[sizeof run.name] = "";
    (void)eloop_data;
    (void)data;
    if (hear()) return;
    eloop_unregister_read_sock(descriptor);
    eloop_cancel_timeout(give_up, NULL, NULL);
    close_output();
    gethostname(now, sizeof now - 1);
    run.has_failed = strcmp(now, run.name) != 0;
}

static void forget_the_last(void)
{
    if (run.output >= 0) {
        eloop_unregister_read_sock(run.output);
        eloop_cancel_timeout(give_up, NULL, NULL);
        give_up(NULL, NULL);
        close_output();
    }
    run.has_failed = 0;
    run.words[0] = '\0';
}

/* The status that waitpid gives, or -1 while it still runs. */
static int await(int pid)
{
    int status = -1;
    struct pollfd end = {.fd = run.output, .events = POLLIN};
    for (int waited = 0; waited < wait_ms; waited += 5) {
        if (poll(&end, 1, 5) > 0) hear();
        if (waitpid(pid, &status, WNOHANG) == pid) return status;
    }
    return -1;
}

static int start(const char *name)
{
    int ends[2];
    char *const arguments[] = {(char *)"hostname", (char *)name, NULL};
    if (pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0) return 1;
    const int result = vorn_service_execvfd(service, arguments, ends[1], NULL);
    close(ends[1]);
    run.output = ends[0];
    snprintf(run.name, sizeof run.name, "%s", name);
    return result;
}

int host_name_apply(const char *name)
{
    sigset_t child;
    sigset_t before;
    forget_the_last();
    sigemptyset(&child);
    sigaddset(&child, SIGCHLD);
    sigprocmask(SIG_BLOCK, &child, &before);
    const int has_started = start(name) == 0;
    const int pid = vorn_service_get_pid(service);
    const int status = has_started && pid > 0 ? await(pid) : 0;
    sigprocmask(SIG_SETMASK, &before, NULL);
    if (run.output < 0) return 1;
    if (status == -1 && eloop_register_read_sock(run.output, hear_late, NULL, NULL) == 0) {
        eloop_register_timeout(limit_s, 0, give_up, NULL, NULL);
        return 0;
    }
    hear();
    close_output();
    return !has_started || status != 0 || (pid == 0 && !vorn_process_no_actions);
}

const char *host_name_progress(void)
{
    return run.output >= 0 ? "applying" : NULL;
}

int host_name_has_failed(void)
{
    return run.has_failed;
}

const char *host_name_words(void)
{
    return run.words;
}
