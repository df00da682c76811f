/* SPDX-License-Identifier: MIT */
/*
 * Shows what the last commits took, so that a slow device tells which of its plugins is to blame,
 * who asked for them, and who was refused; and says each to the log, in a line that programs can
 * read.
 */
#include <inttypes.h>
#include <stdio.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "declare.h"
#include "describe.h"
#include "line.h"
#include "providers_text.h"
#include "replace.h"
#include "values.h"

enum { most_commits = 64 };

static const char class_name[] = "commit";
static const char *const properties[] = {"time",     "origin",   "changed", "deleted", "parse",
                                         "refresh",  "validate", "apply",   "save",    "providers",
                                         "left-out", "user",     "process", "program", "changes",
                                         "result",   "failures", NULL};
static const char refusal_name[] = "refusal";
static const char *const refusal_properties[] = {"time",    "commit",  "origin", "user", "process",
                                                 "program", "changes", "result", NULL};

/* What others have done, with what. */
static const char *const told_to_few[] = {"changed", "deleted",  "providers",
                                          "changes", "failures", NULL};
static const char *const refusals_told_to_few[] = {"changes", "result", NULL};

static unsigned long refused; /* requests since the daemon started */

static void set_number(vorn_instance *commit, const char *property, uint32_t number)
{
    char text[16];
    snprintf(text, sizeof text, "%" PRIu32, number);
    vorn_instance_set_value(commit, property, text);
}

static const char *process_of(const vorn_commit_report *report)
{
    static char text[16];
    snprintf(text, sizeof text, "%" PRId32, vorn_commit_report_get_process(report));
    return vorn_commit_report_has_peer(report) ? text : "";
}

static void set_request(vorn_instance *instance, const vorn_commit_report *report)
{
    char when[TIME_TEXT];
    vorn_instance_set_value(instance, "time", time_text(vorn_commit_report_get_time(report), when));
    vorn_instance_set_value(instance, "origin", vorn_commit_report_get_origin(report));
    vorn_instance_set_value(instance, "user", vorn_commit_report_get_user(report));
    vorn_instance_set_value(instance, "process", process_of(report));
    vorn_instance_set_value(instance, "program", vorn_commit_report_get_program(report));
    vorn_instance_set_value(instance, "changes", vorn_commit_report_get_changes(report));
    vorn_instance_set_value(instance, "result", vorn_commit_report_get_result(report));
}

static void add_refusal(vorn_instances *refusals, const vorn_commit_report *report,
                        unsigned long number)
{
    char name[24];
    snprintf(name, sizeof name, "%lu", number);
    vorn_instance *refusal = vorn_instance_new(vorn_classes_get(refusal_name), name);
    if (refusal == NULL) return;
    set_request(refusal, report);
    set_number(refusal, "commit", vorn_commit_report_get_number(report));
    if (vorn_instances_add(refusals, refusal) != 0) vorn_instance_delete(refusal);
}

static void add_commit(vorn_instances *commits, const vorn_commit_report *report)
{
    char name[16];
    snprintf(name, sizeof name, "%" PRIu32, vorn_commit_report_get_number(report));
    vorn_instance *commit = vorn_instance_new(vorn_classes_get(class_name), name);
    if (commit == NULL) return;
    set_request(commit, report);
    vorn_instance_set_value(commit, "failures", vorn_commit_report_get_failures(report));
    set_number(commit, "changed", vorn_commit_report_get_changed(report));
    set_number(commit, "deleted", vorn_commit_report_get_deleted(report));
    static const char *const phases[] = {"parse", "refresh", "validate", "apply", "save"};
    for (int phase = VORN_COMMIT_PARSE; phase <= VORN_COMMIT_SAVE; phase++)
        set_number(commit, phases[phase], vorn_commit_report_get_microseconds(report, phase));
    vorn_instance_set_value(commit, "providers", providers_text(report));
    set_number(commit, "left-out", vorn_commit_report_get_providers_left_out(report));
    if (vorn_instances_add(commits, commit) != 0) vorn_instance_delete(commit);
}

static void show_commits(vorn_refresh_info *info)
{
    vorn_instances *commits = vorn_instances_new();
    if (commits == NULL) return;
    for (unsigned int ago = most_commits; ago-- > 0;) {
        const vorn_commit_report *report = vorn_commit_report_get(ago);
        if (report != NULL) add_commit(commits, report);
    }
    replace_instances(vorn_refresh_info_get_instances(info), class_name, commits, properties);
    vorn_instances_delete_all(commits);
}

static void show_refusals(vorn_refresh_info *info)
{
    vorn_instances *refusals = vorn_instances_new();
    if (refusals == NULL) return;
    for (unsigned int ago = most_commits; ago-- > 0;) {
        const vorn_commit_report *report = vorn_commit_report_get_refused(ago);
        if (report != NULL) add_refusal(refusals, report, refused - ago);
    }
    replace_instances(vorn_refresh_info_get_instances(info), refusal_name, refusals,
                      refusal_properties);
    vorn_instances_delete_all(refusals);
}

static void refresh(vorn_refresh_info *info, void *data)
{
    (void)data;
    if (vorn_refresh_info_contains_class(info, class_name)) show_commits(info);
    if (vorn_refresh_info_contains_class(info, refusal_name)) show_refusals(info);
}

/* Never waits: a log that does not take the line in time goes without it. */
static void send_line(const struct line *line)
{
    const struct sockaddr_un log = {.sun_family = AF_UNIX, .sun_path = "/dev/log"};
    const int descriptor = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (descriptor < 0) return;
    if (connect(descriptor, (const struct sockaddr *)&log, sizeof log) == 0)
        send(descriptor, line->text, line->length, MSG_DONTWAIT | MSG_NOSIGNAL);
    close(descriptor);
}

static void tell_log(const vorn_commit_report *report, void *data)
{
    enum { daemon_notice = 3 << 3 | 5 };
    char head[32];
    char number[16];
    struct line line;
    (void)data;
    if (strncmp(vorn_commit_report_get_result(report), "refused", 7) == 0) refused++;
    if (vorn_process_no_actions) return;
    snprintf(head, sizeof head, "<%d>vorn[%ld]: ", daemon_notice, (long)getpid());
    snprintf(number, sizeof number, "%" PRIu32, vorn_commit_report_get_number(report));
    line_begin(&line, head);
    line_add(&line, "commit", number);
    line_add(&line, "user", vorn_commit_report_get_user(report));
    line_add(&line, "pid", process_of(report));
    line_add(&line, "program", vorn_commit_report_get_program(report));
    line_add(&line, "origin", vorn_commit_report_get_origin(report));
    line_add(&line, "result", vorn_commit_report_get_result(report));
    line_add(&line, "changes", vorn_commit_report_get_changes(report));
    line_add(&line, "failures", vorn_commit_report_get_failures(report));
    line_add(&line, "providers", providers_text(report));
    line_end(&line);
    send_line(&line);
}

static void describe_who(vorn_class *klass)
{
    describe(klass, "origin", "Origin", "As the request told it.", NULL);
    describe(klass, "user", "User", "Who asked for it.", NULL);
    describe(klass, "process", "Process", "Which process asked for it.", NULL);
    describe(klass, "program", "Program", "What that process calls itself.", NULL);
    describe(klass, "changes", "Changes", "What it changes, in short.", NULL);
}

static void describe_commits(vorn_class *klass)
{
    static const char *const times[] = {"parse", "refresh", "validate", "apply", "save", NULL};
    describe_class(klass, "Commit", "A change that was made lately, and what it took.",
                   "Configuration", 540);
    describe(klass, "time", "Time", "When it began.", NULL);
    describe_who(klass);
    describe(klass, "changed", "Changed", "How many instances were changed or made.", NULL);
    describe(klass, "deleted", "Deleted", "How many instances were deleted.", NULL);
    describe(klass, "parse", "Reading", "How long reading the request took.", NULL);
    describe(klass, "refresh", "Refreshing", "How long refreshing what it selects took.", NULL);
    describe(klass, "validate", "Judging", "How long making and checking the changes took.", NULL);
    describe(klass, "apply", "Applying", "How long applying them took, saving included.", NULL);
    describe(klass, "save", "Saving", "How long writing the startup file took.", NULL);
    for (int i = 0; times[i] != NULL; i++)
        describe_unit(klass, times[i], "microseconds");
    describe(klass, "providers", "Providers", "Who applied it, how much, and how long it took.",
             NULL);
    describe(klass, "left-out", "Left out", "How many more providers were concerned.", NULL);
    describe(klass, "result", "Result", "What became of it.", NULL);
    describe(klass, "failures", "Failures", "What could not be done.", NULL);
}

static void describe_refusals(vorn_class *klass)
{
    describe_class(klass, "Refusal", "A change that was refused lately.", "Configuration", 550);
    describe(klass, "time", "Time", "When it was refused.", NULL);
    describe(klass, "commit", "Commit", "The number of the last commit before it.", NULL);
    describe_who(klass);
    describe(klass, "result", "Result", "Why it was refused.", NULL);
}

void vorn_plugin_init(void)
{
    if (vorn_plugin_new("1.0") == NULL ||
        declare_shown(class_name, VORN_CLASS_UNIQUE_NAMED, properties) != 0 ||
        declare_shown(refusal_name, VORN_CLASS_UNIQUE_NAMED, refusal_properties) != 0 ||
        declare_about_others(vorn_classes_get(class_name), told_to_few) != 0 ||
        declare_about_others(vorn_classes_get(refusal_name), refusals_told_to_few) != 0)
        return;

    describe_commits(vorn_classes_get(class_name));
    describe_refusals(vorn_classes_get(refusal_name));
    vorn_provider *provider = vorn_provider_new("commits");
    if (provider == NULL) return;
    vorn_provider_set_refresh_fn(provider, refresh, NULL);
    vorn_provider_set_asks_first(provider);
    vorn_providers_add(provider);
    vorn_commit_report_add_fn(tell_log, NULL);
}
