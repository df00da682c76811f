/*
 * The plugin @NAME@: things that are set with @NAME@ctl(8). Put your device in place of it.
 */
#include <fcntl.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>
#include <vorn/vorn.h>

#define PROGRAM "/usr/sbin/@NAME@ctl"

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

/*
 * What clients may set: the daemon judges by what a property accepts, and they are told the same.
 * Label, help and example are for people.
 */
static void add_level(vorn_class *klass)
{
    vorn_property *level = vorn_property_new("level");
    vorn_property_accept_number(level, 0, 100, 1);
    vorn_property_set_label(level, "Level");
    vorn_property_set_help(level, "How strong it is; 100 if it isn't set.");
    vorn_property_set_unit(level, "%");
    vorn_property_set_example(level, "40");
    vorn_class_add_property(klass, level);
}

static void add_switch(vorn_class *klass)
{
    vorn_property *enabled = vorn_property_new("enabled");
    vorn_property_accept(enabled, VORN_INPUT_ON_OFF);
    vorn_property_set_label(enabled, "Enabled");
    vorn_property_set_help(enabled, "Whether it is on.");
    vorn_property_set_example(enabled, "on");
    vorn_class_add_property(klass, enabled);
}

static void add_state(vorn_class *klass)
{
    vorn_property *state = vorn_property_new("state");
    vorn_property_set_writable(state, 0);
    vorn_property_set_persistence(state, 0);
    vorn_property_set_label(state, "State");
    vorn_property_set_help(state, "What the device says of itself.");
    vorn_class_add_property(klass, state);
}

static void add_class(void)
{
    vorn_class *klass = vorn_class_new("@NAME@");
    vorn_class_set_type(klass, VORN_CLASS_UNIQUE_NAMED);
    vorn_class_set_persistence(klass, 1);
    vorn_class_set_label(klass, "@NAME@");
    vorn_class_set_help(klass, "Something that is set with @NAME@ctl.");
    add_level(klass);
    add_switch(klass);
    add_state(klass);
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
