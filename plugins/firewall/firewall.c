/* SPDX-License-Identifier: MIT */
/*
 * The firewall: zones, what goes between them, port forwards and rules, for nftables. Each commit,
 * of anything, compares what the kernel is to have with what it was last given, and with a look at
 * the kernel whether it has that still; only a difference runs nft, once.
 */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "concerns.h"
#include "in_kernel.h"
#include "nft.h"
#include "ruleset.h"
#include "stricter.h"
#include "values.h"
#include "vorn-plugin/repair.h"

enum { reason_room = 240 };

static ruleset loaded;     /* what the kernel was given last */
static uint64_t left_mark; /* how it looked then */

static ruleset wanted; /* what it is being given */
static enum deed doing;
static ruleset queued; /* what it is to be given then */
static int is_queued;

static char failure[reason_room];

/* A table that does not look as it was left may be anybody's, also a killed daemon's. */
static enum deed foresee(const ruleset *next, uint64_t mark)
{
    if (mark != left_mark) {
        if (next->table != NULL) return FIREWALL_REPLACES;
        return mark != 0 ? FIREWALL_REMOVES : FIREWALL_LEAVES;
    }
    if (ruleset_equals(next, &loaded)) return FIREWALL_LEAVES;
    if (next->table == NULL) return FIREWALL_REMOVES;
    return loaded.table != NULL ? FIREWALL_CHANGES : FIREWALL_REPLACES;
}

/* While nft is at work the table is on its way to be another one. */
static enum deed foresee_any(const ruleset *next)
{
    if (!nft_is_busy()) return foresee(next, in_kernel_mark());
    if (ruleset_equals(next, is_queued ? &queued : &wanted)) return FIREWALL_LEAVES;
    return next->table != NULL ? FIREWALL_CHANGES : FIREWALL_REMOVES;
}

static void move(ruleset *to, ruleset *from)
{
    ruleset_free(to);
    *to = *from;
    *from = (ruleset){NULL, NULL};
}

static void is_there(ruleset *now, uint64_t mark)
{
    move(&loaded, now);
    left_mark = mark;
    failure[0] = '\0';
}

static void begin(enum deed deed);
static void apply(ruleset *next);

static void has_failed(const char *reason)
{
    snprintf(failure, sizeof failure, "nft: %s", reason);
    vorn_debug_eprintf("firewall: %s.\n", failure);
    vorn_commit_report_add_failure("firewall: %s", failure);
}

/* Somebody else may have taken a counter away that was to be deleted. */
static void has_ended(const char *reason)
{
    if (reason != NULL && doing == FIREWALL_CHANGES) {
        begin(FIREWALL_REPLACES);
        return;
    }
    if (reason != NULL) has_failed(reason);
    if (reason == NULL) is_there(&wanted, in_kernel_mark());
    if (is_queued) {
        is_queued = 0;
        apply(&queued);
    }
}

static void begin(enum deed deed)
{
    doing = deed;
    nft_run(ruleset_document(&wanted, &loaded, deed), has_ended);
}

/* Takes it over. A change that has begun can't be called back: the next one waits for its end. */
static void apply(ruleset *next)
{
    if (nft_is_busy()) {
        move(&queued, next);
        is_queued = 1;
        return;
    }
    const uint64_t mark = in_kernel_mark();
    const enum deed deed = foresee(next, mark);
    if (deed == FIREWALL_LEAVES) {
        is_there(next, mark);
    } else {
        move(&wanted, next);
        begin(deed);
    }
}

static void has_no_memory(void)
{
    snprintf(failure, sizeof failure, "no memory");
    vorn_debug_eprintf("firewall: no memory for the rules.\n");
    vorn_commit_report_add_failure("firewall: no memory for the rules");
}

static void commit(vorn_commit_info *info)
{
    ruleset next;
    if (!repair_concerns(info, firewall_classes)) return;
    if (ruleset_make(&next, vorn_commit_info_get_after(info)) != 0) {
        has_no_memory();
    } else {
        apply(&next);
    }
}

static void explain_deed(vorn_explanation *explanation, enum deed deed)
{
    static const char *const words[] = {
        [FIREWALL_CHANGES] = "nft changes the rules at once; connections that are there go on",
        [FIREWALL_REPLACES] = "nft loads all rules; connections that are there go on",
        [FIREWALL_REMOVES] = "nft removes all rules; everything is let through"};
    if (deed != FIREWALL_LEAVES)
        vorn_explanation_add(explanation, VORN_EXPLAIN_LIVE, "%s", words[deed]);
}

static void explain(vorn_commit_info *info, vorn_explanation *explanation)
{
    ruleset next;
    const vorn_instances *after = vorn_commit_info_get_after(info);
    const vorn_instances *before = vorn_changes_get_before(vorn_commit_info_get_changes(info));
    if (!repair_concerns(info, firewall_classes) || ruleset_make(&next, after) != 0) return;
    const enum deed deed = foresee_any(&next);
    ruleset_free(&next);
    explain_deed(explanation, deed);
    if (deed != FIREWALL_LEAVES && before != NULL) stricter_explain(explanation, before, after);
}

static void check(vorn_check_info *info, void *data)
{
    static const char *const concerned[] = {"interface", "radio", NULL};
    const vorn_changes *changes = vorn_check_info_get_changes(info);
    int is_concerned = 0;
    (void)data;
    for (int i = 0; concerned[i] != NULL; i++)
        is_concerned |= vorn_changes_contains_class(changes, concerned[i]);
    for (int i = 0; i < class_count; i++)
        is_concerned |= vorn_changes_contains_class(changes, firewall_classes[i]);
    for (int i = 1; i < class_count && is_concerned; i++)
        judge_class(info, firewall_classes[i], firewall_judge);
}

static vorn_refresher *refreshers[class_count];
static const char *state_of_all; /* of this request */

static const char *look(void)
{
    static char text[reason_room + 16];
    if (nft_is_busy()) return "applying";
    if (*failure != '\0') {
        snprintf(text, sizeof text, "failed: %s", failure);
        return text;
    }
    if (in_kernel_mark() != left_mark) return "differs: somebody else has changed the rules";
    return loaded.table != NULL ? "applied" : "stopped";
}

static const char *state(vorn_instance *instance, const char *property, vorn_refresh_info *info)
{
    static char text[sizeof((fault *)NULL)->reason + 16];
    fault found;
    (void)property;
    if (firewall_judge(vorn_refresh_info_get_instances(info), instance, &found)) {
        snprintf(text, sizeof text, "failed: %s", found.reason);
        return text;
    }
    if (state_of_all == NULL) state_of_all = look();
    return state_of_all;
}

static struct counted *counts;
static size_t count_of_counts;

static void read_counters(vorn_refresh_info *info)
{
    (void)info;
    free(counts);
    count_of_counts = in_kernel_count(&counts);
}

static const char *counter(vorn_instance *instance, const char *property, vorn_refresh_info *info)
{
    static char text[24];
    (void)info;
    for (size_t i = 0; i < count_of_counts; i++) {
        if (strcmp(counts[i].name, vorn_instance_get_name(instance)) != 0) continue;
        const uint64_t value = strcmp(property, "bytes") == 0 ? counts[i].bytes : counts[i].packets;
        snprintf(text, sizeof text, "%llu", (unsigned long long)value);
        return text;
    }
    return "";
}

static void refresh(vorn_refresh_info *info, void *data)
{
    state_of_all = NULL;
    for (int i = 0; i < class_count; i++) {
        vorn_refresh_info_set_data(info, refreshers[i]);
        vorn_refresher_fn(info, data);
    }
    free(counts);
    counts = NULL;
    count_of_counts = 0;
}

void vorn_plugin_init(void)
{
    static const telling tell = {state, counter, read_counters};
    if (vorn_plugin_new("1.0") == NULL) return;

    vorn_provider *provider = vorn_provider_new("firewall");
    if (provider == NULL || classes_declare(&tell, refreshers) != 0) return;
    vorn_provider_set_commit_fn(provider, commit, NULL);
    vorn_provider_set_explain_fn(provider, explain, NULL);
    vorn_provider_set_refresh_fn(provider, refresh, NULL);
    vorn_provider_set_asks_first(provider);
    vorn_provider_set_check_fn(provider, check, NULL);
    vorn_providers_add(provider);
    vorn_providers_order("system", "firewall");
    vorn_providers_order("firewall", "network");
    vorn_providers_order("firewall", "save");
}
