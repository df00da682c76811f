/* SPDX-License-Identifier: MIT */
/*
 * One program as a service of the daemon, with a pipe for what it says. It is stopped, up, pausing
 * before its next start, or ending; whether it is to run is told by its arguments alone, so that
 * whoever ends it does not care what comes after.
 */
#include "vorn-plugin/supervise.h"

#include "vorn/vorn.h"

#include <signal.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "how_it_ended.h"
#include "outlived.h"
#include "output.h"
#include "process.h"
#include "run_with.h"
#include "timers.h"
#include "vorn-plugin/patience.h"

enum {
    longest_pause_s = 60,
    long_enough_ms = 60000,
    starting_ms = 500,
    ending_ms = 3000, /* between SIGTERM and SIGKILL */
    look_ms = 50,     /* how often an ending process is looked for */
    looks_at_end = 5,
};

enum phase { stopped, up, pausing, ending };

struct supervised {
    struct supervised *next;
    const char *name;
    struct run_with run_with;
    enum phase phase;
    int is_starting;
    int is_of_last_change; /* which has to say it in its record if the program fails */
    int waiting_signal;    /* until it has started; 0 for none */
    int pause_s;           /* before the next start */
    struct timers timers;
    int looks; /* left, for the end of a process whose output has ended */
    int pid;   /* of the process that is ending */
    unsigned long long birth;
    int is_killed;
    int64_t since_ms;    /* its start, or its end's */
    uint64_t files_read; /* how they were at its start */
    struct output output;
    char reason[reason_room]; /* why it has failed; empty when that is not known */
    const char *failure;      /* what can be said without */
    char state[reason_room + 16];
    void (*failed)(void *data);
    void *failed_data;
    struct noted noted;
};

static supervised *programs;

static int is_still_ending(const supervised *program)
{
    return program->phase == ending && program->birth != 0 &&
           supervise_birth(program->pid) == program->birth;
}

/* Before any plugin starts a program: it would be one beside that of an earlier daemon. */
__attribute__((constructor)) static void begin(void)
{
    if (!vorn_process_no_actions) outlived_end();
}

/* With the plugin all knowledge of what is ending is gone: it must not outlive the daemon. */
__attribute__((destructor)) static void end_all(void)
{
    for (supervised *program = programs; program != NULL; program = program->next) {
        if (is_still_ending(program)) kill(program->pid, SIGKILL);
        if (program->phase != stopped) outlived_forget(&program->noted);
    }
}

static int64_t now_ms(void)
{
    return patience_now_us() / 1000;
}

static void look_for_end(void *eloop_data, void *data);

/* The output ends a little earlier than the process. */
static void output_has_ended(void *data)
{
    supervised *program = data;
    program->looks = looks_at_end;
    if (program->phase == up) supervise_wait(&program->timers, 20, look_for_end);
}

supervised *supervise_new(const char *name)
{
    supervised *program = calloc(1, sizeof *program);
    if (program == NULL) return NULL;
    if (supervise_keep_timers(&program->timers, program) != 0) {
        free(program);
        return NULL;
    }
    program->name = name;
    program->pause_s = 1;
    program->output.descriptor = -1;
    program->output.ended = output_has_ended;
    program->output.data = program;
    program->next = programs;
    programs = program;
    return program;
}

/* Has the daemon look at its services now, rather than in two seconds. */
static void look_for_end(void *eloop_data, void *data)
{
    (void)eloop_data;
    supervised *program = data;
    if (program->phase != up) return;
    if (!vorn_service_is_running(program->name)) {
        vorn_service_sig_child(SIGCHLD, NULL, NULL);
        vorn_service_poll();
    } else if (--program->looks > 0) {
        supervise_wait(&program->timers, look_ms, look_for_end);
    }
}

static void start(supervised *program);

static void start_again(void *eloop_data, void *data)
{
    (void)eloop_data;
    start(data);
}

/* The status is as waitpid gives it, or -1. */
static void find_reason(supervised *program, int status)
{
    program->failure = "has ended";
    supervise_say_why(&program->output.words, status, now_ms(), program->reason);
}

/* The reason comes when the commit that started it is long over. */
static void record_failure(supervised *program)
{
    if (!program->is_of_last_change) return;
    program->is_of_last_change = 0;
    vorn_commit_report_add_failure("%s: %s", program->name,
                                   program->reason[0] != '\0' ? program->reason : program->failure);
}

static void pause_now(supervised *program)
{
    record_failure(program);
    if (program->reason[0] != '\0') {
        vorn_debug_eprintf("%s: %s\n", program->name, program->reason);
    }
    vorn_debug_eprintf("%s %s; it is started again in %d s.\n", program->name, program->failure,
                       program->pause_s);
    program->phase = pausing;
    supervise_wait(&program->timers, (int64_t)program->pause_s * 1000, start_again);
    program->pause_s =
        program->pause_s < longest_pause_s / 2 ? 2 * program->pause_s : longest_pause_s;
    if (program->failed != NULL) program->failed(program->failed_data);
}

static void has_started(void *eloop_data, void *data)
{
    (void)eloop_data;
    supervised *program = data;
    const int signal_number = program->waiting_signal;
    program->is_starting = 0;
    program->waiting_signal = 0;
    outlived_note(&program->noted, program->name); /* the first fork may have failed */
    if (signal_number != 0) supervise_signal(program, signal_number);
}

/* Nothing that was going on for the process that was up goes on. */
static void leave_up(supervised *program)
{
    supervise_cancel(&program->timers, has_started);
    supervise_cancel(&program->timers, look_for_end);
    program->is_starting = 0;
    program->waiting_signal = 0;
}

/* Told by the daemon's poll; its record of the service is gone by then, this function with it. */
static void ended(void *data)
{
    supervised *program = data;
    if (program->phase != up) return;
    leave_up(program);
    supervise_read_the_rest(&program->output);
    supervise_close_output(&program->output);
    outlived_forget(&program->noted);
    if (now_ms() - program->since_ms >= long_enough_ms) {
        program->pause_s = 1;
        program->is_of_last_change = 0;
    }
    find_reason(program, vorn_service_get_exit_status());
    pause_now(program);
}

static void start(supervised *program)
{
    const int output = supervise_open_output(&program->output);
    program->phase = up;
    program->is_starting = 1;
    program->since_ms = now_ms();
    program->files_read = supervise_look_at_files(&program->run_with);
    const int has_failed =
        vorn_service_execvfd(program->name, program->run_with.arguments, output, NULL) != 0 ||
        vorn_service_set_exited_fn(program->name, ended, program) != 0;
    if (output != -1) close(output);
    if (has_failed) {
        leave_up(program);
        supervise_close_output(&program->output);
        program->reason[0] = '\0';
        program->failure = "can't be started";
        pause_now(program);
    } else {
        outlived_note(&program->noted, program->name);
        supervise_wait(&program->timers, starting_ms, has_started);
    }
}

/* Sends SIGTERM and answers whether the process has gone by the time that there is to wait. */
static int ends_at_once(const supervised *program)
{
    const int64_t began_us = patience_now_us();
    const int limit_us = (int)patience_left_us(began_us);
    const int result = vorn_service_stop(program->name, SIGTERM, limit_us > 0 ? limit_us : 1);
    patience_spend(began_us, patience_now_us());
    return result != -1;
}

static void is_gone(supervised *program)
{
    program->phase = stopped;
    supervise_close_output(&program->output);
    outlived_forget(&program->noted);
    if (program->run_with.arguments != NULL) start(program);
}

static void look_whether_gone(void *eloop_data, void *data)
{
    (void)eloop_data;
    supervised *program = data;
    if (!is_still_ending(program)) {
        is_gone(program);
        return;
    }
    if (!program->is_killed && now_ms() - program->since_ms >= ending_ms) {
        vorn_debug_eprintf("%s does not end; it is killed.\n", program->name);
        kill(program->pid, SIGKILL);
        program->is_killed = 1;
    }
    supervise_wait(&program->timers, look_ms, look_whether_gone);
}

/* Whoever ends a service on purpose does not want to hear of it. */
static void end(supervised *program)
{
    leave_up(program);
    program->pause_s = 1;
    program->pid = vorn_service_get_pid(program->name);
    program->birth = supervise_birth(program->pid);
    vorn_service_set_exited_fn(program->name, NULL, NULL);
    if (ends_at_once(program)) {
        program->phase = stopped;
        supervise_close_output(&program->output);
        outlived_forget(&program->noted);
    } else {
        program->phase = ending;
        program->is_killed = 0;
        program->since_ms = now_ms();
        supervise_wait(&program->timers, look_ms, look_whether_gone);
    }
}

static void take_down(supervised *program)
{
    if (program->phase == up) {
        end(program);
    } else if (program->phase == pausing) {
        supervise_cancel(&program->timers, start_again);
        program->phase = stopped;
        program->pause_s = 1;
    }
}

/* A process that is ending or waits to be started will read what is there then. */
static int has_read_its_files(const supervised *program)
{
    return program->phase != up ||
           program->files_read == supervise_look_at_files(&program->run_with);
}

enum supervise_deed supervise_foresee(const supervised *program, const supervise_plan *plan,
                                      int has_new_files)
{
    if (plan == NULL) return program->phase == up ? SUPERVISE_ENDS : SUPERVISE_LEAVES;
    const int has_read_them =
        has_read_its_files(program) && !(has_new_files && program->phase == up);
    const int is_as_planned = supervise_is_run_with(&program->run_with, plan) && has_read_them;
    if (is_as_planned && program->phase != pausing) return SUPERVISE_LEAVES;
    return program->phase == up ? SUPERVISE_RESTARTS : SUPERVISE_STARTS;
}

enum supervise_deed supervise_foresee_try(const supervised *program)
{
    return program->phase == pausing ? SUPERVISE_STARTS : SUPERVISE_LEAVES;
}

int supervise_run_plan(supervised *program, const supervise_plan *plan)
{
    if (supervise_foresee(program, plan, 0) == SUPERVISE_LEAVES) return 0;
    if (supervise_take_plan(&program->run_with, plan) != 0) return 1;
    take_down(program);
    program->is_of_last_change = 1;
    if (program->phase == stopped) start(program);
    return 0;
}

int supervise_run(supervised *program, const char *const arguments[])
{
    const supervise_plan plan = {arguments, NULL, 0};
    return supervise_run_plan(program, &plan);
}

void supervise_try_again(supervised *program)
{
    if (supervise_foresee_try(program) != SUPERVISE_STARTS) return;
    supervise_cancel(&program->timers, start_again);
    start(program);
}

void supervise_stop(supervised *program)
{
    take_down(program);
    supervise_forget_plan(&program->run_with);
}

void supervise_signal(supervised *program, int signal_number)
{
    if (program->phase != up) return;
    const int pid = vorn_service_get_pid(program->name);
    if (program->is_starting) {
        program->waiting_signal = signal_number;
    } else if (pid > 0) {
        kill(pid, signal_number);
    }
}

void supervise_set_failed_fn(supervised *program, void (*failed)(void *data), void *data)
{
    program->failed = failed;
    program->failed_data = data;
}

void supervise_set_pid_file(supervised *program, const char *path)
{
    program->noted.pid_file = path;
}

void supervise_set_farewell(supervised *program, int signal_number)
{
    program->noted.farewell = signal_number;
}

int supervise_is_running(const supervised *program)
{
    return program->phase == up && vorn_service_is_running(program->name);
}

int supervise_pid(const supervised *program)
{
    return supervise_is_running(program) ? vorn_service_get_pid(program->name) : 0;
}

const char *supervise_state(supervised *program)
{
    switch (program->phase) {
    case stopped:
        return "stopped";
    case ending:
        return program->run_with.arguments != NULL
                   ? "starting: its process from before has not ended yet"
                   : "applying: it has not ended yet";
    case up:
        if (program->is_starting) return "starting"; /* or just ended, which is heard of next */
        if (vorn_service_is_running(program->name)) return "running";
        supervise_read_the_rest(&program->output);
        find_reason(program, -1);
        break;
    case pausing:
        break;
    }
    if (program->reason[0] != '\0') {
        snprintf(program->state, sizeof program->state, "failed: %s", program->reason);
    } else {
        snprintf(program->state, sizeof program->state, "failed: it %s", program->failure);
    }
    return program->state;
}

const char *supervise_status(const supervised *program)
{
    if (program->phase == stopped) return "stopped";
    if (program->phase == ending) return "stopping";
    return supervise_is_running(program) ? "running" : "failed";
}

const char *supervise_words(const supervised *program)
{
    return program->output.words.text;
}
