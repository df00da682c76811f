/* SPDX-License-Identifier: MIT */
/*
 * What the keeper tells last follows a mark, bears a number that no program knows, and is a line:
 * what a program says may have come from anybody. The end of the pipe is nothing to wait for: what
 * a program has started itself may hold it open for ever.
 */
#include "kept.h"

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/prctl.h>
#include <sys/random.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include "vorn-plugin/patience.h"

enum { not_executed = 127, highest_descriptor = 1023, most_pieces = 64, sign_length = 9 };

static const char mark = '\1';

/* Signals as a program expects them, what it says into the pipe, and no other file. */
static void prepare_child(const kept_plan *plan, int words)
{
    sigset_t all;
    const int nowhere = open("/dev/null", O_RDWR);
    for (int number = 1; number < 32; number++)
        signal(number, SIG_DFL);
    sigfillset(&all);
    sigprocmask(SIG_UNBLOCK, &all, NULL);
    setsid();
    dup2(nowhere, STDIN_FILENO);
    dup2(plan->only_errors ? nowhere : words, STDOUT_FILENO);
    dup2(words, STDERR_FILENO);
    for (int descriptor = STDERR_FILENO + 1; descriptor <= highest_descriptor; descriptor++)
        close(descriptor);
}

static _Noreturn void become_program(const kept_plan *plan, int input)
{
    if (plan->feed != NULL) dup2(input, STDIN_FILENO);
    execvp(plan->arguments[0], (char *const *)plan->arguments);
    dprintf(STDERR_FILENO, "%s", strerror(errno));
    _exit(not_executed);
}

static void feed(const kept_plan *plan, int input)
{
    signal(SIGPIPE, SIG_IGN);
    if (plan->feed != NULL) plan->feed(input);
    close(input);
}

/* What the keeper says, and does, when the program takes too long; everything that belongs to the
 * program is of the keeper's group. */
static char late_words[64];
static size_t late_length;

static void be_late(int signal_number)
{
    (void)signal_number;
    const ssize_t said = write(STDERR_FILENO, late_words, late_length);
    (void)said; /* to nobody, when the daemon has ended */
    kill(0, SIGKILL);
}

static void limit_time(int limit_ms, unsigned int sign)
{
    const struct itimerval limit = {
        .it_value = {.tv_sec = limit_ms / 1000, .tv_usec = limit_ms % 1000 * 1000}};
    const int is_whole = limit_ms % 1000 == 0;
    late_length = (size_t)snprintf(
        late_words, sizeof late_words, "no answer within %d %s%c%08x %d\n",
        is_whole ? limit_ms / 1000 : limit_ms, is_whole ? "s" : "ms", mark, sign, SIGKILL);
    signal(SIGALRM, be_late);
    setitimer(ITIMER_REAL, &limit, NULL);
}

static void end_group(int signal_number)
{
    (void)signal_number;
    kill(0, SIGKILL);
}

/* What it changes is no concern of the next daemon's, which looks once at what there is. */
static void end_with(pid_t daemon)
{
    signal(SIGTERM, end_group);
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (getppid() != daemon) end_group(0);
}

static _Noreturn void keep(const kept_plan *plan, int words, pid_t daemon, unsigned int sign)
{
    int input[2];
    int status = -1;
    prepare_child(plan, words);
    end_with(daemon);
    const pid_t program = pipe2(input, O_CLOEXEC) == 0 ? fork() : -1;
    if (program == 0) become_program(plan, input[0]);
    if (program > 0) {
        limit_time(plan->limit_ms, sign);
        close(input[0]);
        feed(plan, input[1]);
        if (waitpid(program, &status, 0) != program) status = -1;
    }
    dprintf(STDERR_FILENO, "%c%08x %d\n", mark, sign, status);
    _exit(0);
}

void kept_make_plain(char *text)
{
    size_t length = strlen(text);
    while (length > 0 && strchr("\n .", text[length - 1]) != NULL)
        text[--length] = '\0';
    for (; *text != '\0'; text++) {
        if (*text == '\n') *text = ' ';
        if (*text < ' ' || *text > '~') *text = '?';
    }
}

static void take_plain(kept *run, char byte)
{
    if (byte != '\0' && run->length + 1 < run->room) run->output[run->length++] = byte;
}

static int is_signed(kept *run)
{
    char sign[sign_length + 1];
    snprintf(sign, sizeof sign, "%08x ", run->sign);
    run->last[run->last_length] = '\0';
    return run->has_last && strncmp(run->last, sign, sign_length) == 0;
}

/* It only looked like the keeper's. */
static void give_back(kept *run)
{
    run->has_last = 0;
    take_plain(run, '?');
    for (size_t i = 0; i < run->last_length; i++)
        take_plain(run, run->last[i]);
}

static void take(kept *run, char byte)
{
    const int is_end = byte == '\n' || byte == mark;
    if (byte == '\n' && is_signed(run)) {
        run->is_told = 1;
        return;
    }
    if (run->has_last && (is_end || run->last_length + 1 == sizeof run->last)) give_back(run);
    if (byte == mark) {
        run->has_last = 1;
        run->last_length = 0;
    } else if (run->has_last) {
        run->last[run->last_length++] = byte;
    } else {
        take_plain(run, byte);
    }
}

static void end(kept *run)
{
    close(run->pipe);
    run->pipe = -1;
    if (is_signed(run)) run->status = atoi(run->last + sign_length);
}

int kept_start(kept *run, const kept_plan *plan)
{
    int ends[2] = {-1, -1};
    pid_t keeper = -1;
    const pid_t daemon = getpid();
    run->status = -1;
    run->length = 0;
    run->last_length = 0;
    run->has_last = 0;
    run->is_told = 0;
    run->output[0] = '\0';
    if (getrandom(&run->sign, sizeof run->sign, GRND_NONBLOCK) < 0)
        run->sign = (unsigned int)patience_now_us();
    if (pipe2(ends, O_CLOEXEC) == 0 && fcntl(ends[0], F_SETFL, O_NONBLOCK) == 0) keeper = fork();
    if (keeper == 0) keep(plan, ends[1], daemon, run->sign);
    if (keeper > 0) {
        run->keeper = keeper;
        run->pipe = ends[0];
    } else {
        snprintf(run->output, run->room, "%s", strerror(errno));
        if (ends[0] >= 0) close(ends[0]);
    }
    if (ends[1] >= 0) close(ends[1]);
    return keeper <= 0;
}

/* Of one that never stops, a part at a time. */
int kept_hear(kept *run)
{
    char piece[1024];
    ssize_t size = 1;
    for (int pieces = 0; size > 0 && !run->is_told && pieces < most_pieces; pieces++) {
        size = read(run->pipe, piece, sizeof piece);
        for (ssize_t i = 0; i < size && !run->is_told; i++)
            take(run, piece[i]);
    }
    run->output[run->length] = '\0';
    if (run->is_told) size = 0;
    if (size > 0 || (size < 0 && (errno == EAGAIN || errno == EINTR))) return 1;
    end(run);
    return 0;
}

int kept_await(kept *run, int64_t deadline_us)
{
    struct pollfd words = {.fd = run->pipe, .events = POLLIN};
    while (run->pipe >= 0) {
        const int64_t left_us = deadline_us - patience_now_us();
        const int count = poll(&words, 1, left_us > 0 ? (int)((left_us + 999) / 1000) : 0);
        if (count > 0 && !kept_hear(run)) break;
        if (left_us <= 0) return 0;
    }
    return 1;
}

int kept_await_a_moment(kept *run)
{
    const int64_t began_us = patience_now_us();
    const int has_ended = kept_await(run, began_us + patience_left_us(began_us));
    patience_spend(began_us, patience_now_us());
    return has_ended;
}

/* Until it has told its last its group is there: the number is no other one's. */
void kept_give_up(kept *run)
{
    if (run->pipe < 0) return;
    if (kept_hear(run)) {
        kill(-run->keeper, SIGKILL);
        end(run);
    }
    run->status = -1;
}
