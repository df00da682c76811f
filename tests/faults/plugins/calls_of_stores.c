/* SPDX-License-Identifier: MIT */
/* Calls that look at stores: at a change set, at a commit, at a transaction's working copy. */
#include "vorn/vorn.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "calls.h"

static FILE *nowhere;

/* A store with one radio, whose channel was 7 and has become 8. */
struct scene {
    vorn_instances *store;
    vorn_instance *radio;
    vorn_changes *changes;
};

static int set(struct scene *scene)
{
    scene->store = vorn_instances_new();
    scene->radio = vorn_instance_new(vorn_classes_get("Radio"), "x");
    if (scene->store == NULL || scene->radio == NULL ||
        vorn_instance_set_value(scene->radio, "channel", "7") != 0) {
        return 0;
    }
    if (vorn_instances_add(scene->store, scene->radio) != 0) return 0;
    scene->changes = vorn_changes_new(scene->store);
    return scene->changes != NULL && vorn_instance_set_value(scene->radio, "channel", "8") == 0;
}

static void clear(struct scene *scene)
{
    vorn_changes_delete(scene->changes);
    if (scene->radio != NULL) {
        if (scene->store != NULL) vorn_instances_remove(scene->store, scene->radio);
        vorn_instance_delete(scene->radio);
    }
    vorn_instances_delete(scene->store);
}

static enum outcome with_scene(enum outcome (*act)(struct scene *scene))
{
    struct scene scene = {NULL, NULL, NULL};
    const enum outcome outcome = set(&scene) ? act(&scene) : REFUSED;

    clear(&scene);
    return outcome;
}

static enum outcome was_seven(const vorn_instance *before)
{
    const char *channel = before != NULL ? vorn_instance_get_value(before, "channel") : NULL;

    if (before == NULL) return REFUSED;
    return channel != NULL && strcmp(channel, "7") == 0 ? DONE : BROKEN;
}

static enum outcome look_at_before(struct scene *scene)
{
    const vorn_instances *before = vorn_changes_get_before(scene->changes);

    return before != NULL ? was_seven(vorn_instances_get(before, "Radio", "x")) : REFUSED;
}

static enum outcome look_at_instance_before(struct scene *scene)
{
    return was_seven(vorn_changes_get_instance_before(scene->changes, scene->radio));
}

static enum outcome print_changes(struct scene *scene)
{
    vorn_changes_print(scene->changes, nowhere);
    return DONE;
}

static enum outcome get_before(void)
{
    return with_scene(look_at_before);
}

static enum outcome get_instance_before(void)
{
    return with_scene(look_at_instance_before);
}

static enum outcome changes_print(void)
{
    return with_scene(print_changes);
}

/* What is done while this plugin's provider is told of a commit, or asked to refresh. */
static enum outcome (*in_commit)(vorn_commit_info *info);
static enum outcome (*in_refresh)(vorn_instances *instances);
static enum outcome outcome_inside;

static void commit(vorn_commit_info *info)
{
    if (in_commit != NULL) outcome_inside = in_commit(info);
}

static void refresh(vorn_refresh_info *info, void *data)
{
    (void)data;
    if (in_refresh != NULL) outcome_inside = in_refresh(vorn_refresh_info_get_instances(info));
}

static enum outcome look_at_commit(vorn_commit_info *info)
{
    const vorn_instances *before = vorn_commit_info_get_before(info);

    return before != NULL ? done_if(vorn_instances_get(before, "Radio", "r0") != NULL) : REFUSED;
}

static enum outcome commit_info_get_before(void)
{
    outcome_inside = REFUSED;
    in_commit = look_at_commit;
    free(vorn_query_eval("<lsql><update><Board><label>roof</label></Board></update></lsql>"));
    in_commit = NULL;
    return outcome_inside;
}

/* A passive transaction's working copy is dropped at its end, whatever was done to it. */
static enum outcome on_working_copy(enum outcome (*act)(vorn_instances *instances))
{
    outcome_inside = REFUSED;
    in_refresh = act;
    free(vorn_query_eval_passive("<lsql><write-transaction><update><Board><label>roof</label>"
                                 "</Board></update></write-transaction></lsql>"));
    in_refresh = NULL;
    return outcome_inside;
}

static enum outcome get_radio(vorn_instances *instances)
{
    return done_if(vorn_instances_get(instances, "Radio", "r1") != NULL);
}

static enum outcome get_board(vorn_instances *instances)
{
    return done_if(vorn_instances_get_singleton(instances, "Board") != NULL);
}

static enum outcome ask_whether_empty(vorn_instances *instances)
{
    return done_if(!vorn_instances_is_empty(instances));
}

static enum outcome print_instances(vorn_instances *instances)
{
    return done_if(vorn_instances_print(instances, nowhere) == 0);
}

static enum outcome remove_routes(vorn_instances *instances)
{
    return done_if(vorn_instances_remove_class(instances, "Route") == 0);
}

static enum outcome delete_routes(vorn_instances *instances)
{
    return done_if(vorn_instances_delete_class(instances, "Route") == 0);
}

static enum outcome instances_get(void)
{
    return on_working_copy(get_radio);
}

static enum outcome instances_get_singleton(void)
{
    return on_working_copy(get_board);
}

static enum outcome instances_is_empty(void)
{
    return on_working_copy(ask_whether_empty);
}

static enum outcome instances_print(void)
{
    return on_working_copy(print_instances);
}

static enum outcome instances_remove_class(void)
{
    return on_working_copy(remove_routes);
}

static enum outcome instances_delete_class(void)
{
    return on_working_copy(delete_routes);
}

static enum outcome query_eval_passive(void)
{
    char *answer = vorn_query_eval_passive("<lsql><select><Board><label/></Board></select></lsql>");
    const enum outcome outcome = done_if(answer != NULL && strstr(answer, ">roof<") != NULL);

    free(answer);
    return outcome;
}

static enum outcome query_action(void)
{
    vorn_query_action("calls", "act", "Board", NULL);
    return DONE;
}

static enum outcome put2object(void)
{
    static const char *const columns[] = {"*name", "channel", NULL};

    vorn_util_put2object("r0 1\n", columns, "Radio");
    return DONE;
}

static const char *const status_columns[] = {"*name", "uptime", NULL};
static vorn_util_txt_table status = {0, NULL, NULL, NULL, NULL, status_columns};
static vorn_util_txt_table *const status_tables[] = {&status, NULL};

static enum outcome add_properties(void)
{
    vorn_class *klass = vorn_class_new("Status");

    return done_if(klass != NULL && vorn_util_txt_tables_add_properties(status_tables, klass) == 0);
}

static const char *no_value(vorn_instance *instance, const char *property, vorn_refresh_info *info)
{
    (void)instance;
    (void)property;
    (void)info;
    return NULL;
}

static enum outcome add_refresh(void)
{
    vorn_refresher *refresher = vorn_refresher_new("Radio");

    return done_if(refresher != NULL &&
                   vorn_util_txt_tables_add_refresh(status_tables, refresher, no_value) == 0);
}

static int refuses;

static void check(vorn_check_info *info, void *data)
{
    (void)data;
    vorn_instances *all = vorn_check_info_get_instances(info);
    if (vorn_check_info_is_rehearsal(info) && refuses) return;
    if (!refuses || all == NULL || vorn_check_info_get_changes(info) == NULL) return;
    const vorn_instance *radio = vorn_instances_get(all, "Radio", "r0");
    if (radio != NULL) vorn_check_info_refuse(info, radio, "channel", "not this %s", "one");
}

static int amends;

/* Back to nothing, which nobody may. */
static void amend(vorn_amend_info *info, void *data)
{
    static const char document[] = "<config><Radio name=\"r1\"/></config>";
    (void)data;
    vorn_instances *all = vorn_amend_info_get_instances(info);
    if (!amends || all == NULL || vorn_amend_info_get_changes(info) == NULL) return;
    vorn_amend_info_accept(info);
    if (vorn_amend_info_become(info, document, strlen(document)) != 0) return;
    const vorn_instance *radio = vorn_instances_get(all, "Radio", "r0");
    if (radio == NULL) vorn_amend_info_refuse(info, NULL, NULL, "not this %s", "one");
}

static enum outcome refuse_by(int *who)
{
    *who = 1;
    char *answer = vorn_query_eval("<lsql><write-transaction><update><Radio name=\"r0\"><channel>"
                                   "13</channel></Radio></update></write-transaction></lsql>");
    *who = 0;
    if (answer == NULL) return REFUSED;
    const int told = strstr(answer, "not this one") != NULL;
    const int failed = strstr(answer, "<error>") != NULL;
    free(answer);
    if (!failed) return BROKEN;
    return told ? DONE : REFUSED;
}

static enum outcome check_info_refuse(void)
{
    return refuse_by(&refuses);
}

static enum outcome amend_info_refuse(void)
{
    return refuse_by(&amends);
}

static void explain(vorn_commit_info *info, vorn_explanation *explanation)
{
    if (vorn_commit_info_get_after(info) == vorn_config_get_running()) return;
    vorn_explanation_add(explanation, VORN_EXPLAIN_LIVE, "so it %s", "is");
}

static enum outcome explanation_add(void)
{
    char *answer = vorn_query_eval("<explain><update><Radio name=\"r0\"><channel>13</channel>"
                                   "</Radio></update></explain>");
    if (answer == NULL) return REFUSED;
    const int told = strstr(answer, "<effect weight=\"live\">so it is</effect>") != NULL;
    const int failed = strstr(answer, "<error>") != NULL;
    free(answer);
    return told ? DONE : failed ? REFUSED : BROKEN;
}

static enum outcome declare(int (*note)(vorn_property *, const char *),
                            const char *(*get)(const vorn_property *))
{
    vorn_property *property = vorn_property_new("via");
    vorn_property *clone = NULL;
    enum outcome outcome = REFUSED;
    if (property != NULL && note(property, "Radio") == 0) clone = vorn_property_clone(property);
    if (clone != NULL) {
        const char *declared = get(clone);
        outcome = declared != NULL && strcmp(declared, "Radio") == 0 ? DONE : BROKEN;
        vorn_property_delete(clone);
    }
    if (property != NULL) vorn_property_delete(property);
    return outcome;
}

/* What needs no memory answers all the same. */
static enum outcome ask_of_the_last_save(void)
{
    vorn_instance *radio = vorn_instance_new(vorn_classes_get("Radio"), "x");
    if (radio == NULL) return REFUSED;
    const int answered =
        strcmp(vorn_instance_get_class_name(radio), "Radio") == 0 &&
        vorn_config_get_save_result() == VORN_SAVE_NONE && *vorn_config_get_save_reason() == '\0' &&
        vorn_config_get_save_time() == 0 && vorn_config_get_broken() == NULL &&
        strcmp(vorn_config_get_source(), "startup") == 0 && vorn_config_forget_broken() == 0;
    vorn_instance_delete(radio);
    return done_if(answered);
}

/* The boot's report lies in memory of its own, so that it is there whatever is left. */
static enum outcome ask_of_the_last_commit(void)
{
    const vorn_commit_report *boot = vorn_commit_report_get(0);
    while (vorn_commit_report_get_number(boot) != 0)
        boot = vorn_commit_report_get(vorn_commit_report_get_number(boot));
    return done_if(
        boot != NULL && *vorn_commit_report_get_origin(boot) == '\0' &&
        vorn_commit_report_get_deleted(boot) == 0 && vorn_commit_report_get_time(boot) != 0 &&
        vorn_commit_report_get_microseconds(boot, VORN_COMMIT_SAVE) == 0 &&
        vorn_commit_report_get_provider(boot, 12) == NULL &&
        vorn_commit_report_get_provider_instances(boot, 12) == 0 &&
        vorn_commit_report_get_provider_microseconds(boot, 12) == 0 &&
        vorn_commit_report_get_providers_left_out(boot) == 0 &&
        vorn_commit_report_get_changed(boot) < 1000 && vorn_instances_get_left_behind() < 1000000 &&
        vorn_instances_get_left_behind_bytes() < 1000000000);
}

/* Of itself, which runs and has done no harm. */
static enum outcome ask_of_plugins(void)
{
    const char *name = vorn_plugins_get_name(0);
    return done_if(name != NULL && vorn_plugins_get_state(0) == VORN_PLUGIN_RUNNING &&
                   *vorn_plugins_get_version(0) != '\0' && vorn_plugins_get_deaths(0) == 0 &&
                   *vorn_plugins_get_callback(0) == '\0' && vorn_plugins_get_signal(0) == 0 &&
                   vorn_plugins_retry(name) == 1);
}

static enum outcome property_set_reference(void)
{
    return declare(vorn_property_set_reference, vorn_property_get_reference);
}

static enum outcome property_set_syntax(void)
{
    return declare(vorn_property_set_syntax, vorn_property_get_syntax);
}

static int is_never(const char *value)
{
    return vorn_property_refuse_value("Nothing is, not even %s.", value);
}

/* A refusal needs no memory of its own. */
static enum outcome property_refuse_value(void)
{
    return done_if(!is_never("this"));
}

const struct call store_calls[] = {
    {"vorn_config_get_save_result", ask_of_the_last_save, FREES},
    {"vorn_commit_report_get", ask_of_the_last_commit, TAKES_NONE},
    {"vorn_plugins_get", ask_of_plugins, TAKES_NONE},
    {"vorn_check_info_refuse", check_info_refuse, KEEPS},
    {"vorn_explanation_add", explanation_add, FREES},
    {"vorn_amend_info_refuse", amend_info_refuse, KEEPS},
    {"vorn_property_set_reference", property_set_reference, FREES},
    {"vorn_property_set_syntax", property_set_syntax, FREES},
    {"vorn_property_refuse_value", property_refuse_value, TAKES_NONE},
    {"vorn_changes_get_before", get_before, FREES},
    {"vorn_changes_get_instance_before", get_instance_before, FREES},
    {"vorn_changes_print", changes_print, FREES},
    {"vorn_commit_info_get_before", commit_info_get_before, FREES},
    {"vorn_instances_get", instances_get, FREES},
    {"vorn_instances_get_singleton", instances_get_singleton, FREES},
    {"vorn_instances_is_empty", instances_is_empty, FREES},
    {"vorn_instances_print", instances_print, FREES},
    {"vorn_instances_remove_class", instances_remove_class, KEEPS},
    {"vorn_instances_delete_class", instances_delete_class, FREES},
    {"vorn_query_eval_passive", query_eval_passive, FREES},
    {"vorn_query_action", query_action, KEEPS},
    {"vorn_util_put2object", put2object, FREES},
    {"vorn_util_txt_tables_add_properties", add_properties, KEEPS},
    {"vorn_util_txt_tables_add_refresh", add_refresh, KEEPS},
    {NULL, NULL, FREES},
};

void prepare_store_calls(void)
{
    vorn_provider *provider = vorn_provider_new("calls");

    nowhere = fopen("/dev/null", "w");
    if (nowhere != NULL) setvbuf(nowhere, NULL, _IONBF, 0);
    vorn_provider_set_commit_fn(provider, commit, NULL);
    vorn_provider_set_refresh_fn(provider, refresh, NULL);
    vorn_provider_set_check_fn(provider, check, NULL);
    vorn_provider_set_explain_fn(provider, explain, NULL);
    vorn_provider_set_amend_fn(provider, amend, NULL);
    vorn_providers_add(provider);
}
