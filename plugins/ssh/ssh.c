/* SPDX-License-Identifier: MIT */
/*
 * Logins over the network, through dropbear. What it is to do is all in its arguments, so that a
 * change that asks for the same leaves it alone. Who has logged in stays so while it is restarted:
 * each session is a process of its own.
 */
#include <errno.h>
#include <linux/rtnetlink.h>
#include <net/if.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>

#include "declare.h"
#include "describe.h"
#include "effects.h"
#include "host_key.h"
#include "host_key_file.h"
#include "judge.h"
#include "keys.h"
#include "links.h"
#include "listening.h"
#include "values.h"
#include "vorn-plugin/supervise.h"

static const char class_name[] = "ssh";
static const char host_key[] = HOST_KEY_FILE;

/* Makes the device's own key where there is none, then becomes the server. dropbearkey replaces no
 * file, not even an empty one that a power cut has left. Its words are fixed: what is configured
 * comes as its arguments. */
static const char start_script[] =
    "[ -s \"$1\" ] || [ ! -e \"$1\" ] || rm \"$1\"\n"
    "[ -s \"$1\" ] || dropbearkey -t ed25519 -f \"$1\" >/dev/null || exit 1\n"
    "shift\n"
    "exec dropbear \"$@\"\n";

static supervised *server;
static char failure[160]; /* what keeps it from being started, as its state tells it */

/* How dropbear is to run, or why it is not. */
struct plan {
    int is_on;
    const char *waits_for; /* an interface that has no address; null for none */
    struct places places;
    const char *arguments[16 + 2 * most_places];
};

static const char *port_of(const vorn_instance *ssh)
{
    const char *port = value_of(ssh, "port");
    return *port != '\0' ? port : "22";
}

static const char *who_root_is(const vorn_instance *ssh)
{
    const char *root = value_of(ssh, "root");
    if (strcmp(root, "on") == 0) return NULL;
    return strcmp(root, "off") == 0 ? "-w" : "-g";
}

static void make_arguments(struct plan *plan, const vorn_instance *ssh)
{
    static const char *const begin[] = {
        "sh", "-c",    start_script, "vorn-ssh", host_key, "-F", "-P", "/var/run/vorn-dropbear.pid",
        "-r", host_key};
    const char *root = who_root_is(ssh);
    size_t count = sizeof begin / sizeof *begin;
    memcpy(plan->arguments, begin, sizeof begin);
    if (!is_on(ssh, "passwords")) plan->arguments[count++] = "-s";
    if (root != NULL) plan->arguments[count++] = root;
    for (int i = 0; i < plan->places.count; i++) {
        plan->arguments[count++] = "-p";
        plan->arguments[count++] = plan->places.texts[i];
    }
    plan->arguments[count] = NULL;
}

static void make_plan(struct plan *plan, const vorn_instances *configuration)
{
    const vorn_instance *ssh = vorn_instances_get_singleton(configuration, class_name);
    memset(plan, 0, sizeof *plan);
    if (!is_on(ssh, "enabled")) return;
    places_find(&plan->places, value_of(ssh, "interface"), port_of(ssh));
    plan->is_on = plan->places.count > 0;
    if (!plan->is_on) plan->waits_for = value_of(ssh, "interface");
    make_arguments(plan, ssh);
}

static int make_folder(void)
{
    return mkdir(HOST_KEY_FOLDER, 0700) != 0 && errno != EEXIST;
}

static void run(const struct plan *plan)
{
    const supervise_plan whole = {plan->arguments, NULL, 0};
    if (make_folder() != 0 && !vorn_process_no_actions) {
        snprintf(failure, sizeof failure, "failed: " HOST_KEY_FOLDER ": %s", strerror(errno));
        vorn_debug_eprintf("ssh: %s.\n", failure);
        vorn_commit_report_add_failure("ssh: %s", failure);
        supervise_stop(server);
    } else if (supervise_run_plan(server, &whole) != 0) {
        vorn_debug_eprintf("ssh: no memory to start dropbear.\n");
    }
}

static void apply(const vorn_instances *configuration)
{
    struct plan plan;
    make_plan(&plan, configuration);
    failure[0] = '\0';
    if (plan.is_on) {
        run(&plan);
        return;
    }
    supervise_stop(server);
    if (plan.waits_for != NULL)
        snprintf(failure, sizeof failure, "waiting for an address of %s", plan.waits_for);
}

/* Also without a change: an address may have come, and what has failed is tried again. */
static void commit(vorn_commit_info *info)
{
    apply(vorn_commit_info_get_after(info));
}

static void addresses_changed(void)
{
    const vorn_instances *running = vorn_config_get_running();
    if (running != NULL) apply(running);
}

static void explain(vorn_commit_info *info, vorn_explanation *explanation)
{
    struct plan plan;
    make_plan(&plan, vorn_commit_info_get_after(info));
    const supervise_plan whole = {plan.arguments, NULL, 0};
    explain_program(explanation, "dropbear",
                    supervise_foresee(server, plan.is_on ? &whole : NULL, 0),
                    plan.is_on ? "nobody can log in for a moment; who has, stays"
                               : "nobody can log in any more; who has, stays");
}

static int judge(const vorn_instances *configuration, const vorn_instance *ssh, fault *found)
{
    return fault_is_no_link(found, configuration, ssh, "interface");
}

static void check(vorn_check_info *info, void *data)
{
    const vorn_changes *changes = vorn_check_info_get_changes(info);
    (void)data;
    if (vorn_changes_contains_class(changes, class_name) ||
        vorn_changes_contains_class(changes, "interface") ||
        vorn_changes_contains_class(changes, "radio"))
        judge_class(info, class_name, judge);
}

static const char *tell(vorn_instance *ssh, const char *property, vorn_refresh_info *info)
{
    (void)ssh;
    (void)info;
    if (strcmp(property, "host-key") == 0) return host_key_told(host_key);
    return failure[0] != '\0' ? failure : supervise_state(server);
}

static int is_interface(const char *value)
{
    return *value == '\0' || is_link_name(value);
}

static void declare_settings(vorn_class *ssh)
{
    static const char *const root_words[] = {"off", "keys", "on", NULL};
    describe_class(ssh, "SSH", "Logins over the network, at a shell.", "Access", 630);
    declare_input(ssh, "enabled", VORN_INPUT_ON_OFF);
    describe(ssh, "enabled", "Enabled", "Whether somebody can log in.", "on");
    declare_number(ssh, "port", 1, 65535, 0);
    describe(ssh, "port", "Port", "22 if it isn't set.", "22");
    declare_name(ssh, "interface", "interface", is_interface, VORN_INPUT_NOTHING);
    describe(ssh, "interface", "Interface",
             "Whose addresses are listened on; every one if it isn't set.", "br-lan");
    declare_input(ssh, "passwords", VORN_INPUT_ON_OFF);
    describe(ssh, "passwords", "Passwords",
             "Whether a password is enough, besides keys; off if it isn't set.", "off");
    declare_one_of(ssh, "root", root_words);
    describe(ssh, "root", "Root",
             "Whether root may log in: not at all, with a key, which it is if it isn't set, or as "
             "everybody else.",
             "keys");
}

void vorn_plugin_init(void)
{
    static const char *const told[] = {"state", "host-key", NULL};
    if (vorn_plugin_new("1.0") == NULL) return;

    server = supervise_new("dropbear");
    vorn_class *ssh = declare_class(class_name, VORN_CLASS_SINGLETON);
    vorn_refresher *refresher = vorn_refresher_new(class_name);
    vorn_provider *provider = vorn_provider_new(class_name);
    if (server == NULL || ssh == NULL || refresher == NULL || provider == NULL) return;

    declare_settings(ssh);
    declare_told(ssh, told, refresher, tell);
    describe(ssh, "state", "State", "Whether dropbear runs, or why not.", NULL);
    describe(ssh, "host-key", "Host key",
             "The device's own public key, by which clients know it; empty until it has one.",
             NULL);
    vorn_classes_add(ssh);
    if (keys_declare() != 0) return;

    vorn_provider_set_commit_fn(provider, commit, NULL);
    vorn_provider_set_check_fn(provider, check, NULL);
    vorn_provider_set_explain_fn(provider, explain, NULL);
    vorn_provider_set_refresh_fn(provider, vorn_refresher_fn, refresher);
    vorn_providers_add(provider);
    vorn_providers_order("network", class_name);
    vorn_providers_order("ssh-key", class_name);
    vorn_providers_order(class_name, "save");
    links_watch(addresses_changed, RTMGRP_IPV4_IFADDR | RTMGRP_IPV6_IFADDR);
}
