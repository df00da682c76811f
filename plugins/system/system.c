/* SPDX-License-Identifier: MIT */
/*
 * Who and where this device is, and how it is doing. The host name and the time zone are applied;
 * contact and location are for people.
 */
#include <stdio.h>
#include <string.h>

#include "buttons.h"
#include "declare.h"
#include "describe.h"
#include "host_name.h"
#include "reboot.h"
#include "repair.h"
#include "state.h"
#include "time_zone.h"
#include "values.h"
#include "vorn-plugin/repair.h"

/*
 * What is applied, by which function, which one tells whether the system still has it, and whether
 * that failed the last time.
 */
static struct setting {
    const char *property;
    const char *description;
    int (*apply)(const char *value);
    int (*is_left)(const char *value);
    int has_failed;
} settings[] = {{"hostname", "host name", host_name_apply, host_name_is_left, 0},
                {"time-zone", "time zone", time_zone_apply, time_zone_is_left, 0}};

enum { setting_count = sizeof settings / sizeof *settings };

static int is_due(const struct setting *setting, const vorn_instance *now,
                  const vorn_instance *before)
{
    const char *value = vorn_instance_get_value(now, setting->property);
    const char *old = before != NULL ? vorn_instance_get_value(before, setting->property) : NULL;
    const int is_same = value == NULL || (old != NULL && strcmp(value, old) == 0);
    return !is_same || setting->has_failed || (value != NULL && !setting->is_left(value));
}

static void apply(struct setting *setting, const vorn_instance *now, vorn_explanation *explanation)
{
    (void)explanation;
    const char *value = vorn_instance_get_value(now, setting->property);
    setting->has_failed = value != NULL && setting->apply(value) != 0;
    if (setting->has_failed) {
        vorn_debug_eprintf("system: can't set the %s to \"%s\".\n", setting->description, value);
        vorn_commit_report_add_failure("system: can't set the %s", setting->description);
    }
}

/* Calls back for each setting that is to be applied. */
static void for_each_due(vorn_commit_info *info,
                         void (*call)(struct setting *setting, const vorn_instance *now,
                                      vorn_explanation *explanation),
                         vorn_explanation *explanation)
{
    const vorn_changes *changes = vorn_commit_info_get_changes(info);
    const vorn_instance *now =
        vorn_instances_get_singleton(vorn_commit_info_get_after(info), "system");
    settings[0].has_failed |= host_name_has_failed();
    if (now == NULL) return;

    const vorn_instance *before = vorn_changes_contains_class(changes, "system")
                                      ? vorn_changes_get_instance_before(changes, now)
                                      : now;
    for (int i = 0; i < setting_count; i++)
        if (is_due(&settings[i], now, before)) call(&settings[i], now, explanation);
}

static const char *const own_classes[] = {"system", NULL};

static void commit(vorn_commit_info *info)
{
    if (repair_concerns(info, own_classes)) for_each_due(info, apply, NULL);
}

static void tell(struct setting *setting, const vorn_instance *now, vorn_explanation *explanation)
{
    const char *value = vorn_instance_get_value(now, setting->property);
    if (value == NULL) return;
    vorn_explanation_add(explanation, VORN_EXPLAIN_LIVE, "the %s is set to \"%s\"",
                         setting->description, value);
}

static void explain(vorn_commit_info *info, vorn_explanation *explanation)
{
    if (repair_concerns(info, own_classes)) for_each_due(info, tell, explanation);
}

static void check(vorn_check_info *info, void *data)
{
    (void)data;
    const vorn_instance *now =
        vorn_instances_get_singleton(vorn_check_info_get_instances(info), "system");
    const vorn_changes *changes = vorn_check_info_get_changes(info);
    const char *zone = now != NULL ? vorn_instance_get_value(now, "time-zone") : NULL;
    if (zone == NULL || !vorn_changes_contains_instance(changes, now)) return;
    if (time_zone_exists(zone)) return;
    vorn_check_info_refuse(info, now, "time-zone",
                           "the device has no zone \"%s\", and a rule begins with a name and its "
                           "distance from UTC, such as CET-1CEST,M3.5.0,M10.5.0/3",
                           zone);
}

static const char *what_differs(const vorn_instance *system)
{
    static char text[64];
    for (int i = 0; i < setting_count; i++) {
        const char *value = vorn_instance_get_value(system, settings[i].property);
        if (value == NULL || settings[i].is_left(value)) continue;
        snprintf(text, sizeof text, "differs: the %s is another one", settings[i].description);
        return text;
    }
    return "applied";
}

static const char *state(vorn_instance *instance, const char *property, vorn_refresh_info *info)
{
    static char text[256];
    (void)property;
    (void)info;
    settings[0].has_failed |= host_name_has_failed();
    if (host_name_progress() != NULL) return host_name_progress();
    for (int i = 0; i < setting_count; i++) {
        const char *words = i == 0 ? host_name_words() : "";
        if (!settings[i].has_failed) continue;
        snprintf(text, sizeof text, "failed: can't set the %s%s%s", settings[i].description,
                 *words != '\0' ? ": " : "", words);
        return text;
    }
    return vorn_process_no_actions ? "applied" : what_differs(instance);
}

static void declare_settings(vorn_class *system)
{
    describe_class(system, "Device", "Who and where this device is, and how it is doing.", "System",
                   100);
    declare_input(system, "hostname", VORN_INPUT_DOMAIN_LABEL);
    describe(system, "hostname", "Host name", "What this device is called.", "lobby");
    declare_text(system, "contact", 0, longest_text);
    describe(system, "contact", "Contact", "Who takes care of it.", "ops@example.org");
    declare_text(system, "location", 0, longest_text);
    describe(system, "location", "Location", "Where it is.", "Upstairs, to the left");
    declare_setting(
        system, "time-zone", time_zone_is_valid,
        "<a zone such as Europe/Berlin>|<a rule such as CET-1CEST,M3.5.0,M10.5.0/3>|<nothing>");
    vorn_property_accept_text(vorn_class_get_property(system, "time-zone"), 0, longest_zone);
    describe(system, "time-zone", "Time zone", "Where the clock is read; UTC if it isn't set.",
             "Europe/Berlin");
    declare_state(system, "state");
    describe(system, "state", "State", "Whether it is set as it says, or why not.", NULL);
}

void vorn_plugin_init(void)
{
    if (vorn_plugin_new("1.0") == NULL) return;

    vorn_class *system = declare_class("system", VORN_CLASS_SINGLETON);
    vorn_provider *provider = vorn_provider_new("system");
    vorn_refresher *refresher = vorn_refresher_new("system");
    if (system == NULL || provider == NULL || refresher == NULL) return;

    declare_settings(system);
    state_declare(system, refresher);
    reboot_declare(system, refresher);
    vorn_classes_add(system);

    vorn_refresher_set_property_fn(refresher, "state", state);
    vorn_provider_set_commit_fn(provider, commit, NULL);
    vorn_provider_set_explain_fn(provider, explain, NULL);
    vorn_provider_set_check_fn(provider, check, NULL);
    vorn_provider_set_refresh_fn(provider, vorn_refresher_fn, refresher);
    vorn_providers_add(provider);
    vorn_providers_order("system", "save");
    repair_declare();
    buttons_declare();
    reboot_serve();
}
