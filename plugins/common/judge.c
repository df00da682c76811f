/* SPDX-License-Identifier: MIT */
#include "judge.h"

#include <net/if.h>
#include <stdarg.h>
#include <stdio.h>
#include <string.h>

#include "values.h"

int fault_is(fault *found, const char *property, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(found->reason, sizeof found->reason, format, arguments);
    va_end(arguments);
    found->property = property;
    return 1;
}

/* A radio makes the interfaces of its networks: wlan0, wlan0_1 and so on. */
int judge_is_of_radio(const vorn_instances *configuration, const char *link)
{
    char radio[IF_NAMESIZE];
    snprintf(radio, sizeof radio, "%.*s", (int)strcspn(link, "_"), link);
    return vorn_classes_get("radio") != NULL &&
           vorn_instances_get(configuration, "radio", radio) != NULL;
}

int judge_is_link(const vorn_instances *configuration, const char *link)
{
    const vorn_instances *running = vorn_config_get_running();
    return vorn_classes_get("interface") == NULL ||
           vorn_instances_get(configuration, "interface", link) != NULL ||
           judge_is_of_radio(configuration, link) ||
           (if_nametoindex(link) != 0 &&
            (running == NULL || vorn_instances_get(running, "interface", link) == NULL));
}

int fault_is_no_link(fault *found, const vorn_instances *configuration,
                     const vorn_instance *instance, const char *property)
{
    const char *link = value_of(instance, property);
    if (*link == '\0' || judge_is_link(configuration, link)) return 0;
    return fault_is(found, property, "there is no interface \"%s\"", link);
}

struct looked_for {
    const vorn_instances *configuration;
    const char *property;
    fault *found;
};

static int is_no_link(const char *word, void *data)
{
    const struct looked_for *for_what = data;
    return !judge_is_link(for_what->configuration, word) &&
           fault_is(for_what->found, for_what->property, "there is no interface \"%s\"", word);
}

int fault_is_no_link_of_list(fault *found, const vorn_instances *configuration,
                             const vorn_instance *instance, const char *property)
{
    struct looked_for for_what = {configuration, property, found};
    return for_each_word(value_of(instance, property), is_no_link, &for_what);
}

static int is_same_property(const char *left, const char *right)
{
    return left != NULL && right != NULL ? strcmp(left, right) == 0 : left == right;
}

/* What was before is put together only for what is wrong: it is all that the device has. */
static int had_it_before(const vorn_changes *changes, const char *class_name,
                         const vorn_instance *now, judge_fn judge, const fault *found)
{
    fault old;
    const vorn_instances *before = vorn_changes_get_before(changes);
    const vorn_instance *then = vorn_instances_get(before, class_name, vorn_instance_get_name(now));
    return then != NULL && judge(before, then, &old) &&
           is_same_property(old.property, found->property);
}

void judge_class(vorn_check_info *info, const char *class_name, judge_fn judge)
{
    fault found;
    const vorn_instances *configuration = vorn_check_info_get_instances(info);
    const vorn_changes *changes = vorn_check_info_get_changes(info);
    vorn_instances_iterator *walk = vorn_instances_new_class_iterator(configuration, class_name);
    while (walk != NULL && vorn_instances_iterator_has_next(walk)) {
        const vorn_instance *each = vorn_instances_iterator_next(walk);
        if (!judge(configuration, each, &found)) continue;
        if (!vorn_changes_contains_instance(changes, each) &&
            had_it_before(changes, class_name, each, judge, &found)) {
            continue;
        }
        vorn_check_info_refuse(info, each, found.property, "%s", found.reason);
    }
    vorn_instances_delete_iterator(walk);
}
