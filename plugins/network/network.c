/* SPDX-License-Identifier: MIT */
/*
 * The device's network interfaces: address, MTU and status through ip(8), traffic counters from
 * the kernel whenever somebody reads them. Each commit runs only what its change asks for; all of
 * it runs again when the inform interface tells that the hardware was away.
 */
#include <stdio.h>
#include <string.h>

#include "counters.h"
#include "declare.h"

DECLARE_VALIDITY(is_address_or_none, length == 0 || vorn_input_is_ip(value, length))
DECLARE_VALIDITY(is_prefix, vorn_input_is_int_in_range(value, length, 0, 32))
DECLARE_VALIDITY(is_mtu, vorn_input_is_int_in_range(value, length, 68, 65535))
DECLARE_VALIDITY(is_status, vorn_input_is_up_down(value, length))

static void read_counters(const void *argument, char *lines, int room, char *buffer)
{
    (void)argument;
    (void)buffer;
    counters_read(lines, room);
}

static const char *const counter_columns[] = {"name",     "rx-bytes",   "rx-packets",
                                              "tx-bytes", "tx-packets", NULL};
static vorn_util_txt_table counters = {.read = read_counters,
                                       .parse = vorn_util_put2object,
                                       .parse_argument = "interface",
                                       .columns = counter_columns};
static vorn_util_txt_table *const tables[] = {&counters, NULL};

static const char *counter(vorn_instance *instance, const char *property, vorn_refresh_info *info)
{
    (void)info;
    return vorn_util_txt_tables_get_val(instance, tables, property);
}

static const char *value_of(const vorn_instance *instance, const char *property)
{
    const char *value = instance != NULL ? vorn_instance_get_value(instance, property) : NULL;
    return value != NULL ? value : "";
}

static int changed(const vorn_instance *now, const vorn_instance *before, const char *property)
{
    return strcmp(value_of(now, property), value_of(before, property)) != 0;
}

/* Runs ip(8) with up to six words behind the object; says so when it fails. */
static void run_ip(const char *const words[])
{
    char *arguments[9] = {(char *)"ip"};
    for (int i = 0; i < 7 && words[i] != NULL; i++)
        arguments[i + 1] = (char *)words[i];
    if (vorn_command_execv(arguments) != 0) {
        vorn_debug_eprintf("network: ip %s %s for %s failed.\n", words[0], words[1], words[3]);
    }
}

static void set_address(const char *name, const char *address, const char *prefix)
{
    char with_prefix[32];

    run_ip((const char *const[]){"addr", "flush", "dev", name, "scope", "global", NULL});
    if (*address == '\0') return;
    snprintf(with_prefix, sizeof with_prefix, "%s/%s", address, *prefix ? prefix : "32");
    run_ip((const char *const[]){"addr", "add", "dev", name, with_prefix, NULL});
}

static void interface_changed(vorn_instance *now, vorn_instance *before, vorn_commit_info *info)
{
    (void)info;
    const char *name = vorn_instance_get_name(now != NULL ? now : before);

    if (changed(now, before, "mtu") && *value_of(now, "mtu") != '\0') {
        run_ip(
            (const char *const[]){"link", "set", "dev", name, "mtu", value_of(now, "mtu"), NULL});
    }
    if (changed(now, before, "address") || changed(now, before, "prefix")) {
        set_address(name, value_of(now, "address"), value_of(now, "prefix"));
    }
    if (changed(now, before, "status")) {
        const char *status = now != NULL && vorn_instance_get_status(now) ? "up" : "down";
        run_ip((const char *const[]){"link", "set", "dev", name, status, NULL});
    }
}

/* object=interface&name=NAME: hardware that was away is back, and has forgotten everything. */
static int interface_is_back(void)
{
    const char *name = vorn_inform_get_value("name");
    vorn_instance *interface =
        name != NULL ? vorn_instances_get(vorn_config_get_running(), "interface", name) : NULL;
    if (interface == NULL) return 1;

    interface_changed(interface, NULL, NULL);
    return 0;
}

static vorn_refresher *make_refresher(void)
{
    vorn_refresher *refresher = vorn_refresher_new("interface");
    if (refresher != NULL) vorn_util_txt_tables_add_refresh(tables, refresher, counter);
    return refresher;
}

void vorn_plugin_init(void)
{
    if (vorn_plugin_new("1.0") == NULL) return;

    vorn_class *interface = declare_class("interface", VORN_CLASS_UNIQUE_NAMED);
    vorn_committer *committer = vorn_committer_new();
    if (interface == NULL || committer == NULL) return;

    declare_setting(interface, "address", is_address_or_none);
    declare_setting(interface, "prefix", is_prefix);
    declare_setting(interface, "mtu", is_mtu);
    declare_setting(interface, "status", is_status);
    vorn_util_txt_tables_add_properties(tables, interface);
    vorn_classes_add(interface);

    vorn_committer_set_instance_change_fn(committer, "interface", interface_changed, 1);
    declare_provider("network", committer, make_refresher());
    vorn_providers_order("system", "network");
    vorn_inform_fn_add("interface", interface_is_back);
}
