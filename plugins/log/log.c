/* SPDX-License-Identifier: MIT */
/* The system's log, written by syslogd in the manner of busybox, here and on another machine. */
#include <stdio.h>
#include <string.h>

#include "declare.h"
#include "describe.h"
#include "effects.h"
#include "values.h"
#include "vorn-plugin/supervise.h"

/* Written after its own option, so that anything but a path can't become one. */
static int is_file_or_none(const char *value)
{
    if (*value == '\0') return 1;
    if (*value != '/' || strlen(value) > 255) return 0;
    for (const char *each = value; *each != '\0'; each++)
        if (*each < ' ' || *each > '~') return 0;
    return value[strlen(value) - 1] != '/';
}

static supervised *syslogd;

/* How syslogd is to run, or that it is not. */
struct plan {
    int is_on;
    const char *arguments[10];
    char remote[264];
};

static void make_plan(struct plan *plan, const vorn_instances *configuration)
{
    const vorn_instance *log = vorn_instances_get_singleton(configuration, "log");
    const char **next = plan->arguments;
    *plan = (struct plan){.is_on = is_on(log, "enabled")};
    *next++ = "syslogd";
    *next++ = "-n";
    if (*value_of(log, "level") != '\0') {
        *next++ = "-l";
        *next++ = value_of(log, "level");
    }
    if (*value_of(log, "file") != '\0') {
        *next++ = "-O";
        *next++ = value_of(log, "file");
    }
    if (*value_of(log, "remote") != '\0') {
        const char *port = value_of(log, "remote-port");
        snprintf(plan->remote, sizeof plan->remote, "%s:%s", value_of(log, "remote"),
                 *port ? port : "514");
        *next++ = "-L"; /* here too */
        *next++ = "-R";
        *next = plan->remote;
    }
}

static void log_changed(vorn_instance *log, vorn_instance *before, vorn_commit_info *info)
{
    struct plan plan;
    (void)log;
    (void)before;

    make_plan(&plan, vorn_commit_info_get_after(info));
    if (!plan.is_on) {
        supervise_stop(syslogd);
    } else if (supervise_run(syslogd, plan.arguments) != 0) {
        vorn_debug_eprintf("log: no memory to start syslogd.\n");
    }
}

static void pre_commit(vorn_commit_info *info)
{
    (void)info;
    supervise_try_again(syslogd);
}

static void explain(vorn_commit_info *info, vorn_explanation *explanation)
{
    struct plan plan;
    enum supervise_deed deed = supervise_foresee_try(syslogd);
    if (vorn_changes_contains_class(vorn_commit_info_get_changes(info), "log")) {
        make_plan(&plan, vorn_commit_info_get_after(info));
        const supervise_plan whole = {plan.arguments, NULL, 0};
        deed = supervise_foresee(syslogd, plan.is_on ? &whole : NULL, 0);
    }
    explain_program(explanation, "syslogd", deed, "nobody writes down what is said meanwhile");
}

static const char *state(vorn_instance *instance, const char *property, vorn_refresh_info *info)
{
    (void)instance;
    (void)property;
    (void)info;
    return supervise_state(syslogd);
}

/* Where syslogd writes unless it is told: fixed in busybox. */
static const char *written_to(vorn_instance *instance, const char *property,
                              vorn_refresh_info *info)
{
    (void)property;
    (void)info;
    const char *file = value_of(instance, "file");
    return *file != '\0' ? file : "/var/log/messages";
}

static const char *status(vorn_instance *instance, const char *property, vorn_refresh_info *info)
{
    (void)instance;
    (void)property;
    (void)info;
    return supervise_status(syslogd);
}

static void declare_settings(vorn_class *log)
{
    describe_class(log, "Log", "What this device writes down of itself, here and elsewhere.",
                   "System", 130);
    declare_input(log, "enabled", VORN_INPUT_ON_OFF);
    describe(log, "enabled", "Enabled", "Whether anything is written down.", "on");
    declare_number(log, "level", 1, 8, 0);
    describe(log, "level", "Level",
             "How much is written: from 1, emergencies alone, to 8, what helps developers.", "7");
    declare_setting(log, "file", is_file_or_none,
                    "<the path of a file, from / on, up to 255 characters of ASCII>|<nothing>");
    vorn_property_accept_characters(vorn_class_get_property(log, "file"), " ~", 0, 255);
    describe(log, "file", "File", "Where it is written; /var/log/messages if it isn't set.",
             "/var/log/device");
    declare_input(log, "remote", VORN_INPUT_PLAIN_IP_OR_DOMAIN_NAME | VORN_INPUT_NOTHING);
    describe(log, "remote", "Log server", "A machine that everything is sent to, too.",
             "192.168.1.9");
    declare_number(log, "remote-port", 1, 65535, 0);
    describe(log, "remote-port", "Port of the log server", "514 if it isn't set.", "514");
    declare_state(log, "written-to");
    describe(log, "written-to", "Written to", "The file that has the log now.", NULL);
    declare_state(log, "status");
    describe(log, "status", "Status", "Whether syslogd runs.", NULL);
    declare_state(log, "state");
    describe(log, "state", "State", "Whether syslogd runs, or why not.", NULL);
}

void vorn_plugin_init(void)
{
    if (vorn_plugin_new("1.0") == NULL) return;

    syslogd = supervise_new("syslogd");
    vorn_class *log = declare_class("log", VORN_CLASS_SINGLETON);
    vorn_committer *committer = vorn_committer_new();
    vorn_refresher *refresher = vorn_refresher_new("log");
    if (syslogd == NULL || log == NULL || committer == NULL || refresher == NULL) return;

    declare_settings(log);
    vorn_classes_add(log);

    vorn_committer_set_pre_commit_fn(committer, pre_commit);
    vorn_committer_set_instance_change_fn(committer, "log", log_changed, 1);
    vorn_refresher_set_property_fn(refresher, "written-to", written_to);
    vorn_refresher_set_property_fn(refresher, "status", status);
    vorn_refresher_set_property_fn(refresher, "state", state);
    declare_provider("log", committer, refresher, explain);
    vorn_providers_order("network", "log");
}
