/* SPDX-License-Identifier: MIT */
#include "generations.h"

#include <libxml/globals.h>

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "declare.h"
#include "describe.h"
#include "generation.h"
#include "history_folder.h"
#include "proving.h"
#include "replace.h"
#include "shelf.h"
#include "shown.h"
#include "slots.h"
#include "values.h"

static const char generation_class[] = "generation";
static const char *const heads[] = {"time",      "user",     "process", "program", "origin",
                                    "comment",   "schema",   "commit",  "changes", "result",
                                    "providers", "failures", "bytes",   "proven",  "pinned",
                                    "state",     NULL};

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
    vorn_instance_set_value(instance, "result", generation->result);
    vorn_instance_set_value(instance, "providers", generation->providers);
    vorn_instance_set_value(instance, "failures", generation->failures);
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
    vorn_instance_set_value(instance, "pinned", slots_has_pinned(number) ? "yes" : "no");
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
    xmlFree(document);
}

void generations_show(vorn_refresh_info *info)
{
    static struct shelf_content list;
    if (!vorn_refresh_info_contains_class(info, generation_class)) return;
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

int generations_declare(void)
{
    vorn_class *klass = vorn_class_new(generation_class);
    if (klass == NULL) return 1;
    vorn_class_set_type(klass, VORN_CLASS_UNIQUE_NAMED);
    for (const char *const *each = heads; *each != NULL; each++) {
        if (declare_state(klass, *each) != 0) return 1;
    }
    static const char *const about_others[] = {"changes", "bytes", "document", NULL};
    if (declare_state(klass, "document") != 0 || declare_about_others(klass, about_others) != 0)
        return 1;
    describe_class(klass, "Generation", "One save, as it was.", "Configuration", 530);
    describe(klass, "time", "Time", "When it was saved.", NULL);
    describe(klass, "user", "User", "Who asked for it.", NULL);
    describe(klass, "process", "Process", "Which process asked for it.", NULL);
    describe(klass, "program", "Program", "What that process calls itself.", NULL);
    describe(klass, "origin", "Origin", "As the request told it.", NULL);
    describe(klass, "comment", "Comment", "As the request told it.", NULL);
    describe(klass, "schema", "Schema", "The id of the schema that wrote it.", NULL);
    describe(klass, "commit", "Commit", "The number of its commit.", NULL);
    describe(klass, "changes", "Changes", "What it changed, in short.", NULL);
    describe(klass, "result", "Result", "What became of it by the save.", NULL);
    describe(klass, "providers", "Providers", "Who applied it, how much, and how long it took.",
             NULL);
    describe(klass, "failures", "Failures", "What could not be done by the save.", NULL);
    describe(klass, "bytes", "Size", "What its file takes.", NULL);
    describe_unit(klass, "bytes", "bytes");
    describe(klass, "proven", "Proven", "Whether a start with it has stayed up.", NULL);
    describe(klass, "pinned", "Pinned", "Whether it is kept whatever the limits say.", NULL);
    describe(klass, "state", "State", "Whether it can be read.", NULL);
    describe(klass, "document", "Document", "What was saved.", NULL);
    return vorn_classes_add(klass);
}
