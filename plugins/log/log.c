/* SPDX-License-Identifier: MIT */
/* The system's log, written by syslogd in the manner of busybox, here and on another machine. */
#include <stdio.h>
#include <string.h>

#include "declare.h"
#include "describe.h"
#include "effects.h"
#include "forward.h"
#include "values.h"
#include "vorn-plugin/repair.h"
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
    const char *arguments[13];
    char remote[264];
};

static void make_plan(struct plan *plan, const vorn_instances *configuration)
{
    const vorn_instance *log = vorn_instances_get_singleton(configuration, "log");
    const int is_forwarded = forward_is_wanted(configuration);
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
    if (*value_of(log, "remote") != '\0' || is_forwarded) *next++ = "-L"; /* here too */
    if (*value_of(log, "remote") != '\0') {
        const char *port = value_of(log, "remote-port");
        snprintf(plan->remote, sizeof plan->remote, "%s:%s", value_of(log, "remote"),
                 *port ? port : "514");
        *next++ = "-R";
        *next++ = plan->remote;
    }
    if (is_forwarded) {
        *next++ = "-R";
        *next = FORWARD_INLET;
    }
}

/* Of both classes: the log server is another receiver of syslogd's. */
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

static const char *const own_classes[] = {"log", "log-server", NULL};

/* rsyslogd first, for what syslogd says when it starts. */
static void pre_commit(vorn_commit_info *info)
{
    if (!repair_concerns(info, own_classes)) return;
    forward_apply(vorn_commit_info_get_after(info));
    supervise_try_again(syslogd);
}

static int concerns(const vorn_changes *changes)
{
    return vorn_changes_contains_class(changes, "log") ||
           vorn_changes_contains_class(changes, "log-server");
}

static void check(vorn_check_info *info, void *data)
{
    fault found;
    const vorn_instances *configuration = vorn_check_info_get_instances(info);
    const vorn_instance *server = vorn_instances_get_singleton(configuration, "log-server");
    (void)data;
    if (!vorn_changes_contains_class(vorn_check_info_get_changes(info), "log-server")) return;
    if (forward_judge(configuration, server, &found))
        vorn_check_info_refuse(info, server, found.property, "%s", found.reason);
}

static void explain(vorn_commit_info *info, vorn_explanation *explanation)
{
    struct plan plan;
    enum supervise_deed deed = supervise_foresee_try(syslogd);
    if (!repair_concerns(info, own_classes)) return;
    forward_explain(explanation, vorn_commit_info_get_after(info));
    if (concerns(vorn_commit_info_get_changes(info))) {
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

static vorn_refresher *refreshers[2];

static void refresh(vorn_refresh_info *info, void *data)
{
    for (size_t i = 0; i < sizeof refreshers / sizeof *refreshers; i++) {
        vorn_refresh_info_set_data(info, refreshers[i]);
        vorn_refresher_fn(info, data);
    }
}

static int make_refreshers(void)
{
    refreshers[0] = vorn_refresher_new("log");
    refreshers[1] = vorn_refresher_new("log-server");
    if (refreshers[0] == NULL || refreshers[1] == NULL) return 1;
    vorn_refresher_set_property_fn(refreshers[0], "written-to", written_to);
    vorn_refresher_set_property_fn(refreshers[0], "status", status);
    vorn_refresher_set_property_fn(refreshers[0], "state", state);
    vorn_refresher_set_property_fn(refreshers[1], "state", forward_state);
    return 0;
}

void vorn_plugin_init(void)
{
    if (vorn_plugin_new("1.0") == NULL) return;

    syslogd = supervise_new("syslogd");
    vorn_class *log = declare_class("log", VORN_CLASS_SINGLETON);
    vorn_committer *committer = vorn_committer_new();
    if (syslogd == NULL || log == NULL || committer == NULL || make_refreshers() != 0) return;

    declare_settings(log);
    vorn_classes_add(log);
    if (forward_declare() != 0) return;

    vorn_committer_set_pre_commit_fn(committer, pre_commit);
    vorn_committer_set_instance_change_fn(committer, "log", log_changed, 1);
    vorn_committer_set_instance_change_fn(committer, "log-server", log_changed, 1);
    if (declare_provider("log", committer, NULL, explain) != 0) return;
    vorn_provider *provider = vorn_providers_get("log");
    vorn_provider_set_check_fn(provider, check, NULL);
    vorn_provider_set_refresh_fn(provider, refresh, NULL);
    vorn_provider_set_asks_first(provider);
    vorn_providers_order("network", "log");
}
