/* SPDX-License-Identifier: MIT */
/*
 * The commands of one attempt, in their order, and the process that runs them: one ip for all,
 * since most of the time that a command takes is the start of the program. It has a keeper, a
 * process that ends it when it takes too long and tells through a pipe how it ended: the daemon
 * reaps every child, so that nobody else could know.
 */
#include "ip.h"

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

enum {
    most_words = 20,
    command_room = 160,
    reason_room = 200,
    output_room = 4096,
    last_word_room = 64,
    command_limit_s = 10,
    not_executed = 127,
    highest_descriptor = 1023
};

struct command {
    struct command *next;
    int is_taken;  /* is run, or has been, since it was planned */
    char *failure; /* what it said when it failed; null otherwise */
    char words[command_room];
};

static struct command *planned; /* in their order; each stands for itself among those that ran */
static struct command *ran;     /* since the attempt began */
static int is_busy;

/* The commands that are running, and what ip has said so far. */
static struct {
    int pipe;   /* below 0 without one */
    int is_old; /* of an attempt before this one */
    void (*go_on)(void);
    struct command *commands;
    char output[output_room + last_word_room];
    size_t length;
} job = {.pipe = -1};

static int runs_singly; /* since ip gave up in the middle of many */

static void free_commands(struct command **list)
{
    while (*list != NULL) {
        struct command *first = *list;
        *list = first->next;
        free(first->failure);
        free(first);
    }
}

static struct command *find(struct command *list, const char *words)
{
    while (list != NULL && strcmp(list->words, words) != 0)
        list = list->next;
    return list;
}

static struct command *append(struct command **list, const char *words)
{
    struct command *command = calloc(1, sizeof *command);
    if (command == NULL) return NULL;
    snprintf(command->words, sizeof command->words, "%s", words);
    while (*list != NULL)
        list = &(*list)->next;
    *list = command;
    return command;
}

void ip_begin(void)
{
    free_commands(&planned);
    free_commands(&ran);
    runs_singly = 0;
    job.is_old = 1;
    is_busy = 1;
}

void ip_forget_plan(void)
{
    free_commands(&planned);
}

void ip_end(void)
{
    is_busy = 0;
}

int ip_is_busy(void)
{
    return is_busy;
}

static void give_reason(outcomes *of, const char *name, const char *words)
{
    char reason[command_room + reason_room];
    const struct command *before = find(ran, words);
    if (name == NULL || outcomes_reason(of, name) != NULL) return;
    if (before != NULL && before->failure != NULL) {
        snprintf(reason, sizeof reason, "failed: \"ip %s\": %s", words, before->failure);
    } else if (is_busy) {
        snprintf(reason, sizeof reason, "applying");
    } else {
        snprintf(reason, sizeof reason, "waiting to run \"ip %s\"", words);
    }
    outcomes_fail(of, name, reason);
}

int ip_plan(outcomes *of, const char *name, const char *pattern, ...)
{
    char words[command_room];
    va_list values;
    va_start(values, pattern);
    const int length = vsnprintf(words, sizeof words, pattern, values);
    va_end(values);
    if (length < 0 || length >= command_room || append(&planned, words) == NULL) return 1;
    give_reason(of, name, words);
    const struct command *before = find(ran, words);
    return before != NULL && before->failure != NULL;
}

/* One that did nothing may have been too early; one that failed waits for the next attempt. */
static int is_to_run(const struct command *command)
{
    const struct command *before = find(ran, command->words);
    return !command->is_taken && (before == NULL || before->failure == NULL);
}

int ip_has_more(void)
{
    const struct command *each = planned;
    while (each != NULL && !is_to_run(each))
        each = each->next;
    return each != NULL;
}

static void split(char *words, char *arguments[])
{
    char *rest = NULL;
    int count = 0;
    arguments[count++] = (char *)"ip";
    for (char *word = strtok_r(words, " ", &rest); word != NULL && count <= most_words;
         word = strtok_r(NULL, " ", &rest)) {
        arguments[count++] = word;
    }
    arguments[count] = NULL;
}

/* Signals as a program expects them, standard input and output nowhere, errors into the pipe. */
static void prepare_child(int errors)
{
    sigset_t all;
    const int nowhere = open("/dev/null", O_RDWR);
    for (int number = 1; number < 32; number++)
        signal(number, SIG_DFL);
    sigfillset(&all);
    sigprocmask(SIG_UNBLOCK, &all, NULL);
    setsid();
    dup2(nowhere, STDIN_FILENO);
    dup2(nowhere, STDOUT_FILENO);
    dup2(errors, STDERR_FILENO);
    for (int descriptor = STDERR_FILENO + 1; descriptor <= highest_descriptor; descriptor++)
        close(descriptor);
}

static _Noreturn void become_ip(int commands)
{
    static char *const many[] = {(char *)"ip", (char *)"-force", (char *)"-batch", (char *)"-",
                                 NULL};
    char *one[most_words + 2];
    if (job.commands->next == NULL) split(job.commands->words, one);
    dup2(commands, STDIN_FILENO);
    execvp("ip", job.commands->next == NULL ? one : many);
    fprintf(stderr, "%s", strerror(errno));
    _exit(not_executed);
}

static void write_commands(int to)
{
    for (const struct command *each = job.commands; each != NULL; each = each->next)
        dprintf(to, "%s\n", each->words);
    close(to);
}

/* What the keeper tells last stands behind a byte that no program writes. */
static _Noreturn void keep(int errors)
{
    sigset_t child;
    const struct timespec limit = {command_limit_s, 0};
    int commands[2];
    int status = -1;
    prepare_child(errors);
    sigemptyset(&child);
    sigaddset(&child, SIGCHLD);
    sigprocmask(SIG_BLOCK, &child, NULL);
    const pid_t program = pipe2(commands, O_CLOEXEC) == 0 ? fork() : -1;
    if (program == 0) {
        sigprocmask(SIG_UNBLOCK, &child, NULL);
        become_ip(commands[0]);
    }
    if (program > 0) {
        close(commands[0]);
        if (job.commands->next != NULL) write_commands(commands[1]);
        if (sigtimedwait(&child, NULL, &limit) < 0) {
            kill(program, SIGKILL);
            dprintf(STDERR_FILENO, "no answer within %d s", command_limit_s);
        }
        if (waitpid(program, &status, 0) != program) status = -1;
    }
    dprintf(STDERR_FILENO, "\1%d", status);
    _exit(0);
}

/* Programs may write anything; what becomes part of an answer is one line of plain text. */
static void make_plain(char *text)
{
    size_t length = strlen(text);
    while (length > 0 && strchr("\n .", text[length - 1]) != NULL)
        text[--length] = '\0';
    for (; *text != '\0'; text++) {
        if (*text == '\n') *text = ' ';
        if (*text < ' ' || *text > '~') *text = '?';
    }
}

static void note(const struct command *command, const char *failure)
{
    const char *result = vorn_process_no_actions ? "(no actions)" : failure ? "failed" : "done";
    vorn_debug_1printf("Running \"ip %s\" -> %s\n", command->words, result);
    if (failure != NULL) {
        vorn_debug_eprintf("network: \"ip %s\" failed: %s\n", command->words, failure);
    }
    if (job.is_old) return;
    struct command *noted = find(ran, command->words);
    if (noted == NULL) noted = append(&ran, command->words);
    if (noted == NULL) {
        free_commands(&planned); /* it would be run again and again */
    } else if (failure != NULL && noted->failure == NULL) {
        noted->failure = strdup(failure);
    }
}

/* What it said before the next line that begins with the mark and a number, which is returned. */
static int take_failure(char **rest, char reason[reason_room])
{
    static const char mark[] = "Command failed -:";
    char *end = strstr(*rest, mark);
    const size_t length = end != NULL ? (size_t)(end - *rest) : strlen(*rest);
    snprintf(reason, reason_room, "%.*s", (int)length, *rest);
    make_plain(reason);
    *rest += length;
    if (end == NULL) return 0;
    const int number = (int)strtol(end + sizeof mark - 1, rest, 10);
    *rest += **rest == '\n';
    return number;
}

/* Whether all were tried: nothing is said behind the last of those that failed. */
static int is_complete(int status)
{
    char reason[reason_room];
    char *rest = job.output;
    if (status == 0) return 1;
    while (take_failure(&rest, reason) != 0)
        continue;
    return *reason == '\0' && WIFEXITED(status) && WEXITSTATUS(status) == 1;
}

/* ip goes on after a command that fails, and tells its line; it gives up where it can't read one.
 */
static void note_many(int status)
{
    char reason[reason_room];
    char *rest = job.output;
    const int is_whole = is_complete(status);
    int failed = take_failure(&rest, reason);
    int number = 1;
    for (const struct command *each = job.commands; each != NULL; each = each->next, number++) {
        if (number == failed) {
            note(each, reason);
            failed = take_failure(&rest, reason);
        } else if (is_whole || failed > number) {
            note(each, NULL);
        }
    }
    if (is_whole) return;
    vorn_debug_eprintf("network: ip: %s\n", *reason != '\0' ? reason : "it ended with an error");
    runs_singly = 1;
}

static void note_one(int status)
{
    char reason[reason_room];
    snprintf(reason, sizeof reason, "%s", job.output);
    make_plain(reason);
    note(job.commands, status == 0 ? NULL : *reason != '\0' ? reason : "it ended with an error");
}

static void job_ended(int status)
{
    if (job.commands->next != NULL) {
        note_many(status);
    } else {
        note_one(status);
    }
    free_commands(&job.commands);
}

static void pipe_ended(void)
{
    int status = -1;
    char *end = strchr(job.output, '\1');
    if (end != NULL) {
        status = atoi(end + 1);
        *end = '\0';
    }
    close(job.pipe);
    job.pipe = -1;
    job_ended(status);
}

/* Of a program that writes much, the beginning is kept, and what the keeper says at the end. */
static int take_output(void)
{
    char piece[256];
    const ssize_t size = read(job.pipe, piece, sizeof piece);
    if (size < 0) return errno == EAGAIN || errno == EINTR;
    for (ssize_t i = 0; i < size; i++) {
        const int is_last_word = piece[i] == '\1' || strchr(job.output, '\1') != NULL;
        const size_t room = is_last_word ? sizeof job.output : (size_t)output_room;
        if (job.length + 1 >= room || piece[i] == '\0') continue;
        job.output[job.length++] = piece[i];
        job.output[job.length] = '\0';
    }
    return size > 0;
}

/* Without memory for all of them, those that it is enough for. */
static void take_commands(void)
{
    for (struct command *each = planned; each != NULL; each = each->next) {
        if (!is_to_run(each)) continue;
        if (append(&job.commands, each->words) == NULL) return;
        each->is_taken = 1;
        if (runs_singly) return;
    }
}

static void start_keeper(void)
{
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        snprintf(job.output, sizeof job.output, "%s", strerror(errno));
        job_ended(-1);
        return;
    }
    const pid_t keeper = fork();
    if (keeper == 0) keep(ends[1]);
    close(ends[1]);
    job.pipe = ends[0];
    if (keeper < 0) pipe_ended();
}

/* Returns whether there was anything to run. */
static int job_start(void)
{
    take_commands();
    if (job.commands == NULL) return 0;
    job.length = 0;
    job.output[0] = '\0';
    job.is_old = 0;
    if (vorn_process_no_actions) {
        job_ended(0);
    } else {
        start_keeper();
    }
    return 1;
}

int64_t ip_now_us(void)
{
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return (int64_t)now.tv_sec * 1000000 + now.tv_nsec / 1000;
}

static void hear(int descriptor, void *eloop_data, void *data)
{
    (void)eloop_data;
    (void)data;
    if (take_output()) return;
    void (*const go_on)(void) = job.go_on;
    eloop_unregister_read_sock(descriptor);
    job.go_on = NULL;
    pipe_ended();
    go_on();
}

/* Whether it has ended; otherwise it is heard of in the background. */
static int job_await(int64_t deadline, void (*go_on)(void))
{
    struct pollfd end = {.fd = job.pipe, .events = POLLIN};
    const int was_heard_of = job.go_on != NULL;
    for (;;) {
        const int64_t left = deadline - ip_now_us();
        if (poll(&end, 1, left > 0 ? (int)((left + 999) / 1000) : 0) > 0 && !take_output()) break;
        if (left > 0) continue;
        if (!was_heard_of) eloop_register_read_sock(job.pipe, hear, NULL, NULL);
        job.go_on = go_on;
        return 0;
    }
    if (was_heard_of) eloop_unregister_read_sock(job.pipe);
    job.go_on = NULL;
    pipe_ended();
    return 1;
}

int ip_run(int64_t deadline_us, void (*go_on)(void))
{
    for (;;) {
        if (job.pipe >= 0 && !job_await(deadline_us, go_on)) return 0;
        if (!job_start()) return 1;
    }
}
