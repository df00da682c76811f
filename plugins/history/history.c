/* SPDX-License-Identifier: MIT */
/*
 * Keeps what was saved before, so that a device can go back to it: after each save that differs
 * from the one before, a generation is put beside the others. They are no part of the configuration
 * themselves; how many there are is.
 */
#include "vorn/vorn.h"

#include <inttypes.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "declare.h"
#include "generation.h"
#include "history_folder.h"
#include "proving.h"
#include "replace.h"
#include "schema_id.h"
#include "shelf.h"
#include "shown.h"
#include "values.h"

enum {
    usual_most = 32,
    usual_bytes = 1 << 20,
    most_bytes = 1 << 30,
    fewest_bytes = 4096,
    usual_seconds = 300,
    most_seconds = 86400,
    longest_comment = 200, /* characters */
    comment_room = 4 * longest_comment + 1
};

static const char history_class[] = "history";
static const char generation_class[] = "generation";
static const char *const heads[] = {"time",    "user",   "process", "program", "origin",
                                    "comment", "schema", "commit",  "changes", "bytes",
                                    "proven",  "state",  NULL};

static int booted;
static char comment[comment_room]; /* of the next generation */
static char changes_on_trial[192];
static char result[160] = "none"; /* of the last try */
static char newest_digest[generation_digest_room];
static unsigned long newest_number; /* with that digest; 0 until it has been looked at */
static char *first_document;        /* of a device without a generation, until it may be kept */

static int is_count_or_none(const char *value)
{
    return *value == '\0' || is_plain_number(value, 1, shelf_most);
}

static int is_size_or_none(const char *value)
{
    return *value == '\0' || is_plain_number(value, fewest_bytes, most_bytes);
}

static int is_time_or_none(const char *value)
{
    return *value == '\0' || is_plain_number(value, 0, most_seconds);
}

static int is_comment(const char *value)
{
    return is_text(value) && strlen(value) < comment_room;
}

static int is_generation_or_none(const char *value)
{
    return *value == '\0' || is_plain_number(value, 1, 2000000000);
}

static vorn_instance *settings_in(const vorn_instances *configuration)
{
    return vorn_instances_get_singleton(configuration, history_class);
}

static void prune(void)
{
    const vorn_instance *settings = settings_in(vorn_config_get_running());
    const char *most = value_of(settings, "keep");
    const char *bytes = value_of(settings, "bytes");
    const struct shelf_limits limits = {
        *most != '\0' ? atoi(most) : usual_most,
        *bytes != '\0' ? (size_t)strtoull(bytes, NULL, 10) : usual_bytes,
        proving_newest(),
    };
    shelf_prune(HISTORY_FOLDER, &limits);
}

static unsigned long newest(void)
{
    static struct shelf_content list;
    shelf_list(HISTORY_FOLDER, &list);
    return list.count > 0 ? list.numbers[list.count - 1] : 0;
}

/* What the newest generation holds; one that can't be read is like no other. */
static const char *digest_of_newest(unsigned long number)
{
    struct generation generation;
    if (number == newest_number) return newest_digest;
    newest_number = number;
    newest_digest[0] = '\0';
    if (number == 0 || shelf_read(HISTORY_FOLDER, number, &generation) != NULL) return "";
    generation_digest(&generation, newest_digest);
    generation_free(&generation);
    return newest_digest;
}

static void read_files(struct generation *generation)
{
    const char *path;
    for (unsigned int i = 0; (path = vorn_config_get_file(i)) != NULL; i++) {
        size_t size;
        char *bytes = vorn_config_read_file(path, &size);
        if (bytes == NULL) continue;
        if (generation->file_count == generation_most_files) {
            free(bytes);
            break;
        }
        const struct generation_file file = {path, bytes, size};
        generation->files[generation->file_count++] = file;
    }
}

static void free_files(struct generation *generation)
{
    for (int i = 0; i < generation->file_count; i++)
        free((char *)(size_t)generation->files[i].bytes);
}

static void report_failure(const char *reason)
{
    snprintf(result, sizeof result, "failed: %s", reason);
    vorn_debug_eprintf("history: can't keep what was saved: %s.\n", reason);
    vorn_commit_report_add_failure("history: %s", reason);
}

/* It is noted on the disk, which has to wait while something is on trial. */
static void stay_up(void *eloop_data, void *user_data)
{
    if (vorn_config_is_held()) {
        eloop_register_timeout(1, 0, stay_up, eloop_data, user_data);
        return;
    }
    if (strcmp(vorn_config_get_source(), "startup") == 0) proving_succeeds();
}

static void keep(struct generation *generation)
{
    static char digest[generation_digest_room]; /* the generation refers to it */
    const unsigned long last = newest();
    read_files(generation);
    generation_digest(generation, digest);
    if (strcmp(digest, digest_of_newest(last)) != 0) {
        generation->number = last + 1;
        generation->schema = schema_id();
        generation->digest = digest;
        const char *reason = shelf_add(HISTORY_FOLDER, generation);
        if (reason != NULL) {
            report_failure(reason);
        } else {
            snprintf(result, sizeof result, "kept");
            newest_number = generation->number;
            /* It has yet to show at a boot that it stays up; the one before did not for as long. */
            eloop_cancel_timeout(stay_up, NULL, NULL);
            memcpy(newest_digest, digest, sizeof digest);
            prune();
        }
    }
    free_files(generation);
}

/* There would be no way back behind the first change of a new device. */
static void keep_what_was_there(void)
{
    if (first_document == NULL) return;
    struct generation generation = {
        .time = vorn_config_get_save_time(),
        .origin = vorn_config_get_source(),
        .commit = "0",
        .document = first_document,
        .size = strlen(first_document),
    };
    keep(&generation);
    free(first_document);
    first_document = NULL;
}

/* The commit goes on, and its report is made at its end. */
static void keep_saved(const char *document, size_t size, void *data)
{
    (void)data;
    keep_what_was_there();
    const vorn_peer *peer = vorn_query_get_peer();
    const vorn_commit_report *under_way = vorn_commit_report_get_current();
    const vorn_commit_report *last = under_way != NULL ? under_way : vorn_commit_report_get(0);
    char process[16] = "";
    char commit[16];
    struct generation generation = {
        .time = vorn_config_get_save_time(),
        .user = vorn_peer_get_user(peer),
        .process = process,
        .program = vorn_peer_get_program(peer),
        .origin = vorn_query_origin,
        .comment = comment,
        .commit = commit,
        .changes = *changes_on_trial != '\0' ? changes_on_trial
                                             : vorn_commit_report_get_changes(under_way),
        .document = document,
        .size = size,
    };
    if (peer != NULL) snprintf(process, sizeof process, "%" PRId32, vorn_peer_get_pid(peer));
    snprintf(commit, sizeof commit, "%" PRIu32,
             vorn_commit_report_get_number(last) + (under_way == NULL));
    keep(&generation);
    comment[0] = changes_on_trial[0] = '\0';
}

/* What is said and done of what is on trial goes with what is saved in the end. */
static void take_comment(vorn_instance *settings)
{
    if (vorn_config_is_held()) {
        snprintf(changes_on_trial, sizeof changes_on_trial, "%s",
                 vorn_commit_report_get_changes(vorn_commit_report_get_current()));
    } else {
        changes_on_trial[0] = '\0';
    }
    const char *given = value_of(settings, "comment");
    if (*given != '\0') {
        snprintf(comment, sizeof comment, "%s", given);
        vorn_instance_set_value(settings, "comment", "");
    } else if (!vorn_config_is_held()) {
        comment[0] = '\0';
    }
}

static void commit(vorn_commit_info *info)
{
    const vorn_changes *changes = vorn_commit_info_get_changes(info);
    vorn_instance *settings = settings_in(vorn_commit_info_get_after(info));
    if (!booted || settings == NULL) return;
    take_comment(settings);
    if (first_document == NULL && newest() == 0)
        first_document = vorn_config_write_document(vorn_changes_get_before(changes));
    if (vorn_config_is_held()) return;
    keep_what_was_there();
    if (vorn_changes_contains_class(changes, history_class)) prune();
}

static void explain(vorn_commit_info *info, vorn_explanation *explanation)
{
    if (!booted || settings_in(vorn_commit_info_get_after(info)) == NULL) return;
    if (vorn_config_is_held() || newest() != 0) return;
    vorn_explanation_add(explanation, VORN_EXPLAIN_NOTHING,
                         "the configuration as it is now is kept, as the first generation");
}

static void go_back(vorn_amend_info *info, vorn_instance *settings, const char *wanted)
{
    struct generation generation;
    const unsigned long number = (unsigned long)strtoull(wanted, NULL, 10);
    const char *reason = shelf_read(HISTORY_FOLDER, number, &generation);
    if (reason != NULL) {
        vorn_amend_info_refuse(info, settings, "rollback", "generation %lu: %s", number, reason);
        return;
    }
    for (int i = 0; i < generation.file_count && !vorn_amend_info_is_rehearsal(info); i++) {
        const struct generation_file *file = &generation.files[i];
        vorn_config_take_file(file->path, file->bytes, file->size);
    }
    vorn_instance_set_value(settings, "rollback", "");
    if (vorn_amend_info_become(info, generation.document, generation.size) != 0) {
        vorn_amend_info_refuse(info, settings, "rollback", "generation %lu can't be read", number);
    } else {
        vorn_amend_info_accept(info);
        vorn_commit_report_set_result("rolled back");
    }
    generation_free(&generation);
}

static void amend(vorn_amend_info *info, void *data)
{
    (void)data;
    vorn_instance *settings = settings_in(vorn_amend_info_get_instances(info));
    const char *wanted = value_of(settings, "rollback");
    if (*wanted != '\0') go_back(info, settings, wanted);
}

static void set_head(vorn_instance *instance, const struct generation *generation)
{
    char when[TIME_TEXT];
    vorn_instance_set_value(instance, "time", time_text(generation->time, when));
    vorn_instance_set_value(instance, "user", generation->user);
    vorn_instance_set_value(instance, "process", generation->process);
    vorn_instance_set_value(instance, "program", generation->program);
    vorn_instance_set_value(instance, "origin", generation->origin);
    vorn_instance_set_value(instance, "comment", generation->comment);
    vorn_instance_set_value(instance, "schema", generation->schema);
    vorn_instance_set_value(instance, "commit", generation->commit);
    vorn_instance_set_value(instance, "changes", generation->changes);
    vorn_instance_set_value(instance, "proven", proving_knows(generation) ? "yes" : "no");
    vorn_instance_set_value(instance, "state", "good");
}

static void add_generation(vorn_instances *shown, unsigned long number, size_t size)
{
    char text[64];
    struct generation generation;
    snprintf(text, sizeof text, "%lu", number);
    vorn_instance *instance = vorn_instance_new(vorn_classes_get(generation_class), text);
    if (instance == NULL) return;
    const char *reason = shelf_read(HISTORY_FOLDER, number, &generation);
    snprintf(text, sizeof text, "%zu", size);
    vorn_instance_set_value(instance, "bytes", text);
    if (reason == NULL) {
        set_head(instance, &generation);
        generation_free(&generation);
    } else {
        snprintf(text, sizeof text, "damaged: %s", reason);
        vorn_instance_set_value(instance, "state", text);
    }
    if (vorn_instances_add(shown, instance) != 0) vorn_instance_delete(instance);
}

/* Large, and meant only by who names it: all properties are what somebody looks at. */
static int wants_document(const vorn_refresh_info *info, const vorn_instance *instance)
{
    return vorn_refresh_info_contains_property(info, instance, "document") &&
           !vorn_refresh_info_contains_property(info, instance, "any of all");
}

static void show_document(vorn_instance *instance, const vorn_refresh_info *info)
{
    struct generation generation;
    const unsigned long number =
        (unsigned long)strtoull(vorn_instance_get_name(instance), NULL, 10);
    char *document = NULL;
    if (wants_document(info, instance) && shelf_read(HISTORY_FOLDER, number, &generation) == NULL) {
        document = shown_document(generation.document, generation.size);
        generation_free(&generation);
    }
    if (document != NULL || *value_of(instance, "document") != '\0')
        vorn_instance_set_value(instance, "document", document != NULL ? document : "");
    free(document);
}

static void show_generations(vorn_refresh_info *info)
{
    static struct shelf_content list;
    vorn_instances *shown = vorn_instances_new();
    vorn_instances *store = vorn_refresh_info_get_instances(info);
    if (shown == NULL) return;
    shelf_list(HISTORY_FOLDER, &list);
    for (int i = 0; i < list.count; i++)
        add_generation(shown, list.numbers[i], list.sizes[i]);
    replace_instances(store, generation_class, shown, heads);
    vorn_instances_delete_all(shown);
    vorn_instances_iterator *walk = vorn_instances_new_class_iterator(store, generation_class);
    while (walk != NULL && vorn_instances_iterator_has_next(walk))
        show_document(vorn_instances_iterator_next(walk), info);
    vorn_instances_delete_iterator(walk);
}

static void show_settings(vorn_instance *settings)
{
    vorn_instance_set_value(settings, "result", result);
    vorn_instance_set_value(settings, "unproven", proving_kept());
}

static void refresh(vorn_refresh_info *info, void *data)
{
    (void)data;
    vorn_instance *settings = settings_in(vorn_refresh_info_get_instances(info));
    if (vorn_refresh_info_contains_class(info, generation_class)) show_generations(info);
    if (settings != NULL && vorn_refresh_info_contains_class(info, history_class))
        show_settings(settings);
}

static void boot_is_over(void *eloop_data, void *user_data)
{
    const char *seconds = value_of(settings_in(vorn_config_get_running()), "proven-after");
    booted = 1;
    proving_boot_is_over();
    if (strcmp(seconds, "0") == 0) {
        stay_up(eloop_data, user_data);
    } else {
        eloop_register_timeout(*seconds != '\0' ? atoi(seconds) : usual_seconds, 0, stay_up, NULL,
                               NULL);
    }
}

/* Of the boot load: what fell back to a generation goes on with the files of its time, too. */
static void check(vorn_check_info *info, void *data)
{
    const struct generation *generation = proving_taken();
    (void)info;
    (void)data;
    if (generation == NULL) return;
    for (int i = 0; i < generation->file_count; i++) {
        const struct generation_file *file = &generation->files[i];
        vorn_config_take_file(file->path, file->bytes, file->size);
    }
    proving_forget_taken();
}

/* object=history&action=forget-unproven */
static int be_told(void)
{
    const char *action = vorn_inform_get_value("action");
    if (action == NULL || strcmp(action, "forget-unproven") != 0) return 1;
    return proving_forget_kept();
}

static int declare_word(vorn_class *klass, const char *name, vorn_is_valid_fn is_valid,
                        const char *syntax)
{
    return declare_setting(klass, name, is_valid, syntax) != 0 ||
           vorn_property_set_persistence(vorn_class_get_property(klass, name), 0) != 0;
}

static int declare(void)
{
    vorn_class *history = declare_class(history_class, VORN_CLASS_SINGLETON);
    vorn_class *generation = vorn_class_new(generation_class);
    if (history == NULL || generation == NULL) return 1;
    vorn_class_set_type(generation, VORN_CLASS_UNIQUE_NAMED);
    for (const char *const *each = heads; *each != NULL; each++) {
        if (declare_state(generation, *each) != 0) return 1;
    }
    return declare_state(generation, "document") != 0 ||
           declare_setting(history, "keep", is_count_or_none, "<1 to 1000>|<nothing>") != 0 ||
           declare_setting(history, "bytes", is_size_or_none, "<4096 to 1073741824>|<nothing>") !=
               0 ||
           declare_setting(history, "proven-after", is_time_or_none, "<0 to 86400>|<nothing>") !=
               0 ||
           declare_word(history, "comment", is_comment, "<up to 200 characters>") != 0 ||
           declare_word(history, "rollback", is_generation_or_none,
                        "<the number of a generation>|<nothing>") != 0 ||
           declare_state(history, "result") != 0 || declare_state(history, "unproven") != 0 ||
           vorn_classes_add(history) != 0 || vorn_classes_add(generation) != 0;
}

void vorn_plugin_init(void)
{
    if (vorn_plugin_new("1.0") == NULL || declare() != 0) return;
    proving_begin();

    vorn_provider *provider = vorn_provider_new("history");
    if (provider == NULL) return;
    vorn_provider_set_commit_fn(provider, commit, NULL);
    vorn_provider_set_explain_fn(provider, explain, NULL);
    vorn_provider_set_refresh_fn(provider, refresh, NULL);
    vorn_provider_set_amend_fn(provider, amend, NULL);
    vorn_provider_set_check_fn(provider, check, NULL);
    if (vorn_providers_add(provider) != 0) return;
    vorn_providers_order("history", "save");
    vorn_providers_order("history", "wireless"); /* whose keys a boot may have to find first */
    vorn_inform_fn_add("history", be_told);
    vorn_config_add_saved_fn(keep_saved, NULL);
    eloop_register_timeout(0, 0, boot_is_over, NULL, NULL);
}
