/* SPDX-License-Identifier: MIT */
/* Shows what the last commits took, so that a slow device tells which of its plugins is to blame.
 */
#include <inttypes.h>
#include <stdio.h>
#include <string.h>

#include "declare.h"
#include "replace.h"
#include "values.h"

enum { longest_name = 64, most_listed = 12, most_commits = 64 };

static const char class_name[] = "commit";
static const char *const properties[] = {"time",  "origin",    "changed",  "deleted",
                                         "parse", "refresh",   "validate", "apply",
                                         "save",  "providers", NULL};

static void set_number(vorn_instance *commit, const char *property, uint32_t number)
{
    char text[16];
    snprintf(text, sizeof text, "%" PRIu32, number);
    vorn_instance_set_value(commit, property, text);
}

/* "NAME INSTANCES MICROSECONDS" of each, commas between them. */
static void set_providers(vorn_instance *commit, const vorn_commit_report *report)
{
    char text[most_listed * (longest_name + 32)] = "";
    size_t used = 0;
    const char *name;
    for (unsigned int rank = 0; (name = vorn_commit_report_get_provider(report, rank)) != NULL;
         rank++) {
        const int length = snprintf(text + used, sizeof text - used, "%s%.*s %" PRIu32 " %" PRIu32,
                                    rank > 0 ? ", " : "", longest_name, name,
                                    vorn_commit_report_get_provider_instances(report, rank),
                                    vorn_commit_report_get_provider_microseconds(report, rank));
        if (length < 0 || (size_t)length >= sizeof text - used) break;
        used += (size_t)length;
    }
    text[used] = '\0';
    vorn_instance_set_value(commit, "providers", text);
}

static void add_commit(vorn_instances *commits, const vorn_commit_report *report)
{
    char name[16];
    char when[TIME_TEXT];
    snprintf(name, sizeof name, "%" PRIu32, vorn_commit_report_get_number(report));
    vorn_instance *commit = vorn_instance_new(vorn_classes_get(class_name), name);
    if (commit == NULL) return;
    vorn_instance_set_value(commit, "time", time_text(vorn_commit_report_get_time(report), when));
    vorn_instance_set_value(commit, "origin", vorn_commit_report_get_origin(report));
    set_number(commit, "changed", vorn_commit_report_get_changed(report));
    set_number(commit, "deleted", vorn_commit_report_get_deleted(report));
    static const char *const phases[] = {"parse", "refresh", "validate", "apply", "save"};
    for (int phase = VORN_COMMIT_PARSE; phase <= VORN_COMMIT_SAVE; phase++)
        set_number(commit, phases[phase], vorn_commit_report_get_microseconds(report, phase));
    set_providers(commit, report);
    if (vorn_instances_add(commits, commit) != 0) vorn_instance_delete(commit);
}

static void show_commits(vorn_refresh_info *info, void *data)
{
    (void)data;
    if (!vorn_refresh_info_contains_class(info, class_name)) return;

    vorn_instances *commits = vorn_instances_new();
    if (commits == NULL) return;
    for (unsigned int ago = most_commits; ago-- > 0;) {
        const vorn_commit_report *report = vorn_commit_report_get(ago);
        if (report != NULL) add_commit(commits, report);
    }
    replace_instances(vorn_refresh_info_get_instances(info), class_name, commits, properties);
    vorn_instances_delete_all(commits);
}

void vorn_plugin_init(void)
{
    if (vorn_plugin_new("1.0") == NULL ||
        declare_shown(class_name, VORN_CLASS_UNIQUE_NAMED, properties) != 0)
        return;

    vorn_provider *provider = vorn_provider_new("commits");
    if (provider == NULL) return;
    vorn_provider_set_refresh_fn(provider, show_commits, NULL);
    vorn_providers_add(provider);
}
