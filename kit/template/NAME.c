/*
 * The plugin @NAME@: things that are set with @NAME@ctl(8). Put your device in place of it.
 */
#include <fcntl.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>
#include <vorn/vorn.h>

#define PROGRAM "/usr/sbin/@NAME@ctl"

/* What clients may set: a validator gets the text that they sent. */
static int is_level(const char *value)
{
    return vorn_input_is_int_in_range(value, (int)strlen(value), 0, 100);
}

static int is_enabled(const char *value)
{
    return vorn_input_is_on_off(value, (int)strlen(value));
}

static const char *value_of(const vorn_instance *instance, const char *property)
{
    const char *value = vorn_instance_get_value(instance, property);
    return value != NULL ? value : "";
}

/* What an instance comes to: both what a commit does and what is said of it beforehand. */
struct plan {
    const char *name;
    const char *level;
};

/* `now` is null for one that is gone. */
static struct plan make_plan(const vorn_instance *now, const vorn_instance *before)
{
    const int on = now != NULL && strcmp(value_of(now, "enabled"), "on") == 0;
    const char *level = on ? value_of(now, "level") : "0";
    const struct plan plan = {vorn_instance_get_name(now != NULL ? now : before),
                              *level != '\0' ? level : "100"};
    return plan;
}

/*
 * Called for every instance that a request or the boot has changed, once per commit: `now` is null
 * for one that is gone, `before` for one that is new.
 */
static void changed(vorn_instance *now, vorn_instance *before, vorn_commit_info *info)
{
    const struct plan plan = make_plan(now, before);
    (void)info;

    if (vorn_command_execl(PROGRAM, "set", plan.name, plan.level, (char *)NULL)) {
        vorn_debug_eprintf("@NAME@: can't set %s.\n", plan.name);
    }
}

static void say(vorn_explanation *explanation, const struct plan *plan)
{
    vorn_explanation_add(explanation, VORN_EXPLAIN_LIVE, "%s is set to %s", plan->name,
                         plan->level);
}

/* Called when somebody asks what a change would do, before it is made: nothing is done here. */
static void explain(vorn_commit_info *info, vorn_explanation *explanation)
{
    const vorn_changes *changes = vorn_commit_info_get_changes(info);
    vorn_instances_iterator *gone =
        vorn_changes_new_deleted_class_instances_iterator(changes, "@NAME@");
    while (gone != NULL && vorn_instances_iterator_has_next(gone)) {
        const struct plan plan = make_plan(NULL, vorn_instances_iterator_next(gone));
        say(explanation, &plan);
    }
    vorn_instances_delete_iterator(gone);
    vorn_instances_iterator *others = vorn_changes_new_class_instances_iterator(changes, "@NAME@");
    while (others != NULL && vorn_instances_iterator_has_next(others)) {
        const struct plan plan = make_plan(vorn_instances_iterator_next(others), NULL);
        say(explanation, &plan);
    }
    vorn_instances_delete_iterator(others);
}

/*
 * Called before somebody reads `state`, which lives in the system and not in the configuration.
 * While it waits nobody is served: O_NONBLOCK, because a FIFO may lie there instead of a file.
 */
static const char *read_state(vorn_instance *instance, const char *property,
                              vorn_refresh_info *info)
{
    static char state[64];
    char path[256];
    (void)property;
    (void)info;

    const char *name = vorn_instance_get_name(instance);
    if (strchr(name, '/') != NULL) return "unknown"; /* a name may be any text */
    snprintf(path, sizeof path, "/run/@NAME@/%s", name);
    const int file = open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    const ssize_t length = file >= 0 ? read(file, state, sizeof state - 1) : -1;
    if (file >= 0) close(file);
    if (length <= 0) return "unknown";
    state[length] = '\0';
    state[strcspn(state, "\n")] = '\0';
    return state;
}

/* Clients tell the syntax when they tell of a refusal, and complete values with it. */
static void add_setting(vorn_class *klass, const char *name, vorn_is_valid_fn is_valid,
                        const char *syntax)
{
    vorn_property *property = vorn_property_new(name);
    vorn_property_set_is_valid_fn(property, is_valid);
    vorn_property_set_syntax(property, syntax);
    vorn_class_add_property(klass, property);
}

static void add_class(void)
{
    vorn_class *klass = vorn_class_new("@NAME@");
    vorn_class_set_type(klass, VORN_CLASS_UNIQUE_NAMED);
    vorn_class_set_persistence(klass, 1);
    add_setting(klass, "level", is_level, "<0 to 100>");
    add_setting(klass, "enabled", is_enabled, "on|off");

    vorn_property *state = vorn_property_new("state");
    vorn_property_set_writable(state, 0);
    vorn_property_set_persistence(state, 0);
    vorn_class_add_property(klass, state);
    vorn_classes_add(klass);
}

void vorn_plugin_init(void)
{
    if (vorn_plugin_new("1.0") == NULL) return;
    add_class();

    vorn_committer *committer = vorn_committer_new();
    vorn_committer_set_instance_change_fn(committer, "@NAME@", changed, 1);
    vorn_refresher *refresher = vorn_refresher_new("@NAME@");
    vorn_refresher_set_property_fn(refresher, "state", read_state);

    vorn_provider *provider = vorn_provider_new("@NAME@");
    vorn_provider_set_commit_fn(provider, vorn_committer_fn, committer);
    vorn_provider_set_explain_fn(provider, explain, NULL);
    vorn_provider_set_refresh_fn(provider, vorn_refresher_fn, refresher);
    vorn_providers_add(provider);
    vorn_providers_order("@NAME@", "save"); /* what is saved has been applied */
}
