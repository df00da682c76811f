/* SPDX-License-Identifier: MIT */
/*
 * A commit function that walks the change set and calls back per class, group, instance and
 * property. What it protects is the order of the calls, which is what plugins rely on. The same
 * walk is taken to say beforehand for which instances there would be a call.
 */
#include "change/commit_given.h"
#include "change/commit_info_record.h"
#include "change/committer_record.h"
#include "core/base/result.h"
#include "core/guard.h"
#include "core/hash_table/hash_table_order.h"
#include "model/class_record.h"
#include "model/instance_record.h"
#include "model/instances_walk.h"

namespace vorn {

void (*committer_made)(vorn_committer *committer) = nullptr;

} // namespace vorn

using namespace vorn;

vorn_committer::~vorn_committer()
{
    for (auto [name, callbacks] : classes)
        delete callbacks;
}

namespace {

constexpr unsigned int class_buckets = 1;
constexpr unsigned int property_buckets = 1;
constexpr unsigned int group_buckets = 4;

template <typename Function>
bool absent_function(Function *function, const char *what)
{
    return absent(reinterpret_cast<const void *>(function), what);
}

/* Made on the first setting, which also gives the class its place in the order. */
vorn_committer_class *require_class(vorn_committer &committer, const char *class_name)
{
    if (vorn_committer_class *callbacks = committer.classes.get(class_name)) return callbacks;

    Owned<vorn_committer_class> made = make<vorn_committer_class>();
    if (!made || !made->property_functions.create(property_buckets)) return nullptr;
    if (committer.classes.insert(class_name, made.get()) != ok) return nullptr;
    return made.release();
}

/* A function that replaces another goes to the end of the order, without a step that could fail. */
bool set_property_function(Table<void> &functions, const char *property,
                           vorn_committer_property_change_fn property_change)
{
    auto *function = reinterpret_cast<void *>(property_change);
    if (!functions.replace(property, function)) return functions.insert(property, function) == ok;

    ght_make_newest(functions.raw(), name_length(property), property);
    return true;
}

bool is_group_named(const char *class_name)
{
    const vorn_class *klass = vorn_classes_get(class_name);
    if (!klass) {
        vorn_debug_1printf("Unknown class \"%s\".\n", class_name);
        return false;
    }
    if (klass->type == VORN_CLASS_GROUP_NAMED) return true;
    vorn_debug_1printf("Class \"%s\" is not group-named.\n", class_name);
    return false;
}

/* Who is told instead of the callbacks. */
struct CommitterRehearsal {
    const vorn_provider &provider;
    const RehearsalListener &listener;
};

/* One class within one commit. */
struct ClassCommit {
    vorn_commit_info *info;
    vorn_changes *changes;
    const char *class_name;
    const vorn_committer_class &callbacks;
    const CommitterRehearsal *rehearsal; /* null when it is meant */
    NameSet reported_groups;             /* created when group_change is set */
    bool has_called = false;             /* or would have, for the instance at hand */
};

/* To be asked before each call: whether it is made. */
bool calls(ClassCommit &commit)
{
    commit.has_called = true;
    return !commit.rehearsal;
}

/* The walk has come to an instance. */
void begin_instance(ClassCommit &commit)
{
    commit.has_called = false;
    if (!commit.rehearsal) given_instances++;
}

void end_instance(const ClassCommit &commit, InstanceAction action, const vorn_instance &instance)
{
    const CommitterRehearsal *rehearsal = commit.rehearsal;
    if (!rehearsal || !commit.has_called) return;
    const RehearsalListener &listener = rehearsal->listener;
    listener.hear_instance(rehearsal->provider, action, instance, listener.data);
}

/* False for a class that nobody registered, which the store has said, or because memory ran out. */
bool can_walk(const Walk &walk, const char *class_name)
{
    if (walk) return true;
    if (vorn_classes_get(class_name))
        vorn_debug_eprintf("Out of memory, class \"%s\" was not committed.\n", class_name);
    return false;
}

/* A group that finds no room in the set is reported again rather than not at all. */
void commit_group(ClassCommit &commit, const vorn_instance &instance)
{
    if (!commit.callbacks.group_change) return;
    const char *group = instance.name.get();
    if (commit.reported_groups.contains(group)) return;

    if (calls(commit)) {
        vorn_debug_lprintf(5, " Committing class %s, group %s change.\n", commit.class_name, group);
        commit.callbacks.group_change(vorn_commit_info_get_after(commit.info), commit.class_name,
                                      group, commit.info);
    }
    if (commit.reported_groups) commit.reported_groups.add(group);
}

void commit_change(ClassCommit &commit, vorn_instance *instance, vorn_instance *before)
{
    if (!calls(commit)) return;
    vorn_debug_lprintf(5, " Committing class %s, instance_change.\n", commit.class_name);
    commit.callbacks.instance_change(instance, before, commit.info);
}

void commit_properties(ClassCommit &commit, vorn_instance *instance, const vorn_instance *before)
{
    for (auto [property, function] : commit.callbacks.property_functions) {
        if (!vorn_changes_contains_property(commit.changes, instance, property)) continue;
        if (!calls(commit)) continue;

        vorn_debug_lprintf(5, " Committing class %s, property %s.\n", instance->klass->name.get(),
                           property.name);
        reinterpret_cast<vorn_committer_property_change_fn>(function)(
            instance, property, vorn_instance_get_value(instance, property),
            before ? vorn_instance_get_value(before, property) : nullptr);
    }
}

void commit_deleted(ClassCommit &commit)
{
    const vorn_committer_class &callbacks = commit.callbacks;
    const bool tell_change = callbacks.change_on_delete && callbacks.instance_change;
    if (!callbacks.change_on_delete && !callbacks.instance_delete && !callbacks.group_change)
        return;

    const Walk walk(
        vorn_changes_new_deleted_class_instances_iterator(commit.changes, commit.class_name));
    if (!can_walk(walk, commit.class_name)) return;
    for (vorn_instance *instance : walk) {
        begin_instance(commit);
        commit_group(commit, *instance);
        if (callbacks.instance_delete && calls(commit)) {
            vorn_debug_lprintf(5, " Committing class %s, instance_delete.\n", commit.class_name);
            callbacks.instance_delete(instance, commit.info);
        }
        if (tell_change) commit_change(commit, nullptr, instance);
        end_instance(commit, InstanceAction::deleted, *instance);
    }
}

/* Without a before store everything is new. */
vorn_instance *find_before(const ClassCommit &commit, const vorn_instance *instance)
{
    if (!has_before(*commit.info)) return nullptr;

    return vorn_changes_get_instance_before(commit.changes, instance);
}

void commit_changed(ClassCommit &commit)
{
    const vorn_committer_class &callbacks = commit.callbacks;

    const Walk walk(vorn_changes_new_class_instances_iterator(commit.changes, commit.class_name));
    if (!can_walk(walk, commit.class_name)) return;
    for (vorn_instance *instance : walk) {
        begin_instance(commit);
        vorn_instance *before = find_before(commit, instance);
        commit_group(commit, *instance);
        if (callbacks.instance_create && !before && calls(commit)) {
            vorn_debug_lprintf(5, " Committing class %s, instance_create.\n", commit.class_name);
            callbacks.instance_create(instance);
        }
        if (callbacks.instance_change) commit_change(commit, instance, before);
        commit_properties(commit, instance, before);
        end_instance(commit, before ? InstanceAction::updated : InstanceAction::inserted,
                     *instance);
    }
}

void commit_classes(vorn_commit_info *info, const vorn_committer &committer,
                    const CommitterRehearsal *rehearsal)
{
    vorn_changes *changes = vorn_commit_info_get_changes(info);
    if (!changes) return;
    for (auto [class_name, callbacks] : committer.classes) {
        ClassCommit commit = {info, changes, class_name, *callbacks, rehearsal, {}};
        if (callbacks->group_change) commit.reported_groups.create(group_buckets);
        commit_deleted(commit);
        commit_changed(commit);
    }
}

} // namespace

void vorn::rehearse_committer(vorn_commit_info &info, const vorn_committer &committer,
                              const vorn_provider &provider, const RehearsalListener &listener)
{
    const CommitterRehearsal rehearsal = {provider, listener};
    commit_classes(&info, committer, &rehearsal);
}

vorn_committer *vorn_committer_new(void)
{
    Owned<vorn_committer> committer = make<vorn_committer>();
    if (!committer || !committer->classes.create(class_buckets)) return nullptr;

    if (committer_made) committer_made(committer.get());
    return committer.release();
}

int vorn_committer_set_pre_commit_fn(vorn_committer *committer,
                                     vorn_committer_pre_commit_fn pre_commit)
{
    if (absent(committer, "committer") || absent_function(pre_commit, "pre_commit")) return failed;

    committer->pre_commit = pre_commit;
    return ok;
}

int vorn_committer_set_instance_create_fn(vorn_committer *committer, const char *class_name,
                                          vorn_committer_instance_create_fn instance_create)
{
    if (absent(committer, "committer") || absent(class_name, "class")) return failed;
    if (absent_function(instance_create, "instance_create")) return failed;

    vorn_committer_class *callbacks = require_class(*committer, class_name);
    if (!callbacks) return failed;

    callbacks->instance_create = instance_create;
    return ok;
}

int vorn_committer_set_instance_delete_fn(vorn_committer *committer, const char *class_name,
                                          vorn_committer_instance_delete_fn instance_delete)
{
    if (absent(committer, "committer") || absent(class_name, "class")) return failed;
    if (absent_function(instance_delete, "instance_delete")) return failed;

    vorn_committer_class *callbacks = require_class(*committer, class_name);
    if (!callbacks) return failed;

    callbacks->instance_delete = instance_delete;
    return ok;
}

int vorn_committer_set_group_change_fn(vorn_committer *committer, const char *class_name,
                                       vorn_committer_group_change_fn group_change)
{
    if (absent(committer, "committer") || absent(class_name, "class")) return failed;
    if (!is_group_named(class_name)) return failed;
    if (absent_function(group_change, "group_change")) return failed;

    vorn_committer_class *callbacks = require_class(*committer, class_name);
    if (!callbacks) return failed;

    callbacks->group_change = group_change;
    return ok;
}

int vorn_committer_set_instance_change_fn(vorn_committer *committer, const char *class_name,
                                          vorn_committer_instance_change_fn instance_change,
                                          int change_on_delete)
{
    if (absent(committer, "committer") || absent(class_name, "class")) return failed;
    if (absent_function(instance_change, "instance_change")) return failed;

    vorn_committer_class *callbacks = require_class(*committer, class_name);
    if (!callbacks) return failed;

    callbacks->instance_change = instance_change;
    callbacks->change_on_delete = change_on_delete;
    return ok;
}

/* The names in these two messages are not slips to be corrected. */
int vorn_committer_set_property_change_fn(vorn_committer *committer, const char *class_name,
                                          const char *property,
                                          vorn_committer_property_change_fn property_change)
{
    if (absent(committer, "committer") || absent(class_name, "class")) return failed;
    if (absent(property, "class") || absent_function(property_change, "instance_change"))
        return failed;

    const bool is_new = !committer->classes.get(class_name);
    vorn_committer_class *callbacks = require_class(*committer, class_name);
    if (!callbacks) return failed;
    if (set_property_function(callbacks->property_functions, property, property_change)) return ok;

    if (is_new) delete committer->classes.remove(class_name);
    return failed;
}

void vorn_committer_fn(vorn_commit_info *info)
{
    const auto *committer = static_cast<vorn_committer *>(vorn_commit_info_get_data(info));
    if (!committer) {
        vorn_debug_1printf("vorn_committer_fn called without committer as data.\n");
        return;
    }
    vorn_debug_lprintf(4, " Committer called.\n");
    if (committer->pre_commit) {
        vorn_debug_lprintf(5, " Calling pre_commit.\n");
        committer->pre_commit(info);
    }
    commit_classes(info, *committer, nullptr);
}
