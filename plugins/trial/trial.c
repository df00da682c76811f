/* SPDX-License-Identifier: MIT */
/*
 * Changes that are taken back unless somebody confirms them. A trial is begun, joined, confirmed
 * and reverted by words that a transaction writes into the one instance of the class. What is on
 * trial is not saved, so that whatever ends the daemon takes it back, too; all there is to do here
 * is to go back when the time is over.
 *
 * What a transaction asks for is judged before it is checked and noted in its copy of the instance,
 * so that one that is refused after all leaves no trace.
 */
#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "declare.h"
#include "describe.h"
#include "pending.h"
#include "values.h"

enum { shortest = 5, longest = 86400, longest_word = 64 };

static const char class_name[] = "trial";
static const char noted[] = "noted"; /* what is to be done if the transaction is accepted */
static const char *const words[] = {"seconds", "join", "confirm", "revert", NULL};

/* Whether the last transaction may have noted something that is not done yet. */
static int is_noted;
/* Whether a trial has begun with a transaction that may yet be refused. */
static int is_tentative;
/* Whether it goes because nobody has confirmed it in time. */
static int is_over;

static int is_seconds(const char *value)
{
    if (*value == '\0' || is_plain_number(value, shortest, longest)) return 1;
    return vorn_property_refuse_value("A trial lasts from %d seconds to a day.", shortest);
}

static int is_word(const char *value)
{
    return strlen(value) <= longest_word && is_text(value);
}

static int is_anything(const char *value)
{
    return value != NULL;
}

static int is_saved(const vorn_instance *instance)
{
    vorn_class *klass = vorn_classes_get(vorn_instance_get_class_name(instance));
    return vorn_class_get_persistence(klass) != 0;
}

static int holds_saved(vorn_instances_iterator *walk)
{
    int found = walk == NULL; /* without memory: rather too much */
    while (!found && vorn_instances_iterator_has_next(walk))
        found = is_saved(vorn_instances_iterator_next(walk));
    vorn_instances_delete_iterator(walk);
    return found;
}

static int touches_saved(const vorn_changes *changes)
{
    return holds_saved(vorn_changes_new_class_instances_iterator(changes, NULL)) ||
           holds_saved(vorn_changes_new_deleted_class_instances_iterator(changes, NULL));
}

static int is_peer_root(void)
{
    const vorn_peer *peer = vorn_query_get_peer();
    return peer != NULL && vorn_peer_get_uid(peer) == 0 && *vorn_peer_get_for_user(peer) == '\0';
}

static int has_words(const vorn_instance *trial)
{
    for (int i = 0; words[i] != NULL; i++) {
        if (*value_of(trial, words[i]) != '\0') return 1;
    }
    return *value_of(trial, noted) != '\0';
}

/* Returns how many there were. */
static int forget_words(vorn_instance *trial)
{
    int count = 0;
    for (int i = 0; words[i] != NULL; i++) {
        if (*value_of(trial, words[i]) == '\0') continue;
        vorn_instance_set_value(trial, words[i], "");
        count++;
    }
    return count;
}

/* One transaction while it is judged. */
struct request {
    vorn_amend_info *info;
    vorn_instance *words;
};

#define REFUSE(request, property, ...)                                                             \
    vorn_amend_info_refuse((request)->info, (request)->words, property, __VA_ARGS__)

/* Written by this transaction, that is: other requests are not heard. */
static const char *asked(const struct request *request, const char *word)
{
    const vorn_changes *changes = vorn_amend_info_get_changes(request->info);
    const int is_new = vorn_changes_contains_property(changes, request->words, word);
    return is_new ? value_of(request->words, word) : "";
}

static int is_asked(const struct request *request, const char *word)
{
    return *asked(request, word) != '\0';
}

static void note(const struct request *request, const char *what)
{
    vorn_instance_set_value(request->words, noted, what);
}

/* Whether the word stands alone and means the trial that is pending. */
static int is_meant(const struct request *request, const char *word, int whatever_it_says)
{
    int given = 0;
    for (int i = 0; words[i] != NULL; i++)
        given += is_asked(request, words[i]);
    if (given > 1 || touches_saved(vorn_amend_info_get_changes(request->info))) {
        REFUSE(request, word, "it must be alone in its transaction");
    } else if (!pending_is_there()) {
        REFUSE(request, word, "nothing is on trial");
    } else if (!whatever_it_says && !pending_is(asked(request, word))) {
        REFUSE(request, word, "the change that is on trial has another id");
    } else {
        return 1;
    }
    return 0;
}

static void judge_revert(const struct request *request)
{
    const char *document = pending_document();
    if (!is_meant(request, "revert", is_peer_root())) return;
    if (vorn_amend_info_become(request->info, document, strlen(document)) != 0) {
        REFUSE(request, "revert", "the configuration of before can't be had");
        return;
    }
    vorn_amend_info_accept(request->info);
    vorn_commit_report_set_result(is_over ? "reverted: the time was over" : "reverted");
    note(request, "revert");
}

/* What the record of the transaction is to say of it. */
static void tell(const char *what, const char *seconds)
{
    char told[48];
    snprintf(told, sizeof told, *seconds != '\0' ? "%s for %s s" : "%s", what, seconds);
    vorn_commit_report_set_result(told);
}

static void judge_begin(const struct request *request)
{
    if (!vorn_amend_info_is_rehearsal(request->info) && pending_prepare() != 0) {
        REFUSE(request, "seconds", "there is no memory to keep what is there now");
        return;
    }
    note(request, asked(request, "seconds"));
    tell("on trial", asked(request, "seconds"));
}

static void judge_change(const struct request *request)
{
    const int joins = is_asked(request, "join");
    const int begins = is_asked(request, "seconds");
    if (joins && !pending_is_there()) {
        REFUSE(request, "join", "nothing is on trial");
    } else if (joins && !pending_is(asked(request, "join"))) {
        vorn_amend_info_refuse(request->info, NULL, NULL, "%s", pending_sentence());
    } else if (joins) {
        if (begins) note(request, asked(request, "seconds"));
        tell(begins ? "joined the trial, now" : "joined the trial", asked(request, "seconds"));
    } else if (pending_is_there()) {
        if (begins || touches_saved(vorn_amend_info_get_changes(request->info)))
            vorn_amend_info_refuse(request->info, NULL, NULL, "%s", pending_sentence());
    } else if (begins) {
        judge_begin(request);
    }
}

static void ask_to_revert(const char *origin)
{
    char request[256];
    if (!pending_is_there()) return;
    snprintf(request, sizeof request,
             "<lsql%s><write-transaction><update><trial><revert>%s</revert></trial></update>"
             "</write-transaction></lsql>",
             origin, pending_id());
    free(vorn_query_eval(request));
}

/* Where origins are no longer served it goes without one. */
static void revert_by_itself(void)
{
    static int is_told;
    is_over = 1;
    ask_to_revert(" origin=\"trial\"");
    ask_to_revert("");
    is_over = 0;
    if (pending_is_there() && !is_told) {
        vorn_debug_eprintf("trial: the change can't be taken back; it is tried again.\n");
    }
    is_told = pending_is_there();
}

static void hold(void)
{
    char sentence[256];
    snprintf(sentence, sizeof sentence, "%s", pending_sentence());
    sentence[0] = 'a'; /* it goes on */
    vorn_config_hold(sentence);
}

static void prolong(int seconds)
{
    pending_prolong(seconds);
    hold();
    vorn_debug_eprintf("trial: prolonged until %s.\n", pending_until());
}

static void take_back(void)
{
    pending_end();
    vorn_config_release();
    vorn_debug_eprintf("trial: taken back.\n");
}

/* What is noted in the running configuration was accepted, and is done once. */
static void do_what_is_noted(vorn_instance *trial)
{
    const char *what = value_of(trial, noted);
    const int seconds = is_noted ? atoi(what) : 0;
    const int reverts = is_noted && strcmp(what, "revert") == 0;
    is_noted = 0;
    if (reverts) take_back();
    if (seconds > 0 && !is_tentative) prolong(seconds);
    if (seconds > 0) is_tentative = 0;
    if (*what != '\0') vorn_instance_set_value(trial, noted, "");
}

/*
 * When the next thing happens after a transaction. A commit that found no memory to reach this
 * provider is made up for, and a trial whose beginning was refused after all is none.
 */
static void settle(vorn_instance *trial)
{
    if (trial != NULL) do_what_is_noted(trial);
    if (!is_tentative) return;
    is_tentative = 0;
    pending_end();
    vorn_config_release();
}

static vorn_instance *running_trial(void)
{
    return vorn_instances_get_singleton(vorn_config_get_running(), class_name);
}

/* A timer that can't be set again must not make the trial endless. */
static void tick(void *eloop_data, void *user_data)
{
    (void)eloop_data;
    (void)user_data;
    settle(running_trial());
    if (!pending_is_there()) return;
    const int is_last = eloop_register_timeout(1, 0, tick, NULL, NULL) != 0;
    if (is_last || pending_remaining() == 0) revert_by_itself();
}

/* In force before the transaction is: nothing of it may be saved, not even if memory runs out. */
static int begin(int seconds)
{
    eloop_cancel_timeout(tick, ELOOP_ANY, ELOOP_ANY);
    if (eloop_register_timeout(0, 0, tick, NULL, NULL) != 0) return 1;
    pending_begin(seconds);
    hold();
    is_tentative = 1;
    return 0;
}

/*
 * What is looked up in a transaction's configuration stays in memory for good, and most
 * transactions have no word for this class: of these it is the running one, which says as little.
 */
static vorn_instance *words_of(const vorn_amend_info *info)
{
    vorn_instance *running = running_trial();
    if (!vorn_changes_contains_class(vorn_amend_info_get_changes(info), class_name) &&
        !has_words(running))
        return running;
    return vorn_instances_get_singleton(vorn_amend_info_get_instances(info), class_name);
}

static void amend(vorn_amend_info *info, void *data)
{
    (void)data;
    settle(running_trial());
    struct request request = {info, words_of(info)};
    if (request.words == NULL) return;
    if (*value_of(request.words, noted) != '\0') note(&request, "");
    if (is_asked(&request, "confirm")) {
        if (is_meant(&request, "confirm", 0)) note(&request, "confirm");
    } else if (is_asked(&request, "revert")) {
        judge_revert(&request);
    } else {
        judge_change(&request);
    }
    forget_words(request.words);
    is_noted = 1;
}

/* A confirmation is one once it is saved, and what is to be on trial is so from here on. */
static void check(vorn_check_info *info, void *data)
{
    (void)data;
    const vorn_instance *trial =
        vorn_instances_get_singleton(vorn_check_info_get_instances(info), class_name);
    const char *what = value_of(trial, noted);
    if (vorn_check_info_is_rehearsal(info)) return;
    if (atoi(what) > 0 && !pending_is_there() && begin(atoi(what)) != 0)
        vorn_check_info_refuse(info, trial, "seconds", "there is no memory to end it in time");
    if (strcmp(what, "confirm") != 0) return;
    if (vorn_config_confirm_held() != 0) {
        vorn_check_info_refuse(info, trial, "confirm", "it can't be saved: %s",
                               vorn_config_get_save_reason());
        return;
    }
    pending_end();
    vorn_commit_report_set_result("confirmed");
    vorn_debug_eprintf("trial: confirmed.\n");
}

/* Before the providers that write files, so that these are taken back before they look. */
static void commit(vorn_commit_info *info)
{
    vorn_instance *trial =
        vorn_instances_get_singleton(vorn_commit_info_get_after(info), class_name);
    if (trial != NULL && forget_words(trial) > 0) {
        vorn_debug_eprintf("trial: heard in write transactions alone.\n");
    }
    if (is_tentative && is_noted && atoi(value_of(trial, noted)) > 0) {
        vorn_debug_eprintf("trial: held by %s until %s.\n", pending_holder(), pending_until());
    }
    settle(trial);
}

/*
 * A confirmation is said of as it stands: whether it can be saved shows when it is. What follows
 * for a save the plugin save is told by an action.
 */
static void explain(vorn_commit_info *info, vorn_explanation *explanation)
{
    const char *what =
        value_of(vorn_instances_get_singleton(vorn_commit_info_get_after(info), class_name), noted);
    const int seconds = atoi(what);
    vorn_actions *actions = vorn_commit_info_get_actions(info);
    if (seconds > 0) vorn_actions_add(actions, "save", "hold", NULL, NULL);
    if (strcmp(what, "confirm") == 0) {
        vorn_explanation_add(explanation, VORN_EXPLAIN_NOTHING,
                             "what is on trial is saved, and stays");
    } else if (strcmp(what, "revert") == 0) {
        vorn_actions_add(actions, "save", "take-back", NULL, NULL);
        vorn_explanation_add(explanation, VORN_EXPLAIN_LIVE,
                             "the trial ends; nothing has to be saved");
    } else if (seconds > 0) {
        vorn_explanation_add(explanation, VORN_EXPLAIN_NOTHING,
                             "nothing is saved until it is confirmed, and it is taken back by "
                             "itself after %d seconds",
                             seconds);
    }
}

static const char *state(vorn_instance *instance, const char *property, vorn_refresh_info *info)
{
    static char text[16];
    (void)instance;
    (void)info;
    if (is_tentative && !vorn_config_is_held()) settle(running_trial());
    if (strcmp(property, "id") == 0) return pending_id();
    if (strcmp(property, "state") == 0) return pending_is_there() ? "pending" : "none";
    if (strcmp(property, "holder") == 0) return pending_holder();
    if (strcmp(property, "since") == 0) return pending_since();
    if (strcmp(property, "until") == 0) return pending_until();
    if (!pending_is_there()) return "";
    snprintf(text, sizeof text, "%d", pending_remaining());
    return text;
}

static int declare_word(vorn_class *klass, const char *name, vorn_is_valid_fn is_valid,
                        const char *syntax)
{
    return declare_setting(klass, name, is_valid, syntax) ||
           vorn_property_set_readable(vorn_class_get_property(klass, name), 0);
}

static int declare_words(vorn_class *klass)
{
    for (int i = 0; words[i] != NULL; i++) {
        const int is_first = i == 0;
        if (declare_word(klass, words[i], is_first ? is_seconds : is_word,
                         is_first ? "5..86400" : "text"))
            return 1;
    }
    return declare_word(klass, noted, is_anything, "text") ||
           vorn_property_set_writable(vorn_class_get_property(klass, noted), 0);
}

/* What the validity functions know beside, programs are told. */
static int describe_words(vorn_class *klass)
{
    for (int i = 1; words[i] != NULL; i++) {
        if (vorn_property_accept_text(vorn_class_get_property(klass, words[i]), 0, longest_word) !=
            0)
            return 1;
    }
    vorn_property *seconds = vorn_class_get_property(klass, words[0]);
    describe(klass, "seconds", "Seconds",
             "Begins a trial of so long, or prolongs the one that is joined.", "120");
    describe_unit(klass, "seconds", "seconds");
    describe(klass, "join", "Join", "The change belongs to the trial of this id.",
             "0123456789abcdef");
    describe(klass, "confirm", "Confirm", "The trial of this id is kept and saved.",
             "0123456789abcdef");
    describe(klass, "revert", "Revert", "The trial of this id is taken back.", "0123456789abcdef");
    describe(klass, noted, "Noted", "What is to be done; the daemon's own.", NULL);
    return vorn_property_accept_number(seconds, shortest, longest, 1) ||
           vorn_property_accept(seconds, VORN_INPUT_NOTHING);
}

static void describe_state(vorn_class *klass)
{
    describe_class(klass, "Trial", "A change that is taken back unless it is confirmed in time.",
                   "Configuration", 510);
    describe(klass, "id", "Id", "Of the trial that is pending, else of the next one.", NULL);
    describe(klass, "state", "State", "Whether one is pending.", NULL);
    describe(klass, "holder", "Holder", "Who began it.", NULL);
    describe(klass, "since", "Since", "When it began.", NULL);
    describe(klass, "until", "Until", "When it will be taken back.", NULL);
    describe(klass, "remaining", "Remaining", "How long until then.", NULL);
    describe_unit(klass, "remaining", "seconds");
}

static vorn_refresher *declare(void)
{
    static const char *const properties[] = {"id",    "state",     "holder", "since",
                                             "until", "remaining", NULL};
    vorn_class *klass = vorn_class_new(class_name);
    vorn_refresher *refresher = vorn_refresher_new(class_name);
    if (klass == NULL || refresher == NULL) return NULL;
    vorn_class_set_type(klass, VORN_CLASS_SINGLETON);
    if (declare_told(klass, properties, refresher, state) != 0 || declare_words(klass) != 0 ||
        describe_words(klass) != 0)
        return NULL;
    describe_state(klass);
    return vorn_classes_add(klass) == 0 ? refresher : NULL;
}

void vorn_plugin_init(void)
{
    static const char *const later[] = {"system", "network", "wireless", "dhcp",
                                        "log",    "time",    "save",     NULL};
    if (vorn_plugin_new("1.0") == NULL) return;

    vorn_provider *provider = vorn_provider_new(class_name);
    vorn_refresher *refresher = declare();
    if (provider == NULL || refresher == NULL) return;
    vorn_provider_set_amend_fn(provider, amend, NULL);
    vorn_provider_set_check_fn(provider, check, NULL);
    vorn_provider_set_commit_fn(provider, commit, NULL);
    vorn_provider_set_explain_fn(provider, explain, NULL);
    vorn_provider_set_refresh_fn(provider, vorn_refresher_fn, refresher);
    vorn_providers_add(provider);
    vorn_providers_order("history", class_name); /* what it goes back to is a change, too */
    for (int i = 0; later[i] != NULL; i++)
        vorn_providers_order(class_name, later[i]);
}
