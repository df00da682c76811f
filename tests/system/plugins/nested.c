/* SPDX-License-Identifier: MIT */
/*
 * A plugin that asks the daemon in the middle of whatever the daemon asks it: the inform request
 * "nest" says at which place, and how. With "outer" it changes the value itself, from its handler.
 */
#include "vorn/vorn.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#define UPDATE "<update><Nested name=\"n\"><note>", "</note></Nested></update>"
#define INSERT "<insert><Nested name=\"new\"><note>", "</note></Nested></insert>"
#define DELETE(name) "<delete><Nested name=\"" name "\"/></delete><!--", "-->"
#define TRANSACTION                                                                                \
    "<write-transaction><update><Nested name=\"n\"><note>",                                        \
        "</note></Nested></update></write-transaction>"

/* What stands before and after the note, which is made of the place and the kind. */
static const struct {
    const char *kind;
    const char *before; /* null for one that goes through vorn_util_put2object */
    const char *after;
    char *(*evaluate)(const char *request);
} requests[] = {
    {"active", UPDATE, vorn_query_eval},
    {"passive", UPDATE, vorn_query_eval_passive},
    {"object", NULL, NULL, NULL},
    {"insert", INSERT, vorn_query_eval},
    {"passive-insert", INSERT, vorn_query_eval_passive},
    {"delete", DELETE("old"), vorn_query_eval},
    {"passive-delete", DELETE("old"), vorn_query_eval_passive},
    {"delete-it", DELETE("n"), vorn_query_eval},
    {"transaction", TRANSACTION, vorn_query_eval},
    {"passive-transaction", TRANSACTION, vorn_query_eval_passive},
};

static char place[16];
static char kind[24];

static void nest_at(const char *here)
{
    static const char *const columns[] = {"*name", "note", NULL};
    char request[192];
    char line[48];

    if (strcmp(place, here) != 0) return;
    place[0] = '\0';
    for (size_t i = 0; i < sizeof requests / sizeof *requests; i++) {
        if (strcmp(kind, requests[i].kind) != 0) continue;
        if (requests[i].before == NULL) {
            snprintf(line, sizeof line, "n %s-%s\n", here, kind);
            vorn_util_put2object(line, columns, "Nested");
            return;
        }
        snprintf(request, sizeof request, "<lsql>%s%s-%s%s</lsql>", requests[i].before, here, kind,
                 requests[i].after);
        char *answer = requests[i].evaluate(request);
        vorn_debug_eprintf("nested: %s\n", answer != NULL ? answer : "no answer");
        free(answer);
    }
}

static int judge(const char *value)
{
    nest_at("validator");
    return *value != '\0';
}

static int is_anything(const char *value)
{
    return value != NULL;
}

static void commit(vorn_commit_info *info)
{
    (void)info;
    nest_at("commit");
}

static void refresh(vorn_refresh_info *info, void *data)
{
    (void)info;
    (void)data;
    nest_at("refresh");
}

static int nest(void)
{
    const char *outer = vorn_inform_get_value("outer");
    snprintf(place, sizeof place, "%s", vorn_inform_get_value("place"));
    snprintf(kind, sizeof kind, "%s", vorn_inform_get_value("kind"));
    if (outer == NULL) return 0;

    char request[160];
    snprintf(request, sizeof request,
             "<lsql><update><Nested name=\"n\"><value>%s</value></Nested></update></lsql>", outer);
    char *answer = vorn_query_eval(request);
    const int has_failed = answer == NULL || strstr(answer, "<rc>0</rc>") == NULL;
    free(answer);
    return has_failed;
}

void vorn_plugin_init(void)
{
    if (vorn_plugin_new("1.0") == NULL) return;

    vorn_class *nested = vorn_class_new("Nested");
    vorn_class_set_type(nested, VORN_CLASS_UNIQUE_NAMED);
    vorn_class_set_persistence(nested, 1);
    vorn_property *value = vorn_property_new("value");
    vorn_property_set_is_valid_fn(value, judge);
    vorn_class_add_property(nested, value);
    vorn_property *note = vorn_property_new("note");
    vorn_property_set_is_valid_fn(note, is_anything);
    vorn_class_add_property(nested, note);
    vorn_classes_add(nested);

    vorn_provider *provider = vorn_provider_new("nested");
    vorn_provider_set_commit_fn(provider, commit, NULL);
    vorn_provider_set_refresh_fn(provider, refresh, NULL);
    vorn_providers_add(provider);
    vorn_inform_fn_add("nest", nest);
}
