/* SPDX-License-Identifier: MIT */
/*
 * The commands of one attempt, in their order, and the process that runs them: one ip for all,
 * since most of the time that a command takes is the start of the program.
 */
#include "ip.h"

#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/wait.h>

#include "kept.h"
#include "vorn-plugin/patience.h"

enum {
    most_words = 20,
    command_room = 176,
    reason_room = 200,
    output_room = 4096,
    command_limit_ms = 10000
};

struct command {
    struct command *next;
    int is_taken;  /* is run, or has been, since it was planned */
    int is_beyond; /* is not to be run: it was planned for others */
    int is_past;   /* ran in an attempt before this one, which reaches not all */
    char *failure; /* what it said when it failed; null otherwise */
    char words[command_room];
};

static struct command *planned; /* in their order; each stands for itself among those that ran */
static struct command *ran;     /* since the attempt began */
static int is_busy;
static int is_left_over; /* what is planned: the last attempt did not come to its end */

/* The commands that are running, and what ip has said so far. */
static char output[output_room];
static struct {
    kept run;
    int is_old; /* of an attempt before this one */
    void (*go_on)(void);
    struct command *commands;
} job = {.run = KEPT(output, output_room)};

/* In a file of commands no family can be told: ip is told it for all of them. */
static const char bridge_word[] = "bridge ";
static const char v6_word[] = "-6 ";

static const struct runner {
    const char *begin; /* of the commands that it runs */
    const char *many[6];
} runners[] = {
    {bridge_word, {"bridge", "-force", "-batch", "-", NULL}},
    {v6_word, {"ip", "-6", "-force", "-batch", "-", NULL}},
    {"", {"ip", "-force", "-batch", "-", NULL}},
};

static const struct runner *runner_of(const char *words)
{
    const struct runner *each = runners;
    while (strncmp(words, each->begin, strlen(each->begin)) != 0)
        each++;
    return each;
}

const char *ip_program_of(const char *words)
{
    return runner_of(words)->begin == bridge_word ? "" : "ip ";
}

size_t ip_words_begin(const char *words)
{
    return strlen(runner_of(words)->begin);
}

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

static int (*is_reached)(const outcomes *of, const char *name);

void ip_limit(int (*reached)(const outcomes *of, const char *name))
{
    is_reached = reached;
}

void ip_begin(void)
{
    free_commands(&planned);
    if (is_reached == NULL) free_commands(&ran);
    for (struct command *each = ran; each != NULL; each = each->next)
        each->is_past = 1;
    runs_singly = 0;
    is_left_over = 0;
    job.is_old = 1;
    is_busy = 1;
}

static struct {
    struct command *planned;
    struct command *ran;
    int is_busy;
    int is_used;
} aside; /* during a rehearsal */

void ip_begin_rehearsal(void)
{
    aside.planned = planned;
    aside.ran = ran;
    aside.is_busy = is_busy;
    aside.is_used = 1;
    planned = NULL;
    ran = NULL;
    is_busy = 1;
}

void ip_end_rehearsal(void)
{
    free_commands(&planned);
    planned = aside.planned;
    ran = aside.ran;
    is_busy = aside.is_busy;
    aside.is_used = 0;
}

int ip_is_only_told(void)
{
    return aside.is_used || vorn_process_no_actions;
}

void ip_for_each_planned(void (*call)(const char *words, void *data), void *data)
{
    for (const struct command *each = planned; each != NULL; each = each->next)
        if (!each->is_beyond) call(each->words, data);
}

void ip_forget_plan(void)
{
    free_commands(&planned);
}

int ip_is_busy(void)
{
    return is_busy;
}

/* What it came to when it was run for the last time; null when that may be another now. */
static const struct command *find_run(const struct command *planned_one)
{
    const struct command *before = find(ran, planned_one->words);
    return before != NULL && before->is_past && !planned_one->is_beyond ? NULL : before;
}

static void give_reason(outcomes *of, const char *name, const struct command *command)
{
    char reason[command_room + reason_room];
    const char *words = command->words;
    const char *program = ip_program_of(words);
    const struct command *before = find_run(command);
    if (name == NULL || outcomes_reason(of, name) != NULL) return;
    if (before != NULL && before->failure != NULL) {
        snprintf(reason, sizeof reason, "failed: \"%s%s\": %s", program, words, before->failure);
    } else if (is_busy && !command->is_beyond) {
        snprintf(reason, sizeof reason, "applying");
    } else if (!is_left_over || command->is_beyond) {
        if (differences_state(&of->differs, name) == NULL)
            differences_note(&of->differs, name, "\"%s%s\" is to be run", program, words);
        return;
    } else {
        snprintf(reason, sizeof reason, "waiting to run \"%s%s\"", program, words);
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
    struct command *command = length >= 0 && length < command_room ? append(&planned, words) : NULL;
    if (command == NULL) return 1;
    command->is_beyond = is_reached != NULL && !is_reached(of, name);
    give_reason(of, name, command);
    const struct command *before = find_run(command);
    return before != NULL && before->failure != NULL;
}

int ip_has_failed(const char *words)
{
    const struct command *before = find(ran, words);
    return before != NULL && !before->is_past && before->failure != NULL;
}

/* One that did nothing may have been too early; one that failed waits for the next attempt. */
static int is_to_run(const struct command *command)
{
    const struct command *before = find_run(command);
    return !command->is_taken && !command->is_beyond && (before == NULL || before->failure == NULL);
}

int ip_has_more(void)
{
    const struct command *each = planned;
    while (each != NULL && !is_to_run(each))
        each = each->next;
    return each != NULL;
}

void ip_end(void)
{
    is_left_over = ip_has_more();
    is_busy = 0;
}

static void split(char *words, const char *arguments[])
{
    char *rest = NULL;
    int count = 0;
    if (*ip_program_of(words) != '\0') arguments[count++] = "ip";
    for (char *word = strtok_r(words, " ", &rest); word != NULL && count <= most_words;
         word = strtok_r(NULL, " ", &rest)) {
        arguments[count++] = word;
    }
    arguments[count] = NULL;
}

static void write_commands(int to)
{
    const size_t begin = ip_words_begin(job.commands->words);
    for (const struct command *each = job.commands; each != NULL; each = each->next)
        dprintf(to, "%s\n", each->words + begin);
}

static void note(const struct command *command, const char *failure)
{
    const char *program = ip_program_of(command->words);
    const char *result = vorn_process_no_actions ? "(no actions)" : failure ? "failed" : "done";
    vorn_debug_1printf("Running \"%s%s\" -> %s\n", program, command->words, result);
    if (failure != NULL) {
        vorn_debug_eprintf("network: \"%s%s\" failed: %s\n", program, command->words, failure);
    }
    if (job.is_old) return;
    if (failure != NULL) {
        vorn_commit_report_add_failure("network: \"%s%s\": %s", program, command->words, failure);
    }
    struct command *noted = find(ran, command->words);
    if (noted == NULL) noted = append(&ran, command->words);
    if (noted == NULL) {
        free_commands(&planned); /* it would be run again and again */
        return;
    }
    if (noted->is_past) {
        free(noted->failure);
        noted->failure = NULL;
        noted->is_past = 0;
    }
    if (failure != NULL && noted->failure == NULL) {
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
    kept_make_plain(reason);
    *rest += length;
    if (end == NULL) return 0;
    const int number = (int)strtol(end + sizeof mark - 1, rest, 10);
    *rest += **rest == '\n';
    return number;
}

/* Whether all were tried: nothing is said after the last of those that failed. */
static int is_complete(int status)
{
    char reason[reason_room];
    char *rest = output;
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
    char *rest = output;
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
    vorn_debug_eprintf("network: %s: %s\n", runner_of(job.commands->words)->many[0],
                       *reason != '\0' ? reason : "it ended with an error");
    runs_singly = 1;
}

static void note_one(int status)
{
    char reason[reason_room];
    snprintf(reason, sizeof reason, "%s", output);
    kept_make_plain(reason);
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

/* Those of one program and family. Without memory for all of them, those that it is enough for. */
static void take_commands(void)
{
    for (struct command *each = planned; each != NULL; each = each->next) {
        if (!is_to_run(each)) continue;
        if (job.commands != NULL && runner_of(job.commands->words) != runner_of(each->words))
            return;
        if (append(&job.commands, each->words) == NULL) return;
        each->is_taken = 1;
        if (runs_singly) return;
    }
}

static void start_ip(void)
{
    char words[command_room];
    const char *one[most_words + 2];
    const int is_one = job.commands->next == NULL;
    const char *const *all = runner_of(job.commands->words)->many;
    memcpy(words, job.commands->words, sizeof words);
    split(words, one);
    const kept_plan plan = {is_one ? one : all, is_one ? NULL : write_commands, 1,
                            command_limit_ms};
    if (kept_start(&job.run, &plan) != 0) job_ended(-1);
}

/* Returns whether there was anything to run. */
static int job_start(void)
{
    take_commands();
    if (job.commands == NULL) return 0;
    job.is_old = 0;
    if (vorn_process_no_actions) {
        job_ended(0);
    } else {
        start_ip();
    }
    return 1;
}

static void hear(int descriptor, void *eloop_data, void *data)
{
    (void)eloop_data;
    (void)data;
    if (kept_hear(&job.run)) return;
    void (*const go_on)(void) = job.go_on;
    eloop_unregister_read_sock(descriptor);
    job.go_on = NULL;
    job_ended(job.run.status);
    go_on();
}

/* Whether it has ended; otherwise it is heard of in the background. */
static int job_await(int64_t deadline_us, void (*go_on)(void))
{
    const int pipe = job.run.pipe;
    const int was_heard_of = job.go_on != NULL;
    const int64_t began_us = patience_now_us();
    const int has_ended = kept_await(&job.run, deadline_us);
    patience_spend(began_us, patience_now_us());
    if (!has_ended) {
        if (!was_heard_of) eloop_register_read_sock(pipe, hear, NULL, NULL);
        job.go_on = go_on;
        return 0;
    }
    if (was_heard_of) eloop_unregister_read_sock(pipe);
    job.go_on = NULL;
    job_ended(job.run.status);
    return 1;
}

int ip_run(int64_t deadline_us, void (*go_on)(void))
{
    for (;;) {
        if (job.run.pipe >= 0 && !job_await(deadline_us, go_on)) return 0;
        if (!job_start()) return 1;
    }
}
