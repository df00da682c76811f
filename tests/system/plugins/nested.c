/* SPDX-License-Identifier: MIT */
/*
 * A plugin that asks the daemon in the middle of whatever the daemon asks it: the inform request
 * "nest" says at which place, and how. With "outer" it changes the value itself, from its handler.
 */
#include "vorn/vorn.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static char place[16];
static char kind[16];

static void nest_at(const char *here)
{
    static const char *const columns[] = {"*name", "note", NULL};
    char request[160];
    char line[32];

    if (strcmp(place, here) != 0) return;
    place[0] = '\0';
    snprintf(request, sizeof request,
             "<lsql><update><Nested name=\"n\"><note>%s-%s</note></Nested></update></lsql>", here,
             kind);
    snprintf(line, sizeof line, "n %s-%s\n", here, kind);
    if (strcmp(kind, "active") == 0) free(vorn_query_eval(request));
    if (strcmp(kind, "passive") == 0) free(vorn_query_eval_passive(request));
    if (strcmp(kind, "object") == 0) vorn_util_put2object(line, columns, "Nested");
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
