/* SPDX-License-Identifier: MIT */
/* The status of a child is known only while the daemon's reaper is held: during the short wait. */
#include "brief.h"

#include "vorn/vorn.h"

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <string.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

enum { wait_ms = 80, limit_s = 10 };

static void give_up(void *eloop_data, void *data)
{
    (void)eloop_data;
    brief *run = data;
    const int pid = vorn_service_get_pid(run->service);
    run->is_killed = 1;
    if (pid > 0) kill(pid, SIGKILL);
}

/* Whether there is more to come. What a program says may be anything; a state is one line. */
static int hear(brief *run)
{
    char piece[64];
    size_t used = strlen(run->words);
    const ssize_t size = read(run->output, piece, sizeof piece);
    for (ssize_t i = 0; i < size && used + 1 < sizeof run->words; i++) {
        run->words[used++] = piece[i] >= ' ' && piece[i] <= '~' ? piece[i] : ' ';
        run->words[used] = '\0';
    }
    while (used > 0 && run->words[used - 1] == ' ')
        run->words[--used] = '\0';
    return size > 0 || (size < 0 && (errno == EINTR || errno == EAGAIN));
}

static void close_output(brief *run)
{
    close(run->output);
    run->output = -1;
}

static void hear_late(int descriptor, void *eloop_data, void *data)
{
    (void)eloop_data;
    brief *run = data;
    if (hear(run)) return;
    eloop_unregister_read_sock(descriptor);
    eloop_cancel_timeout(give_up, NULL, run);
    close_output(run);
    run->ended(run, run->data);
}

static void forget_the_last(brief *run)
{
    if (run->output >= 0) {
        eloop_unregister_read_sock(run->output);
        eloop_cancel_timeout(give_up, NULL, run);
        give_up(NULL, run);
        close_output(run);
    }
    run->is_killed = 0;
    run->words[0] = '\0';
}

static long long now_ms(void)
{
    struct timespec time;
    clock_gettime(CLOCK_MONOTONIC, &time);
    return (long long)time.tv_sec * 1000 + time.tv_nsec / 1000000;
}

/* The status that waitpid gives, or -1 while it still runs. Its output ends a moment before it. */
static int await(brief *run, int pid)
{
    static long long no_wait_before_ms;
    int status = -1;
    struct pollfd output = {.fd = run->output, .events = POLLIN};
    const long long end_ms = now_ms() + wait_ms;
    if (now_ms() < no_wait_before_ms) return -1;
    do {
        if (waitpid(pid, &status, WNOHANG) == pid) return status;
        if (poll(&output, 1, 5) > 0 && !hear(run)) output.fd = -1;
    } while (now_ms() < end_ms);
    no_wait_before_ms = now_ms() + 1000;
    return -1;
}

static int start(brief *run, const char *const arguments[])
{
    int ends[2];
    if (pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0) return 1;
    const int result = vorn_service_execvfd(run->service, (char *const *)arguments, ends[1], NULL);
    close(ends[1]);
    run->output = ends[0];
    return result;
}

int brief_run(brief *run, const char *const arguments[])
{
    sigset_t child;
    sigset_t before;
    forget_the_last(run);
    sigemptyset(&child);
    sigaddset(&child, SIGCHLD);
    sigprocmask(SIG_BLOCK, &child, &before);
    const int has_started = start(run, arguments) == 0;
    const int pid = vorn_service_get_pid(run->service);
    const int status = has_started && pid > 0 ? await(run, pid) : 0;
    sigprocmask(SIG_SETMASK, &before, NULL);
    if (run->output < 0) return 1;
    if (status == -1 && eloop_register_read_sock(run->output, hear_late, NULL, run) == 0) {
        eloop_register_timeout(limit_s, 0, give_up, NULL, run);
        return 0;
    }
    hear(run);
    close_output(run);
    return !has_started || status != 0 || (pid == 0 && !vorn_process_no_actions);
}

int brief_goes_on(const brief *run)
{
    return run->output >= 0;
}
