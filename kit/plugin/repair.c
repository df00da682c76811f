/* SPDX-License-Identifier: MIT */
#include "vorn-plugin/repair.h"

#include <stdio.h>
#include <string.h>

static const char repair_class[] = "repair";

static int is_of_others(vorn_instances_iterator *walk)
{
    int found = walk == NULL; /* without memory: rather too much */
    while (!found && vorn_instances_iterator_has_next(walk)) {
        const vorn_instance *each = vorn_instances_iterator_next(walk);
        found = strcmp(vorn_instance_get_class_name(each), repair_class) != 0;
    }
    vorn_instances_delete_iterator(walk);
    return found;
}

static int changes_others(const vorn_changes *changes)
{
    return is_of_others(vorn_changes_new_class_instances_iterator(changes, NULL)) ||
           is_of_others(vorn_changes_new_deleted_class_instances_iterator(changes, NULL));
}

void repair_of(const vorn_commit_info *info, repair *made)
{
    const vorn_changes *changes = vorn_commit_info_get_changes(info);
    made->what[0] = '\0';
    if (!vorn_changes_contains_class(changes, repair_class) || changes_others(changes)) return;
    const vorn_instance *words =
        vorn_instances_get_singleton(vorn_commit_info_get_after(info), repair_class);
    const char *what = words != NULL ? vorn_instance_get_value(words, "what") : NULL;
    if (what == NULL || strcmp(what, "all") == 0) return;
    snprintf(made->what, sizeof made->what, "%s", what);
}

int repair_is_narrow(const repair *of)
{
    return of->what[0] != '\0';
}

static int is_kind_of(const char *class_name, const char *family)
{
    const char *above = vorn_class_get_superclass(vorn_classes_get(class_name));
    return strcmp(class_name, family) == 0 || (above != NULL && strcmp(above, family) == 0);
}

int repair_reaches(const repair *of, const char *class_name, const char *name)
{
    char asked[repair_room];
    if (!repair_is_narrow(of)) return 1;
    snprintf(asked, sizeof asked, "%s", of->what);
    char *blank = strchr(asked, ' ');
    if (blank != NULL) *blank = '\0';
    if (!is_kind_of(asked, class_name) && !is_kind_of(class_name, asked)) return 0;
    return blank == NULL || name == NULL || strcmp(blank + 1, name) == 0;
}

int repair_concerns(const vorn_commit_info *info, const char *const class_names[])
{
    repair asked;
    repair_of(info, &asked);
    int i = 0;
    while (class_names[i] != NULL && !repair_reaches(&asked, class_names[i], NULL))
        i++;
    return class_names[i] != NULL;
}
