/* SPDX-License-Identifier: MIT */
/*
 * Tells the boot loader that the firmware is good, so that it tries no other one: once the device
 * has stayed up with it and it is confirmed, and not before. One that does not get there is left to
 * the boot loader. Programs do it; nobody waits for them.
 */
#include "vorn/vorn.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "all_plugins.h"
#include "declare.h"
#include "describe.h"
#include "kept.h"
#include "method.h"
#include "values.h"

enum { limit_ms = 10000, words_room = 16384, seconds_between_looks = 2, seconds_to_retry = 60 };

static const char firmware_class[] = "firmware";
static const char *const properties[] = {"slot", "version", "state", "good", NULL};

static const char *const method_names[] = {"none", "rauc", "swupdate", "u-boot", "", NULL};

static const struct method *method; /* null for none */
static struct firmware known;
static char state[200];
static char told_reason[160]; /* the last one that the log has */
static char words[words_room];
static kept run = KEPT(words, words_room);
static int step; /* which program runs or is next: those that look, then the one that marks */
static int booted;

static void run_next(void);
static void look_at_history(void *eloop_data, void *user_data);

static void say(const char *sentence)
{
    snprintf(state, sizeof state, "%s", sentence);
}

static void look_later(int seconds)
{
    eloop_register_timeout(seconds, 0, look_at_history, NULL, NULL);
}

static int marks(void)
{
    return step == method_most_looks;
}

static void take_mark(int has_failed)
{
    char reason[160];
    if (!has_failed) {
        known.is_good = 1;
        told_reason[0] = '\0';
        say("good");
        vorn_debug_printf("firmware: %s is good.\n", *known.slot != '\0' ? known.slot : "it");
        return;
    }
    kept_make_plain(words);
    snprintf(reason, sizeof reason, "%.150s", *words != '\0' ? words : "it ended with an error");
    snprintf(state, sizeof state, "failed: %s", reason);
    if (strcmp(reason, told_reason) != 0)
        vorn_debug_eprintf("firmware: can't be marked good: %s.\n", reason);
    memcpy(told_reason, reason, sizeof told_reason);
    look_later(seconds_to_retry);
}

static void take_end(void)
{
    const int has_failed = run.status != 0;
    if (marks()) {
        take_mark(has_failed);
        return;
    }
    if (!has_failed) method->take[step](words, &known);
    step++;
    run_next();
}

static void hear(int descriptor, void *eloop_data, void *user_data)
{
    (void)eloop_data;
    (void)user_data;
    if (kept_hear(&run)) return;
    eloop_unregister_read_sock(descriptor);
    take_end();
}

static void begin(const char *const arguments[], void (*feed)(int input))
{
    const kept_plan plan = {arguments, feed, 0, limit_ms};
    words[0] = '\0';
    if (kept_start(&run, &plan) == 0 && eloop_register_read_sock(run.pipe, hear, NULL, NULL) == 0)
        return;
    kept_give_up(&run);
    run.status = -1;
    take_end();
}

static void give_up(void)
{
    if (run.pipe < 0) return;
    eloop_unregister_read_sock(run.pipe);
    kept_give_up(&run);
}

/* When the last one has told, it is time to see whether the firmware may be marked. */
static void run_next(void)
{
    while (step < method_most_looks && method->looks[step] == NULL)
        step++;
    if (!marks()) {
        begin(method->looks[step], NULL);
    } else if (known.is_good) {
        say("good");
    } else {
        look_later(0);
    }
}

/* The words of a state that another plugin shows now; the text holds until the next call. */
static const char *state_of_history(const char *property)
{
    static char value[16];
    char request[120];
    char open[40];
    value[0] = '\0';
    snprintf(request, sizeof request, "<lsql><select><history><%s/></history></select></lsql>",
             property);
    snprintf(open, sizeof open, "<%s>", property);
    char *answer = vorn_query_eval_passive(request);
    const char *at = answer != NULL ? strstr(answer, open) : NULL;
    if (at != NULL)
        snprintf(value, sizeof value, "%.*s", (int)strcspn(at + strlen(open), "<"),
                 at + strlen(open));
    free(answer);
    return value;
}

static void look_at_history(void *eloop_data, void *user_data)
{
    (void)eloop_data;
    (void)user_data;
    const char *missing = plugin_that_does_not_run();
    if (vorn_classes_get("history") == NULL) {
        say("waiting for the plugin history");
    } else if (missing != NULL) {
        /* Nobody can tell whether it is the one that was confirmed. */
        snprintf(state, sizeof state, "waiting for the plugin %s, which does not run", missing);
    } else if (strcmp(state_of_history("proven"), "yes") != 0) {
        say("waiting to be proven");
        look_later(seconds_between_looks);
    } else if (strcmp(state_of_history("upgrade"), "pending") == 0) {
        say("waiting to be confirmed");
        look_later(seconds_between_looks);
    } else {
        begin(method->mark, method->feed);
    }
}

static void use_method(const char *name)
{
    give_up();
    eloop_cancel_timeout(look_at_history, NULL, NULL);
    method = method_called(name);
    step = 0;
    method_look_at_system(&known);
    say(method != NULL ? "waiting to be proven" : "off");
    if (method != NULL && !vorn_process_no_actions) run_next();
}

static const char *method_in(const vorn_instances *configuration)
{
    return value_of(vorn_instances_get_singleton(configuration, firmware_class), "method");
}

static void commit(vorn_commit_info *info)
{
    if (!booted || !vorn_changes_contains_class(vorn_commit_info_get_changes(info), firmware_class))
        return;
    const char *name = method_in(vorn_commit_info_get_after(info));
    if (method_called(name) != method) use_method(name);
}

static void explain(vorn_commit_info *info, vorn_explanation *explanation)
{
    const char *name = method_in(vorn_commit_info_get_after(info));
    if (method_called(name) == method || method_called(name) == NULL) return;
    vorn_explanation_add(explanation, VORN_EXPLAIN_NOTHING,
                         "the boot loader is told that the firmware is good, by \"%s\", once it "
                         "is proven and confirmed",
                         method_called(name)->mark[0]);
}

static const char *tell(vorn_instance *instance, const char *property, vorn_refresh_info *info)
{
    (void)instance;
    (void)info;
    if (strcmp(property, "slot") == 0) return known.slot;
    if (strcmp(property, "version") == 0) return known.version;
    if (strcmp(property, "good") == 0) return known.is_good ? "yes" : "no";
    return state;
}

static void boot_is_over(void *eloop_data, void *user_data)
{
    (void)eloop_data;
    (void)user_data;
    booted = 1;
    use_method(method_in(vorn_config_get_running()));
}

static vorn_refresher *declare(void)
{
    vorn_class *klass = declare_class(firmware_class, VORN_CLASS_SINGLETON);
    vorn_refresher *refresher = vorn_refresher_new(firmware_class);
    if (klass == NULL || refresher == NULL || declare_one_of(klass, "method", method_names) != 0 ||
        declare_told(klass, properties, refresher, tell) != 0)
        return NULL;
    describe_class(klass, "Firmware",
                   "What this device runs, and whether its boot loader is told "
                   "that it works.",
                   "System", 140);
    describe(klass, "method", "Method", "How the boot loader is told; it isn't if it isn't set.",
             "rauc");
    describe(klass, "slot", "Slot", "Which one the firmware runs from.", NULL);
    describe(klass, "version", "Version", "Of the firmware.", NULL);
    describe(klass, "state", "State", "Whether the boot loader was told, or why not.", NULL);
    describe(klass, "good", "Good", "Whether the boot loader knows that this firmware works.",
             NULL);
    return vorn_classes_add(klass) == 0 ? refresher : NULL;
}

void vorn_plugin_init(void)
{
    if (vorn_plugin_new("1.0") == NULL) return;
    vorn_refresher *refresher = declare();
    vorn_provider *provider = refresher != NULL ? vorn_provider_new(firmware_class) : NULL;
    if (provider == NULL) return;
    vorn_provider_set_commit_fn(provider, commit, NULL);
    vorn_provider_set_explain_fn(provider, explain, NULL);
    vorn_provider_set_refresh_fn(provider, vorn_refresher_fn, refresher);
    if (vorn_providers_add(provider) != 0) return;
    vorn_providers_order(firmware_class, "save");
    eloop_register_timeout(0, 0, boot_is_over, NULL, NULL);
}
