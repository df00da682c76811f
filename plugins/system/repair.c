/* SPDX-License-Identifier: MIT */
/*
 * Somebody has changed the system by hand, and somebody else wants it back as it is configured. Any
 * commit does that; this one changes nothing, and says for whom it is. What was asked for is
 * forgotten when the last provider has done it, so that it can be asked for again.
 */
#include "repair.h"

#include <stdio.h>
#include <string.h>

#include "declare.h"
#include "describe.h"
#include "values.h"
#include "vorn-plugin/repair.h"

static const char class_name[] = "repair";
static const char what[] = "what";

enum { longest = repair_room - 1 };

static const vorn_instance *words_in(const vorn_instances *configuration)
{
    return vorn_instances_get_singleton(configuration, class_name);
}

static void judge(vorn_check_info *info, const vorn_instance *words)
{
    char class_asked[repair_room];
    const char *asked = value_of(words, what);
    const size_t length = strcspn(asked, " ");
    snprintf(class_asked, sizeof class_asked, "%.*s", (int)length, asked);
    if (*asked == '\0' || strcmp(asked, "all") == 0) return;
    if (vorn_classes_get(class_asked) == NULL) {
        vorn_check_info_refuse(info, words, what, "there is no class \"%s\"", class_asked);
    } else if (asked[length] != '\0' &&
               vorn_instances_get(vorn_check_info_get_instances(info), class_asked,
                                  asked + length + 1) == NULL) {
        vorn_check_info_refuse(info, words, what, "there is no %s \"%s\"", class_asked,
                               asked + length + 1);
    }
}

static void check(vorn_check_info *info, void *data)
{
    (void)data;
    if (!vorn_changes_contains_class(vorn_check_info_get_changes(info), class_name)) return;
    judge(info, words_in(vorn_check_info_get_instances(info)));
}

static void commit(vorn_commit_info *info)
{
    if (!vorn_changes_contains_class(vorn_commit_info_get_changes(info), class_name)) return;
    vorn_instance *words =
        vorn_instances_get_singleton(vorn_commit_info_get_after(info), class_name);
    if (words != NULL) vorn_instance_set_value(words, what, "");
}

static void explain(vorn_commit_info *info, vorn_explanation *explanation)
{
    repair asked;
    if (!vorn_changes_contains_class(vorn_commit_info_get_changes(info), class_name)) return;
    repair_of(info, &asked);
    vorn_explanation_add(explanation, VORN_EXPLAIN_NOTHING, "what differs%s%s is put right",
                         repair_is_narrow(&asked) ? " of " : "", asked.what);
}

void repair_declare(void)
{
    vorn_class *klass = vorn_class_new(class_name);
    vorn_provider *provider = vorn_provider_new(class_name);
    if (klass == NULL || provider == NULL) return;
    vorn_class_set_type(klass, VORN_CLASS_SINGLETON);
    describe_class(klass, "Repair", "Puts right what somebody has changed past the configuration.",
                   "System", 120);
    if (declare_text(klass, what, 0, longest) != 0) return;
    vorn_property *scope = vorn_class_get_property(klass, what);
    vorn_property_set_persistence(scope, 0);
    vorn_property_set_readable(scope, 0);
    vorn_property_set_syntax(scope, "all|<a class>|<a class, a blank and a name>");
    describe(klass, what, "What", "Everything, a class or one instance; it is forgotten when done.",
             "bridge br0");
    if (vorn_classes_add(klass) != 0) return;
    vorn_provider_set_check_fn(provider, check, NULL);
    vorn_provider_set_commit_fn(provider, commit, NULL);
    vorn_provider_set_explain_fn(provider, explain, NULL);
    vorn_providers_add(provider);
    vorn_providers_order("save", class_name);
}
