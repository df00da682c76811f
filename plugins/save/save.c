/* SPDX-License-Identifier: MIT */
/*
 * Keeps what was changed: the last provider of every commit writes the startup file. What is
 * committed before the event loop runs is the boot load, whose content just came from that file.
 * Nobody can refuse a commit, so what came of it is there to be asked for.
 */
#include <stdio.h>
#include <string.h>

#include "declare.h"
#include "describe.h"
#include "effects.h"
#include "values.h"

enum { most_listed = 8, longest_listed = 80 };

static int booted;

/* What was changed since the last save that succeeded, each once. */
static struct list {
    char instances[most_listed][longest_listed];
    int count;
    int has_more;
} listed;

/* The list as it was when saving was held, while what came after that is not saved. */
static struct list listed_before_hold;
static int was_held;

static void boot_is_over(void *eloop_data, void *user_data)
{
    (void)eloop_data;
    (void)user_data;
    booted = 1;
}

static void list_instance(const vorn_instance *instance)
{
    char text[longest_listed];
    const char *class_name = vorn_instance_get_class_name(instance);
    const char *name = vorn_instance_get_name(instance);
    const int length = snprintf(text, sizeof text, name != NULL ? "%s \"%s\"" : "%s", class_name,
                                name != NULL ? name : "");
    for (int i = 0; i < listed.count; i++) {
        if (strcmp(listed.instances[i], text) == 0) return;
    }
    if (listed.count == most_listed || length < 0 || length >= longest_listed) {
        listed.has_more = 1;
        return;
    }
    memcpy(listed.instances[listed.count++], text, sizeof text);
}

/* What is on trial is saved when it is confirmed, by that alone; a repair changes nothing. */
static int is_mere_word(const vorn_instance *instance)
{
    const char *class_name = vorn_instance_get_class_name(instance);
    return strcmp(class_name, "trial") == 0 || strcmp(class_name, "repair") == 0;
}

/* Returns how many there are that make a save worth while. */
static int for_each_instance(vorn_instances_iterator *instances,
                             void (*call)(const vorn_instance *instance))
{
    int count = 0;
    while (instances != NULL && vorn_instances_iterator_has_next(instances)) {
        const vorn_instance *instance = vorn_instances_iterator_next(instances);
        if (is_mere_word(instance)) continue;
        if (call != NULL) call(instance);
        count++;
    }
    vorn_instances_delete_iterator(instances);
    return count;
}

static int for_each_change(const vorn_changes *changes, void (*call)(const vorn_instance *instance))
{
    return for_each_instance(vorn_changes_new_class_instances_iterator(changes, NULL), call) +
           for_each_instance(vorn_changes_new_deleted_class_instances_iterator(changes, NULL),
                             call);
}

static void begin_hold(void)
{
    if (was_held) return;
    was_held = 1;
    listed_before_hold = listed;
}

/* The trial has ended with this very commit, and not by a save: the disk has what it had. */
static int takes_back(const vorn_changes *changes)
{
    return was_held && !vorn_config_is_held() && vorn_changes_contains_class(changes, "trial");
}

static int is_anything_unsaved(void)
{
    return listed.count > 0 || listed.has_more;
}

static void save_configuration(vorn_commit_info *info)
{
    const vorn_changes *changes = vorn_commit_info_get_changes(info);

    if (!booted) return;
    const int is_taken_back = takes_back(changes);
    if (is_taken_back) listed = listed_before_hold;
    if (vorn_config_is_held()) begin_hold();
    if (!vorn_config_is_held()) was_held = 0;
    if (is_taken_back ? !is_anything_unsaved() : for_each_change(changes, list_instance) == 0)
        return;
    vorn_config_copy_running_to_startup();
    if (vorn_config_get_save_result() == VORN_SAVE_FAILED)
        vorn_commit_report_add_failure("save: %s", vorn_config_get_save_reason());
}

/* Whoever asked for it. */
static void forget_list(const char *document, size_t size, void *data)
{
    (void)document;
    (void)size;
    (void)data;
    if (vorn_config_get_save_result() != VORN_SAVE_DONE) return;
    listed.count = 0;
    listed.has_more = 0;
    was_held = 0;
}

static void explain(vorn_commit_info *info, vorn_explanation *explanation)
{
    const vorn_actions *actions = vorn_commit_info_get_actions(info);
    if (!booted || for_each_change(vorn_commit_info_get_changes(info), NULL) == 0 ||
        vorn_actions_exists(actions, "save", "take-back", NULL, NULL)) {
        return;
    }
    vorn_explanation_add(explanation, VORN_EXPLAIN_NOTHING,
                         explains_held_save(info) ? "the configuration is not saved: it is held"
                                                  : "the configuration is saved");
}

static const char *last_time(void)
{
    static char text[TIME_TEXT];
    return time_text(vorn_config_get_save_time(), text);
}

static const char *unsaved(void)
{
    static char text[most_listed * (longest_listed + 2) + 32];
    size_t used = 0;
    text[0] = '\0';
    for (int i = 0; i < listed.count; i++)
        used += (size_t)snprintf(text + used, sizeof text - used, "%s%s", i > 0 ? ", " : "",
                                 listed.instances[i]);
    if (listed.has_more)
        snprintf(text + used, sizeof text - used, "%sand more", used > 0 ? ", " : "");
    return text;
}

static const char *state(vorn_instance *instance, const char *property, vorn_refresh_info *info)
{
    static const char *const results[] = {"none", "saved", "failed", "held"};
    (void)instance;
    (void)info;
    if (strcmp(property, "time") == 0) return last_time();
    if (strcmp(property, "result") == 0) return results[vorn_config_get_save_result()];
    if (strcmp(property, "reason") == 0) return vorn_config_get_save_reason();
    if (strcmp(property, "unsaved") == 0) return unsaved();
    if (strcmp(property, "boot") == 0) return vorn_config_get_source();
    const char *broken = vorn_config_get_broken();
    return broken != NULL ? broken : "";
}

/* While saving is held the startup file would have it still. */
static int forget_kept(void)
{
    if (vorn_config_is_held()) return 1;
    const char *class_name = vorn_inform_get_value("class");
    if (vorn_config_forget_kept_of(class_name, vorn_inform_get_value("name")) == 0) return 1;
    vorn_config_copy_running_to_startup();
    return vorn_config_get_save_result() != VORN_SAVE_DONE;
}

/* object=save&action=forget-broken, and action=forget-kept&class=Radio&name=wlan0 */
static int be_told(void)
{
    const char *action = vorn_inform_get_value("action");
    const int forgets_broken = action != NULL && strcmp(action, "forget-broken") == 0;
    const int forgets_kept = action != NULL && strcmp(action, "forget-kept") == 0;
    if (!forgets_broken && !forgets_kept) return 1;
    vorn_commit_report_set_result(forgets_broken ? "broken file forgotten" : "kept forgotten");
    return forgets_broken ? vorn_config_forget_broken() : forget_kept();
}

static vorn_refresher *declare(void)
{
    static const char *const properties[] = {"time", "result", "reason", "unsaved",
                                             "boot", "broken", NULL};
    vorn_class *klass = vorn_class_new("save");
    vorn_refresher *refresher = vorn_refresher_new("save");
    if (klass == NULL || refresher == NULL) return NULL;
    vorn_class_set_type(klass, VORN_CLASS_SINGLETON);
    static const char *const about_others[] = {"reason", "unsaved", NULL};
    if (declare_told(klass, properties, refresher, state) != 0 ||
        declare_about_others(klass, about_others) != 0)
        return NULL;
    describe_class(klass, "Saving", "Whether a restart finds the configuration as it is.",
                   "Configuration", 500);
    describe(klass, "time", "Time", "When a save was tried last.", NULL);
    describe(klass, "result", "Result", "How it went.", NULL);
    describe(klass, "reason", "Reason", "Why it failed or is held.", NULL);
    describe(klass, "unsaved", "Not saved", "What was changed since the last good save.", NULL);
    describe(klass, "boot", "Loaded from", "Where the configuration came from at the start.", NULL);
    describe(klass, "broken", "Unreadable file",
             "Where the startup file is kept that could not be read, until it is forgotten.", NULL);
    return vorn_classes_add(klass) == 0 ? refresher : NULL;
}

void vorn_plugin_init(void)
{
    if (vorn_plugin_new("1.0") == NULL) return;

    vorn_provider *provider = vorn_provider_new("save");
    if (provider == NULL) return;
    vorn_provider_set_commit_fn(provider, save_configuration, NULL);
    vorn_provider_set_explain_fn(provider, explain, NULL);
    vorn_refresher *refresher = declare();
    if (refresher != NULL) vorn_provider_set_refresh_fn(provider, vorn_refresher_fn, refresher);
    vorn_inform_fn_add("save", be_told);
    vorn_config_add_saved_fn(forget_list, NULL);
    vorn_providers_add(provider);
    eloop_register_timeout(0, 0, boot_is_over, NULL, NULL);
}
