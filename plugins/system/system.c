/* SPDX-License-Identifier: MIT */
/*
 * Who and where this device is, and how it is doing. The host name and the time zone are applied;
 * contact and location are for people.
 */
#include <string.h>

#include "declare.h"
#include "state.h"
#include "time_zone.h"

DECLARE_VALIDITY(is_host_name, vorn_input_is_domain_label(value, length))
DECLARE_VALIDITY(is_phrase, vorn_input_is_phrase(value, length))

static void host_name_changed(vorn_instance *instance, const char *property, const char *now,
                              const char *before)
{
    (void)instance;
    (void)property;
    if (now == NULL || (before != NULL && strcmp(now, before) == 0)) return;
    if (vorn_command_execl("hostname", now, (char *)NULL) != 0) {
        vorn_debug_eprintf("system: can't set the host name to \"%s\".\n", now);
    }
}

static void time_zone_changed(vorn_instance *instance, const char *property, const char *now,
                              const char *before)
{
    (void)instance;
    (void)property;
    if (now == NULL || (before != NULL && strcmp(now, before) == 0)) return;
    if (time_zone_apply(now) != 0) {
        vorn_debug_eprintf("system: can't set the time zone to \"%s\".\n", now);
    }
}

void vorn_plugin_init(void)
{
    if (vorn_plugin_new("1.0") == NULL) return;

    vorn_class *system = declare_class("system", VORN_CLASS_SINGLETON);
    vorn_committer *committer = vorn_committer_new();
    vorn_refresher *refresher = vorn_refresher_new("system");
    if (system == NULL || committer == NULL || refresher == NULL) return;

    declare_setting(system, "hostname", is_host_name);
    declare_setting(system, "contact", is_phrase);
    declare_setting(system, "location", is_phrase);
    declare_setting(system, "time-zone", time_zone_is_valid);
    state_declare(system, refresher);
    vorn_classes_add(system);

    vorn_committer_set_property_change_fn(committer, "system", "hostname", host_name_changed);
    vorn_committer_set_property_change_fn(committer, "system", "time-zone", time_zone_changed);
    declare_provider("system", committer, refresher);
}
