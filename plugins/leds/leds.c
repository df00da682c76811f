/* SPDX-License-Identifier: MIT */
/*
 * What the device's LEDs show: instances bear the names that the kernel has for them. The kernel
 * blinks by itself; what it does not know is whether a change is on trial. A trial begins and ends
 * with a commit.
 */
#include <stdio.h>
#include <string.h>

#include "declare.h"
#include "describe.h"
#include "judge.h"
#include "light.h"
#include "outcomes.h"
#include "values.h"

static const char class_name[] = "led";

static outcomes failures = {.class_name = "led"};

static const struct light dark = {.trigger = "none", .brightness = "0"};

static const char *or_else(const char *value, const char *other)
{
    return *value != '\0' ? value : other;
}

static struct light blinking(const char *on_time, const char *off_time)
{
    return (struct light){.trigger = "timer", .on_time = on_time, .off_time = off_time};
}

static struct light steady(const vorn_instance *led)
{
    const char *brightness = value_of(led, "brightness");
    return (struct light){.trigger = "none", .brightness = *brightness != '\0' ? brightness : NULL};
}

static int shows(const vorn_instance *led, const char *what)
{
    return strcmp(value_of(led, "shows"), what) == 0;
}

/* How it is to be; texts are the instance's. */
static struct light light_of(const vorn_instance *led, int is_held)
{
    if (shows(led, "on")) return steady(led);
    if (shows(led, "blinking")) {
        return blinking(or_else(value_of(led, "on-time"), "500"),
                        or_else(value_of(led, "off-time"), "500"));
    }
    if (shows(led, "heartbeat")) return (struct light){.trigger = "heartbeat"};
    if (shows(led, "interface"))
        return (struct light){.trigger = "netdev", .interface = value_of(led, "interface")};
    if (shows(led, "trial") && is_held) return blinking("100", "100");
    return dark;
}

static void apply(const vorn_instance *led)
{
    const char *name = vorn_instance_get_name(led);
    const struct light wanted = light_of(led, vorn_config_is_held());
    outcomes_succeed(&failures, name);
    if (!light_exists(name)) {
        outcomes_explain(&failures, name, "there is no such LED; there are: %s", light_names());
        return;
    }
    const char *failed = light_differs(name, &wanted) ? light_set(name, &wanted) : NULL;
    if (failed == NULL) return;
    outcomes_fail(&failures, name, failed);
    vorn_debug_eprintf("leds: can't set %s: %s.\n", name, failed);
    vorn_commit_report_add_failure("leds: can't set %s: %s", name, failed);
}

static void for_each_led(const vorn_instances *configuration,
                         void (*call)(const vorn_instance *led))
{
    vorn_instances_iterator *walk = vorn_instances_new_class_iterator(configuration, class_name);
    while (walk != NULL && vorn_instances_iterator_has_next(walk))
        call(vorn_instances_iterator_next(walk));
    vorn_instances_delete_iterator(walk);
}

static void put_out(const vorn_instance *before)
{
    const char *name = vorn_instance_get_name(before);
    if (light_exists(name)) light_set(name, &dark);
}

/* Whatever has changed: somebody else may have set them. */
static void commit(vorn_commit_info *info)
{
    if (vorn_process_no_actions) return;
    outcomes_for_each_deleted(&failures, vorn_commit_info_get_changes(info), put_out);
    for_each_led(vorn_commit_info_get_after(info), apply);
}

static vorn_explanation *explained;

static void tell_change(const vorn_instance *led)
{
    const char *name = vorn_instance_get_name(led);
    const struct light wanted = light_of(led, vorn_config_is_held());
    if (!light_exists(name) || !light_differs(name, &wanted)) return;
    vorn_explanation_add(explained, VORN_EXPLAIN_LIVE, "the LED %s changes", name);
}

static void explain(vorn_commit_info *info, vorn_explanation *explanation)
{
    explained = explanation;
    for_each_led(vorn_commit_info_get_after(info), tell_change);
}

static int judge(const vorn_instances *configuration, const vorn_instance *led, fault *found)
{
    (void)configuration;
    if (!light_is_name(vorn_instance_get_name(led))) {
        return fault_is(found, NULL,
                        "an LED's name is 1 to 63 letters, digits, \":\", \"_\", \".\" and \"-\"");
    }
    if (shows(led, "interface") && *value_of(led, "interface") == '\0')
        return fault_is(found, "interface", "it is not said which one is shown");
    return 0;
}

static void check(vorn_check_info *info, void *data)
{
    (void)data;
    if (vorn_changes_contains_class(vorn_check_info_get_changes(info), class_name))
        judge_class(info, class_name, judge);
}

static const char *state(vorn_instance *led, const char *property, vorn_refresh_info *info)
{
    (void)property;
    (void)info;
    const char *failed = outcomes_state(&failures, vorn_instance_get_name(led));
    return failed != NULL ? failed : "applied";
}

static int is_interface(const char *value)
{
    return *value == '\0' || is_link_name(value);
}

static void declare_settings(vorn_class *led)
{
    static const char *const words[] = {"off",       "on",    "blinking", "heartbeat",
                                        "interface", "trial", NULL};
    describe_class(led, "LED", "What an LED of the device shows.", "System", 140);
    declare_one_of(led, "shows", words);
    describe(led, "shows", "Shows",
             "Light, or none; blinking; how busy the device is, as a heartbeat; whether an "
             "interface has a link, and its traffic; whether a change is on trial. Off if it "
             "isn't set.",
             "trial");
    declare_number(led, "brightness", 1, 255, VORN_INPUT_NOTHING);
    describe(led, "brightness", "Brightness",
             "When it shows light; as bright as it can if it isn't set.", "128");
    declare_number(led, "on-time", 10, 60000, VORN_INPUT_NOTHING);
    describe(led, "on-time", "Time on", "When it is blinking; 500 if it isn't set.", "500");
    describe_unit(led, "on-time", "milliseconds");
    declare_number(led, "off-time", 10, 60000, VORN_INPUT_NOTHING);
    describe(led, "off-time", "Time off", "When it is blinking; 500 if it isn't set.", "500");
    describe_unit(led, "off-time", "milliseconds");
    declare_name(led, "interface", "interface", is_interface, VORN_INPUT_NOTHING);
    describe(led, "interface", "Interface", "Which one is shown.", "eth0");
}

void vorn_plugin_init(void)
{
    static const char *const told[] = {"state", NULL};
    if (vorn_plugin_new("1.0") == NULL) return;

    vorn_class *led = declare_class(class_name, VORN_CLASS_UNIQUE_NAMED);
    vorn_refresher *refresher = vorn_refresher_new(class_name);
    vorn_provider *provider = vorn_provider_new("leds");
    if (led == NULL || refresher == NULL || provider == NULL) return;

    declare_settings(led);
    declare_told(led, told, refresher, state);
    describe(led, "state", "State", "Whether it shows that, or why not.", NULL);
    vorn_classes_add(led);

    vorn_provider_set_commit_fn(provider, commit, NULL);
    vorn_provider_set_check_fn(provider, check, NULL);
    vorn_provider_set_explain_fn(provider, explain, NULL);
    vorn_provider_set_refresh_fn(provider, vorn_refresher_fn, refresher);
    vorn_providers_add(provider);
    vorn_providers_order("network", "leds");
    vorn_providers_order("trial", "leds"); /* which says there whether one is pending */
    vorn_providers_order("leds", "save");
}
