/* SPDX-License-Identifier: MIT */
/*
 * Shows how the daemon itself is doing: its plugins, its clients, what it keeps and what keeps
 * ending. What is left out of the daemon, somebody has to be able to see.
 */
#include <inttypes.h>
#include <stdio.h>
#include <string.h>
#include <time.h>

#include "declare.h"
#include "describe.h"
#include "replace.h"
#include "values.h"

enum { most_listed = 20, longest_list = 2048 };

static const char plugin_class[] = "plugin";
static const char *const plugin_properties[] = {"version", "state",  "deaths", "callback",
                                                "signal",  "schema", NULL};
static const char daemon_class[] = "daemon";
static const char *const daemon_properties[] = {"version",
                                                "since",
                                                "uptime",
                                                "clients",
                                                "subscribers",
                                                "left-behind",
                                                "left-behind-instances",
                                                "kept",
                                                "failing-services",
                                                "schema",
                                                NULL};

static const char *const about_others[] = {"left-behind", "left-behind-instances", "kept", NULL};

static int64_t started; /* by the clock that setting the time does not move */

static int64_t now(void)
{
    struct timespec time;
    clock_gettime(CLOCK_MONOTONIC, &time);
    return time.tv_sec;
}

static void set_number(vorn_instance *instance, const char *property, uint64_t number)
{
    char text[24];
    snprintf(text, sizeof text, "%" PRIu64, number);
    vorn_instance_set_value(instance, property, text);
}

static void set_state(vorn_instance *plugin, unsigned int rank)
{
    static const char *const words[] = {"running", "left out",
                                        "left out: built for another version",
                                        "left out: it can't be loaded"};
    const int state = vorn_plugins_get_state(rank);
    const int signal = vorn_plugins_get_signal(rank);
    char text[120];
    int length = snprintf(text, sizeof text, "%s", words[state]);
    if (state == VORN_PLUGIN_LEFT_OUT) {
        length =
            snprintf(text, sizeof text, "left out: the daemon died %u times in its %s function",
                     vorn_plugins_get_deaths(rank), vorn_plugins_get_callback(rank));
    }
    if (state == VORN_PLUGIN_LEFT_OUT && signal > 0)
        snprintf(text + length, sizeof text - (size_t)length, " of signal %d", signal);
    vorn_instance_set_value(plugin, "state", text);
}

/* What it declared of the configurations of its classes: "radio 3". */
static void set_schema(vorn_instance *plugin, unsigned int rank)
{
    char text[120];
    const char *name;
    for (unsigned int i = 0; (name = vorn_schema_get_name(i)) != NULL; i++) {
        if (strcmp(vorn_schema_get_plugin(name), vorn_plugins_get_name(rank)) != 0) continue;
        snprintf(text, sizeof text, "%s %u", name, vorn_schema_get_version(name));
        vorn_instance_set_value(plugin, "schema", text);
    }
}

static void add_plugin(vorn_instances *plugins, unsigned int rank)
{
    vorn_instance *plugin =
        vorn_instance_new(vorn_classes_get(plugin_class), vorn_plugins_get_name(rank));
    if (plugin == NULL) return;
    vorn_instance_set_value(plugin, "version", vorn_plugins_get_version(rank));
    set_state(plugin, rank);
    set_number(plugin, "deaths", vorn_plugins_get_deaths(rank));
    vorn_instance_set_value(plugin, "callback", vorn_plugins_get_callback(rank));
    set_schema(plugin, rank);
    if (vorn_plugins_get_signal(rank) > 0)
        set_number(plugin, "signal", (uint64_t)vorn_plugins_get_signal(rank));
    if (vorn_instances_add(plugins, plugin) != 0) vorn_instance_delete(plugin);
}

static void show_plugins(vorn_instances *store)
{
    vorn_instances *plugins = vorn_instances_new();
    if (plugins == NULL) return;
    for (unsigned int rank = 0; vorn_plugins_get_name(rank) != NULL; rank++)
        add_plugin(plugins, rank);
    replace_instances(store, plugin_class, plugins, plugin_properties);
    vorn_instances_delete_all(plugins);
}

/* With commas between them, as many as there is room for. */
static void set_list(vorn_instance *daemon, const char *property,
                     const char *(*get)(unsigned int rank))
{
    char text[longest_list] = "";
    size_t used = 0;
    const char *each;
    for (unsigned int rank = 0; (each = get(rank)) != NULL; rank++) {
        const char *comma = rank > 0 ? ", " : "";
        const size_t room = sizeof text - used;
        if (rank == most_listed || strlen(comma) + strlen(each) + sizeof ", ..." > room) {
            snprintf(text + used, room, ", ...");
            break;
        }
        used += (size_t)snprintf(text + used, room, "%s%s", comma, each);
    }
    vorn_instance_set_value(daemon, property, text);
}

static void show_daemon(vorn_instance *daemon)
{
    char since[TIME_TEXT];
    const int64_t uptime = now() - started;
    vorn_instance_set_value(daemon, "version", vorn_get_version());
    vorn_instance_set_value(daemon, "since", time_text((int64_t)time(NULL) - uptime, since));
    set_number(daemon, "uptime", (uint64_t)uptime);
    set_number(daemon, "clients", vorn_socket_get_clients());
    set_number(daemon, "subscribers", vorn_notify_get_subscribers());
    set_number(daemon, "left-behind", vorn_instances_get_left_behind_bytes());
    set_number(daemon, "left-behind-instances", vorn_instances_get_left_behind());
    vorn_instance_set_value(daemon, "schema", vorn_schema_get_id());
    set_list(daemon, "kept", vorn_config_get_kept);
    set_list(daemon, "failing-services", vorn_service_get_failing);
}

static void refresh(vorn_refresh_info *info, void *data)
{
    (void)data;
    vorn_instances *store = vorn_refresh_info_get_instances(info);
    if (vorn_refresh_info_contains_class(info, plugin_class)) show_plugins(store);
    if (!vorn_refresh_info_contains_class(info, daemon_class)) return;
    vorn_instance *daemon = vorn_instances_get_singleton(store, daemon_class);
    if (daemon != NULL) show_daemon(daemon);
}

/* object=plugin&action=retry&name=wireless.vorn; the ending may be left out */
static int tell_plugin(void)
{
    char file[80];
    const char *action = vorn_inform_get_value("action");
    const char *name = vorn_inform_get_value("name");
    if (action == NULL || name == NULL || strcmp(action, "retry") != 0) return 1;
    vorn_commit_report_set_result("plugin is tried again");
    if (vorn_plugins_retry(name) == 0) return 0;
    const int length = snprintf(file, sizeof file, "%s.vorn", name);
    return length < 0 || length >= (int)sizeof file ? 1 : vorn_plugins_retry(file);
}

static void describe_plugins(vorn_class *klass)
{
    describe_class(klass, "Plugin", "A part of the daemon.", "Daemon", 900);
    describe(klass, "version", "Version", "Of the interface that it was built for.", NULL);
    describe(klass, "state", "State", "Whether it takes part, or why not.", NULL);
    describe(klass, "deaths", "Deaths", "How often in a row the daemon has died in it.", NULL);
    describe(klass, "callback", "Function", "In which of its functions the last time.", NULL);
    describe(klass, "signal", "Signal", "Of which signal.", NULL);
    describe(klass, "schema", "Schema", "The name and version of its part of configurations.",
             NULL);
}

static void describe_daemon(vorn_class *klass)
{
    describe_class(klass, "Daemon", "How the daemon itself is doing.", "Daemon", 910);
    describe(klass, "version", "Version", "Of the daemon.", NULL);
    describe(klass, "since", "Since", "When it started.", NULL);
    describe(klass, "uptime", "Uptime", "How long it runs.", NULL);
    describe_unit(klass, "uptime", "seconds");
    describe(klass, "clients", "Clients", "Who is connected to it.", NULL);
    describe(klass, "subscribers", "Subscribers", "Who hears notices.", NULL);
    describe(klass, "left-behind", "Left behind",
             "How much is kept of what was replaced, because somebody may still hold it.", NULL);
    describe_unit(klass, "left-behind", "bytes");
    describe(klass, "left-behind-instances", "Instances left behind",
             "How many instances that are.", NULL);
    describe(klass, "kept", "Kept", "What could not be read and is saved as it was.", NULL);
    describe(klass, "failing-services", "Failing services", "Those that end again and again.",
             NULL);
    describe(klass, "schema", "Schema", "The id of the schema.", NULL);
}

void vorn_plugin_init(void)
{
    if (vorn_plugin_new("1.0") == NULL ||
        declare_shown(plugin_class, VORN_CLASS_UNIQUE_NAMED, plugin_properties) != 0 ||
        declare_shown(daemon_class, VORN_CLASS_SINGLETON, daemon_properties) != 0 ||
        declare_about_others(vorn_classes_get(daemon_class), about_others) != 0)
        return;

    describe_plugins(vorn_classes_get(plugin_class));
    describe_daemon(vorn_classes_get(daemon_class));
    vorn_provider *provider = vorn_provider_new("plugins");
    if (provider == NULL) return;
    started = now();
    vorn_provider_set_refresh_fn(provider, refresh, NULL);
    vorn_provider_set_asks_first(provider);
    vorn_providers_add(provider);
    vorn_inform_fn_add("plugin", tell_plugin);
}
