/* SPDX-License-Identifier: MIT */
/*
 * What the device's buttons do, by how long they were held. They act when they are let go, so that
 * who has pressed the wrong one can still go on to nothing, and the longest hold that was reached
 * decides.
 */
#include "buttons.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

#include "declare.h"
#include "describe.h"
#include "judge.h"
#include "key_events.h"
#include "reboot.h"
#include "values.h"

static const char class_name[] = "button";

enum { longest_hold = 60, shortest_reset = 3, longest_name = 78 };

static const struct deed {
    const char *property;
    const char *name;
    int (*run)(void);
} deeds[] = {{"restart-after", "restart", reboot_restart},
             {"factory-reset-after", "factory-reset", reboot_to_factory}};

enum { deed_count = sizeof deeds / sizeof *deeds };

static const struct {
    const char *word;
    unsigned int code;
} keys[] = {{"restart", KEY_RESTART},
            {"wps", KEY_WPS_BUTTON},
            {"rfkill", KEY_RFKILL},
            {"power", KEY_POWER}};

enum { key_count = sizeof keys / sizeof *keys };

/* The last press of a button. */
static struct press {
    struct press *next;
    char *button;
    int64_t at; /* seconds since 1970 */
    int64_t held_ms;
    const char *action;
} * presses;

static unsigned int code_of(const vorn_instance *button)
{
    const char *key = value_of(button, "key");
    for (int i = 0; i < key_count; i++)
        if (strcmp(key, keys[i].word) == 0) return keys[i].code;
    return (unsigned int)atoi(key);
}

static int is_enabled(const vorn_instance *button)
{
    return strcmp(value_of(button, "enabled"), "off") != 0 && code_of(button) != 0;
}

typedef int (*button_fn)(const vorn_instance *button, void *data);

/* Until the function answers other than 0; returns the button that it did that for, or null. */
static const vorn_instance *find_button(const vorn_instances *configuration, button_fn is_it,
                                        void *data)
{
    const vorn_instance *found = NULL;
    vorn_instances_iterator *walk = vorn_instances_new_class_iterator(configuration, class_name);
    while (walk != NULL && found == NULL && vorn_instances_iterator_has_next(walk)) {
        const vorn_instance *each = vorn_instances_iterator_next(walk);
        if (is_enabled(each) && is_it(each, data)) found = each;
    }
    vorn_instances_delete_iterator(walk);
    return found;
}

static struct press **find_press(const char *button)
{
    struct press **at = &presses;
    while (*at != NULL && strcmp((*at)->button, button) != 0)
        at = &(*at)->next;
    return at;
}

static void forget_press(const char *button)
{
    struct press **at = find_press(button);
    struct press *gone = *at;
    if (gone == NULL) return;
    *at = gone->next;
    free(gone->button);
    free(gone);
}

/* Without memory it is not told. */
static void note_press(const char *button, int64_t held_ms, const char *action)
{
    forget_press(button);
    struct press *made = malloc(sizeof *made);
    if (made == NULL) return;
    *made = (struct press){presses, strdup(button), time(NULL), held_ms, action};
    if (made->button == NULL) {
        free(made);
        return;
    }
    presses = made;
}

static const struct deed *find_deed(const vorn_instance *button, int64_t held_ms)
{
    const struct deed *decided = NULL;
    int longest = -1;
    for (int i = 0; i < deed_count; i++) {
        const char *after = value_of(button, deeds[i].property);
        if (*after == '\0' || atoi(after) <= longest || held_ms < atoi(after) * (int64_t)1000)
            continue;
        longest = atoi(after);
        decided = &deeds[i];
    }
    return decided;
}

static int is_pressed(const vorn_instance *button, void *data)
{
    const key_release *release = data;
    return code_of(button) == release->code &&
           key_events_is_meant(value_of(button, "device"), release->device, release->file);
}

static void act(const key_release *release)
{
    const vorn_instances *configuration = vorn_config_get_running();
    const vorn_instance *button =
        configuration != NULL ? find_button(configuration, is_pressed, (void *)release) : NULL;
    if (button == NULL) return;
    const char *name = vorn_instance_get_name(button);
    const struct deed *deed = find_deed(button, release->held_ms);
    const char *action = deed != NULL ? deed->name : "none";
    vorn_debug_eprintf("system: the button \"%s\" was held for %lld ms: %s.\n", name,
                       (long long)release->held_ms, action);
    if (deed != NULL && deed->run() != 0) action = "failed";
    note_press(name, release->held_ms, action);
}

static int want(const vorn_instance *button, void *data)
{
    key_set_add(data, code_of(button));
    return 0;
}

static void forget_deleted(const vorn_changes *changes)
{
    vorn_instances_iterator *walk =
        vorn_changes_new_deleted_class_instances_iterator(changes, class_name);
    while (walk != NULL && vorn_instances_iterator_has_next(walk))
        forget_press(vorn_instance_get_name(vorn_instances_iterator_next(walk)));
    vorn_instances_delete_iterator(walk);
}

static void commit(vorn_commit_info *info)
{
    key_set wanted = {{0}};
    if (vorn_process_no_actions) return;
    forget_deleted(vorn_commit_info_get_changes(info));
    find_button(vorn_commit_info_get_after(info), want, &wanted);
    key_events_listen(&wanted);
}

struct telling {
    const vorn_changes *changes;
    vorn_explanation *explanation;
};

static int tell(const vorn_instance *button, void *data)
{
    const struct telling *telling = data;
    if (!vorn_changes_contains_instance(telling->changes, button)) return 0;
    for (int i = 0; i < deed_count; i++) {
        const char *after = value_of(button, deeds[i].property);
        if (*after == '\0') continue;
        vorn_explanation_add(telling->explanation, VORN_EXPLAIN_NOTHING,
                             "who holds the button \"%s\" for %s s asks for %s",
                             vorn_instance_get_name(button), after, deeds[i].name);
    }
    return 0;
}

static void explain(vorn_commit_info *info, vorn_explanation *explanation)
{
    struct telling telling = {vorn_commit_info_get_changes(info), explanation};
    find_button(vorn_commit_info_get_after(info), tell, &telling);
}

static int is_same_key(const vorn_instance *other, void *data)
{
    const vorn_instance *button = data;
    const char *mine = value_of(button, "device");
    const char *device = value_of(other, "device");
    return strcmp(vorn_instance_get_name(other), vorn_instance_get_name(button)) != 0 &&
           code_of(other) == code_of(button) &&
           (*mine == '\0' || *device == '\0' || strcmp(mine, device) == 0);
}

static int judge(const vorn_instances *configuration, const vorn_instance *button, fault *found)
{
    const char *restart = value_of(button, "restart-after");
    if (!is_enabled(button)) return 0;
    if (*restart != '\0' && strcmp(restart, value_of(button, "factory-reset-after")) == 0)
        return fault_is(found, "restart-after", "a factory reset would be after the same time");
    const vorn_instance *other = find_button(configuration, is_same_key, (void *)button);
    if (other == NULL) return 0;
    return fault_is(found, "key", "it is the key of the button \"%s\"",
                    vorn_instance_get_name(other));
}

static void check(vorn_check_info *info, void *data)
{
    (void)data;
    if (vorn_changes_contains_class(vorn_check_info_get_changes(info), class_name))
        judge_class(info, class_name, judge);
}

static const char *state_of(const vorn_instance *button)
{
    static char text[192];
    const char *device = value_of(button, "device");
    if (!is_enabled(button)) return "off";
    if (vorn_process_no_actions || key_events_has(device, code_of(button))) return "applied";
    const char *failure = key_events_failure(device);
    if (failure != NULL) {
        snprintf(text, sizeof text, "failed: %s", failure);
    } else {
        snprintf(text, sizeof text, "waiting for %s",
                 *device != '\0' ? device : "a device with it");
    }
    return text;
}

static const char *told(vorn_instance *button, const char *property, vorn_refresh_info *info)
{
    static char text[TIME_TEXT];
    (void)info;
    if (strcmp(property, "state") == 0) return state_of(button);
    const struct press *last = *find_press(vorn_instance_get_name(button));
    if (last == NULL) return "";
    if (strcmp(property, "last-action") == 0) return last->action;
    if (strcmp(property, "last-press") == 0) return time_text(last->at, text);
    snprintf(text, sizeof text, "%lld", (long long)last->held_ms);
    return text;
}

static int declare_key(vorn_class *button)
{
    const char *words[key_count + 1] = {NULL};
    for (int i = 0; i < key_count; i++)
        words[i] = keys[i].word;
    return declare_one_of(button, "key", words) ||
           vorn_property_accept_number(vorn_class_get_property(button, "key"), 1, KEY_MAX, 1) ||
           declare_needed(button, "key") ||
           describe(button, "key", "Key",
                    "Which one, as the kernel has it: by its code, or one of those that such "
                    "devices have.",
                    "restart");
}

static void declare_settings(vorn_class *button)
{
    describe_class(button, "Button", "What a button of the device does when it is let go.",
                   "System", 145);
    declare_key(button);
    declare_characters(button, "device", " ~", 0, longest_name);
    describe(button, "device", "Device",
             "The input device that has it, by the kernel's name for it or by its file; any if it "
             "isn't set.",
             "gpio-keys");
    declare_number(button, "restart-after", 0, longest_hold, VORN_INPUT_NOTHING);
    describe(button, "restart-after", "Restart after",
             "How long it is held, at least, for the device to restart; it does not if it isn't "
             "set.",
             "0");
    describe_unit(button, "restart-after", "seconds");
    declare_number(button, "factory-reset-after", shortest_reset, longest_hold, VORN_INPUT_NOTHING);
    describe(button, "factory-reset-after", "Factory reset after",
             "How long it is held, at least, for the device to go back to its first "
             "configuration; it does not if it isn't set.",
             "10");
    describe_unit(button, "factory-reset-after", "seconds");
    declare_input(button, "enabled", VORN_INPUT_ON_OFF);
    describe(button, "enabled", "Enabled", "Whether it does anything; it does if it isn't set.",
             "on");
}

static void describe_told(vorn_class *button)
{
    describe(button, "state", "State", "Whether it is listened to, or why not.", NULL);
    describe(button, "last-press", "Last press", "When it was let go last, since the start.", NULL);
    describe(button, "last-held", "Last held", "How long it was held then.", NULL);
    describe_unit(button, "last-held", "milliseconds");
    describe(button, "last-action", "Last action", "What it did then.", NULL);
}

void buttons_declare(void)
{
    static const char *const properties[] = {"state", "last-press", "last-held", "last-action",
                                             NULL};
    vorn_class *button = declare_class(class_name, VORN_CLASS_UNIQUE_NAMED);
    vorn_refresher *refresher = vorn_refresher_new(class_name);
    vorn_provider *provider = vorn_provider_new("buttons");
    if (button == NULL || refresher == NULL || provider == NULL) return;
    declare_settings(button);
    declare_told(button, properties, refresher, told);
    describe_told(button);
    if (vorn_classes_add(button) != 0) return;
    key_events_tell(act);
    vorn_provider_set_commit_fn(provider, commit, NULL);
    vorn_provider_set_check_fn(provider, check, NULL);
    vorn_provider_set_explain_fn(provider, explain, NULL);
    vorn_provider_set_refresh_fn(provider, vorn_refresher_fn, refresher);
    vorn_providers_add(provider);
    vorn_providers_order("buttons", "save");
}
