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
#include "describe.h"
#include "files.h"
#include "generation.h"
#include "generations.h"
#include "history_folder.h"
#include "providers_text.h"
#include "proving.h"
#include "shelf.h"
#include "slots.h"
#include "upgrade.h"
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

static int booted;
static int has_stayed_up;          /* this boot, with the startup file */
static char comment[comment_room]; /* of the next generation */
static char changes_on_trial[192];
static char result[160] = "none"; /* of the last try */
static char newest_digest[generation_digest_room];
static unsigned long newest_number; /* with that digest; 0 until it has been looked at */
static char *first_document;        /* of a device without a generation, until it may be kept */

static int is_comment(const char *value)
{
    return vorn_input_is_text(value, (int)strlen(value), 0, longest_comment);
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
    unsigned long spared[1 + slots_most_pinned] = {proving_newest()};
    const struct shelf_limits limits = {
        *most != '\0' ? atoi(most) : usual_most,
        *bytes != '\0' ? (size_t)strtoull(bytes, NULL, 10) : usual_bytes,
        spared,
        1 + slots_pinned(spared + 1),
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
    files_read(generation);
    generation_digest(generation, digest);
    if (strcmp(digest, digest_of_newest(last)) != 0) {
        generation->number = last + 1;
        generation->schema = vorn_schema_get_id();
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
    files_free(generation);
}

/* There would be no way back to before the first change of a new device. */
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

/* Of what has become of a commit by now; of one on trial, whose report is whole, all of it. */
static void add_record(struct generation *generation, const vorn_commit_report *report)
{
    const int is_confirmed = vorn_config_is_held();
    if (report == NULL) return;
    generation->result = is_confirmed ? "confirmed" : vorn_commit_report_get_result(report);
    generation->providers = providers_text(report);
    generation->failures = vorn_commit_report_get_failures(report);
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
    add_record(&generation, vorn_config_is_held() ? last : under_way);
    if (peer != NULL) snprintf(process, sizeof process, "%" PRId32, vorn_peer_get_pid(peer));
    snprintf(commit, sizeof commit, "%" PRIu32,
             vorn_commit_report_get_number(last) + (under_way == NULL));
    keep(&generation);
    comment[0] = changes_on_trial[0] = '\0';
}

/* What is said and done of what is on trial goes with what is saved in the end; some commits in
 * between change nothing. */
static void take_comment(vorn_instance *settings)
{
    if (vorn_config_is_held()) {
        const char *changes = vorn_commit_report_get_changes(vorn_commit_report_get_current());
        if (*changes != '\0') snprintf(changes_on_trial, sizeof changes_on_trial, "%s", changes);
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

/* Transactions have emptied it; somebody else's must not become a rollback. */
static void forget_rollback(vorn_instance *settings)
{
    if (*value_of(settings, "rollback") == '\0') return;
    vorn_instance_set_value(settings, "rollback", "");
    vorn_debug_eprintf("history: a rollback is heard in write transactions alone.\n");
}

static void commit(vorn_commit_info *info)
{
    const vorn_changes *changes = vorn_commit_info_get_changes(info);
    vorn_instance *settings = settings_in(vorn_commit_info_get_after(info));
    if (!booted || settings == NULL) return;
    forget_rollback(settings);
    take_comment(settings);
    if (first_document == NULL && newest() == 0)
        first_document = vorn_config_write_document(vorn_changes_get_before(changes));
    if (vorn_config_is_held()) return;
    keep_what_was_there();
    if (!vorn_changes_contains_class(changes, history_class)) return;
    upgrade_commit(settings);
    prune();
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
    vorn_instance_set_value(settings, "rollback", ""); /* a word, not a change */
    if (reason != NULL) {
        vorn_amend_info_refuse(info, settings, "rollback", "generation %lu: %s", number, reason);
        return;
    }
    if (!vorn_amend_info_is_rehearsal(info)) files_hand_over(&generation);
    if (vorn_amend_info_become(info, generation.document, generation.size) != 0) {
        vorn_amend_info_refuse(info, settings, "rollback", "generation %lu can't be read", number);
    } else {
        char told[48];
        snprintf(told, sizeof told, "rolled back to generation %lu", number);
        vorn_amend_info_accept(info);
        vorn_commit_report_set_result(told);
    }
    generation_free(&generation);
}

/* Written by this transaction, that is: other requests are not heard. */
static const char *wanted_by(const vorn_amend_info *info, const vorn_instance *settings)
{
    const vorn_changes *changes = vorn_amend_info_get_changes(info);
    const int is_new =
        settings != NULL && vorn_changes_contains_property(changes, settings, "rollback");
    return is_new ? value_of(settings, "rollback") : "";
}

static void amend(vorn_amend_info *info, void *data)
{
    (void)data;
    /* What is looked up in a transaction's configuration stays in memory for good. */
    if (!vorn_changes_contains_class(vorn_amend_info_get_changes(info), history_class)) return;
    vorn_instance *settings = settings_in(vorn_amend_info_get_instances(info));
    const char *wanted = wanted_by(info, settings);
    if (*wanted != '\0') go_back(info, settings, wanted);
}

static void show_settings(vorn_instance *settings)
{
    vorn_instance_set_value(settings, "result", result);
    vorn_instance_set_value(settings, "unproven", proving_kept());
    vorn_instance_set_value(settings, "proven", has_stayed_up ? "yes" : "no");
    upgrade_show(settings);
}

static void refresh(vorn_refresh_info *info, void *data)
{
    (void)data;
    generations_show(info);
    if (!vorn_refresh_info_contains_class(info, history_class)) return;
    vorn_instance *settings = settings_in(vorn_refresh_info_get_instances(info));
    if (settings != NULL) show_settings(settings);
}

static void let_others_go(void *eloop_data, void *user_data)
{
    if (vorn_config_is_held()) {
        eloop_register_timeout(1, 0, let_others_go, eloop_data, user_data);
    } else {
        slots_stay_up();
    }
}

/* The firmware has, whatever has been saved meanwhile. */
static void note_staying_up(void *eloop_data, void *user_data)
{
    has_stayed_up = strcmp(vorn_config_get_source(), "startup") == 0;
    if (has_stayed_up) let_others_go(eloop_data, user_data);
}

static void boot_is_over(void *eloop_data, void *user_data)
{
    const vorn_instance *settings = settings_in(vorn_config_get_running());
    const char *text = value_of(settings, "proven-after");
    const int seconds = *text != '\0' ? atoi(text) : usual_seconds;
    booted = 1;
    upgrade_begin(settings);
    proving_boot_is_over();
    if (seconds == 0) {
        note_staying_up(eloop_data, user_data);
        stay_up(eloop_data, user_data);
        return;
    }
    eloop_register_timeout(seconds, 0, note_staying_up, NULL, NULL);
    eloop_register_timeout(seconds, 0, stay_up, NULL, NULL);
}

/* Of the boot load: what fell back to a generation goes on with the files of its time, too. */
static void check(vorn_check_info *info, void *data)
{
    const struct generation *generation = proving_taken();
    (void)data;
    upgrade_check(info, settings_in(vorn_check_info_get_instances(info)));
    if (generation == NULL) return;
    files_hand_over(generation);
    proving_forget_taken();
}

/* object=history&action=forget-unproven */
static int be_told(void)
{
    const char *action = vorn_inform_get_value("action");
    if (action == NULL || strcmp(action, "forget-unproven") != 0) return 1;
    vorn_commit_report_set_result("unproven file forgotten");
    return proving_forget_kept();
}

/* A setting that is empty again when the transaction is done. */
static int declare_fleeting(vorn_class *klass, const char *name)
{
    return vorn_property_set_persistence(vorn_class_get_property(klass, name), 0);
}

static int declare_settings(vorn_class *history)
{
    const int failed =
        declare_number(history, "keep", 1, shelf_most, VORN_INPUT_NOTHING) != 0 ||
        declare_number(history, "bytes", fewest_bytes, most_bytes, VORN_INPUT_NOTHING) != 0 ||
        declare_number(history, "proven-after", 0, most_seconds, VORN_INPUT_NOTHING) != 0;
    if (failed) return 1;
    describe_class(history, "History", "What was saved before, kept to go back to.",
                   "Configuration", 520);
    describe(history, "keep", "Keep", "How many are kept; 32 if it isn't set.", "32");
    describe(history, "bytes", "Room", "How much they may take together; 1048576 if it isn't set.",
             "1048576");
    describe_unit(history, "bytes", "bytes");
    describe(history, "proven-after", "Proven after",
             "How long a start has to stay up before its configuration counts as good; 300 if it "
             "isn't set.",
             "300");
    describe_unit(history, "proven-after", "seconds");
    return 0;
}

static int declare_requests(vorn_class *history)
{
    enum { highest_generation = 2000000000 };
    const int failed =
        declare_setting(history, "comment", is_comment, "<up to 200 characters>") != 0 ||
        vorn_property_accept_text(vorn_class_get_property(history, "comment"), 0,
                                  longest_comment) != 0 ||
        declare_number(history, "rollback", 1, highest_generation, VORN_INPUT_NOTHING) != 0 ||
        vorn_property_set_syntax(vorn_class_get_property(history, "rollback"),
                                 "<the number of a generation>|<nothing>") != 0 ||
        declare_fleeting(history, "comment") != 0 || declare_fleeting(history, "rollback") != 0;
    if (failed) return 1;
    describe(history, "comment", "Comment", "What the next save says of itself.", "New office");
    describe(history, "rollback", "Roll back", "The number of the save to go back to.", "7");
    return 0;
}

static int declare_results(vorn_class *history)
{
    if (declare_state(history, "result") != 0 || declare_state(history, "unproven") != 0 ||
        declare_state(history, "proven") != 0)
        return 1;
    describe(history, "result", "Result", "How the last try to keep one went.", NULL);
    describe(history, "unproven", "Unproven", "Where a configuration is kept that did not stay up.",
             NULL);
    describe(history, "proven", "Proven", "Whether this start has stayed up for so long.", NULL);
    return 0;
}

static int declare(void)
{
    vorn_class *history = declare_class(history_class, VORN_CLASS_SINGLETON);
    if (history == NULL) return 1;
    return declare_settings(history) != 0 || declare_requests(history) != 0 ||
           upgrade_declare(history) != 0 || declare_results(history) != 0 ||
           vorn_classes_add(history) != 0 || generations_declare() != 0;
}

static void before_load(void *data)
{
    (void)data;
    slots_choose();
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
    vorn_provider_set_asks_first(provider);
    vorn_provider_set_amend_fn(provider, amend, NULL);
    vorn_provider_set_check_fn(provider, check, NULL);
    if (vorn_providers_add(provider) != 0) return;
    vorn_providers_order("history", "save");
    vorn_providers_order("history", "wireless"); /* whose keys a boot may have to find first */
    vorn_inform_fn_add("history", be_told);
    vorn_config_add_load_fn(before_load, NULL);
    vorn_config_add_saved_fn(keep_saved, NULL);
    eloop_register_timeout(0, 0, boot_is_over, NULL, NULL);
}
