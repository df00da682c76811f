/* SPDX-License-Identifier: MIT */
/*
 * A program that runs all the time: beacond sends the text that is configured, and reads it from a
 * file of its own.
 */
#include <stdio.h>
#include <string.h>
#include <vorn-plugin/repair.h>
#include <vorn-plugin/supervise.h>
#include <vorn-plugin/whole_file.h>
#include <vorn/vorn.h>

static const char config_file[] = "/var/run/beacon.conf";

static supervised *beacond;
static int has_failed; /* to write the file */

/* What becomes a line of a file must not become two. */
enum { line_room = 128 };

static int is_text(const char *value)
{
    return strlen(value) <= 80 && strpbrk(value, "\r\n") == NULL;
}

static const char *const arguments[] = {"beacond", "-f", config_file, NULL};
static const char *const files[] = {config_file, NULL};
static const supervise_plan plan = {arguments, files, 0};

/* What its file is to hold. Whether it is to run at all. */
static int make_line(char line[line_room], const vorn_instances *configuration)
{
    const vorn_instance *beacon = vorn_instances_get_singleton(configuration, "beacon");
    const char *text = beacon != NULL ? vorn_instance_get_value(beacon, "text") : NULL;
    if (text == NULL || *text == '\0') return 0;
    snprintf(line, line_room, "text=%s\n", text);
    return 1;
}

static void run(const char *line)
{
    has_failed = write_file_whole(config_file, line, 0644) < 0;
    if (!has_failed) has_failed = supervise_run_plan(beacond, &plan) != 0;
}

static int is_concerned(const vorn_commit_info *info)
{
    return vorn_changes_contains_class(vorn_commit_info_get_changes(info), "beacon");
}

static const char *const own_classes[] = {"beacon", NULL};

/*
 * Any commit is a chance for a program that waits for its next start, unless it is for somebody
 * else.
 */
static void commit(vorn_commit_info *info)
{
    char line[line_room];
    if (!repair_concerns(info, own_classes)) return;
    if (!is_concerned(info)) {
        supervise_try_again(beacond);
    } else if (make_line(line, vorn_commit_info_get_after(info))) {
        run(line);
    } else {
        supervise_stop(beacond);
    }
}

/* What that would come to. */
static void explain(vorn_commit_info *info, vorn_explanation *explanation)
{
    char line[line_room];
    enum supervise_deed deed = supervise_foresee_try(beacond);
    if (!repair_concerns(info, own_classes)) return;
    if (is_concerned(info)) {
        const int runs = make_line(line, vorn_commit_info_get_after(info));
        const int has_new_file = runs && whole_file_differs(config_file, line);
        deed = supervise_foresee(beacond, runs ? &plan : NULL, has_new_file);
    }
    if (deed == SUPERVISE_STARTS) {
        vorn_explanation_add(explanation, VORN_EXPLAIN_LIVE, "beacond starts");
    } else if (deed == SUPERVISE_RESTARTS) {
        vorn_explanation_add(explanation, VORN_EXPLAIN_INTERRUPTS,
                             "beacond starts anew: for a moment nobody hears it");
    } else if (deed == SUPERVISE_ENDS) {
        vorn_explanation_add(explanation, VORN_EXPLAIN_INTERRUPTS, "beacond ends");
    }
}

static const char *state(vorn_instance *instance, const char *property, vorn_refresh_info *info)
{
    (void)instance;
    (void)property;
    (void)info;
    return has_failed ? "failed: can't write its file" : supervise_state(beacond);
}

/* What the first version saved, and what has become of it. */
static const struct vorn_migration steps[] = {
    VORN_RENAME_PROPERTY(1, "beacon", "message", "text"),
};

void vorn_plugin_init(void)
{
    vorn_plugin *plugin = vorn_plugin_new("1.0");
    if (plugin == NULL) return;
    vorn_plugin_set_schema(plugin, "beacon", 1, steps, sizeof steps / sizeof *steps);
    beacond = supervise_new("beacond");
    if (beacond == NULL) return;

    vorn_property *text = vorn_property_new("text");
    vorn_property_set_is_valid_fn(text, is_text);
    vorn_property_set_syntax(text, "<one line of up to 80 bytes>");
    vorn_property *told = vorn_property_new("state");
    vorn_property_set_writable(told, 0);
    vorn_property_set_persistence(told, 0);

    vorn_class *beacon = vorn_class_new("beacon");
    vorn_class_set_type(beacon, VORN_CLASS_SINGLETON);
    vorn_class_set_persistence(beacon, 1);
    vorn_class_add_property(beacon, text);
    vorn_class_add_property(beacon, told);
    vorn_classes_add(beacon);

    vorn_refresher *refresher = vorn_refresher_new("beacon");
    vorn_refresher_set_property_fn(refresher, "state", state);

    vorn_provider *provider = vorn_provider_new("beacon");
    vorn_provider_set_commit_fn(provider, commit, NULL);
    vorn_provider_set_explain_fn(provider, explain, NULL);
    vorn_provider_set_refresh_fn(provider, vorn_refresher_fn, refresher);
    vorn_providers_add(provider);
    vorn_providers_order("beacon", "save");
}
