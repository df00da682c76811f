/* SPDX-License-Identifier: MIT */
/*
 * growth NAME COUNT: does something with so many instances, from the end where it can, or with one
 * request of so many operations. Under callgrind only that is counted. bench/growth compares what
 * it takes for some and for ten times as many.
 */
#include "config/config_state.h"
#include "model/instances_walk.h"
#include "vorn/vorn.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include <valgrind/callgrind.h>

#include "process/numbered.h"

using vorn::running_config;

namespace {

int accepts_anything(const char *)
{
    return 1;
}

void add_class(const char *name, int type)
{
    vorn_class *klass = vorn_class_new(name);
    vorn_class_set_type(klass, type);
    vorn_property *property = vorn_property_new("p");
    vorn_property_set_is_valid_fn(property, accepts_anything);
    vorn_class_add_property(klass, property);
    vorn_classes_add(klass);
}

void apply(vorn_commit_info *info)
{
    const vorn_changes *changes = vorn_commit_info_get_changes(info);
    for (const vorn_instance *instance :
         vorn::Walk(vorn_changes_new_class_instances_iterator(changes, nullptr))) {
        vorn_changes_get_instance_before(changes, instance);
    }
}

void set_up()
{
    add_class("Anonymous", VORN_CLASS_ANONYMOUS);
    add_class("Unique", VORN_CLASS_UNIQUE_NAMED);
    add_class("Group", VORN_CLASS_GROUP_NAMED);
    vorn_classes_done_adding();
    vorn_providers_init();
    vorn_provider *provider = vorn_provider_new("growth");
    vorn_provider_set_commit_fn(provider, apply, nullptr);
    vorn_providers_add(provider);
    vorn_providers_done_adding();
    running_config = vorn_instances_new();
}

using Members = std::vector<vorn_instance *>;

std::string name_of(int number)
{
    return vorn::bench::numbered("n", number);
}

Members filled(const char *class_name, int count, std::string (*name)(int))
{
    Members members;
    for (int i = 0; i < count; i++) {
        vorn_instance *instance =
            vorn_instance_new(vorn_classes_get(class_name), name ? name(i).c_str() : nullptr);
        vorn_instance_set_value(instance, "p", "old");
        vorn_instances_add(running_config, instance);
        members.push_back(instance);
    }
    return members;
}

Members anonymous(int count)
{
    return filled("Anonymous", count, nullptr);
}

Members unique(int count)
{
    return filled("Unique", count, name_of);
}

Members one_group(int count)
{
    return filled("Group", count, [](int) { return std::string("all"); });
}

Members many_groups(int count)
{
    return filled("Group", count, name_of);
}

/* As a plugin does it that holds them: changed, the last one first, and told to all providers. */
void change(const Members &members)
{
    vorn_changes *changes = vorn_changes_new(running_config);
    for (auto each = members.rbegin(); each != members.rend(); ++each)
        vorn_instance_set_value(*each, "p", "new");
    vorn_providers_commit(running_config, changes, nullptr);
    vorn_changes_delete(changes);
}

void remove(const Members &members)
{
    vorn_changes *changes = vorn_changes_new(running_config);
    for (auto each = members.rbegin(); each != members.rend(); ++each) {
        vorn_instances_remove(running_config, *each);
        vorn_instance_delete(*each);
    }
    vorn_providers_commit(running_config, changes, nullptr);
    vorn_changes_delete(changes);
}

/* Every second one first, so that what is left lies between what has gone. */
void change_and_remove(const Members &members)
{
    vorn_changes *changes = vorn_changes_new(running_config);
    for (auto each = members.rbegin(); each != members.rend(); ++each)
        vorn_instance_set_value(*each, "p", "new");
    for (const std::size_t first : {std::size_t{0}, std::size_t{1}}) {
        for (std::size_t i = first; i < members.size(); i += 2) {
            vorn_instances_remove(running_config, members[i]);
            vorn_instance_delete(members[i]);
        }
    }
    vorn_changes_get_before(changes);
    vorn_providers_commit(running_config, changes, nullptr);
    vorn_changes_delete(changes);
}

void ask(const Members &, int count, const char *front, std::string (*operation)(int),
         const char *back)
{
    std::string request = front;
    for (int i = count - 1; i >= 0; i--)
        request += operation(i);
    CALLGRIND_TOGGLE_COLLECT;
    std::free(vorn_query_eval((request + back).c_str()));
    CALLGRIND_TOGGLE_COLLECT;
}

std::string insert(int i)
{
    return "<insert><Unique name=\"" + name_of(i) + "\"><p>v</p></Unique></insert>";
}

std::string insert_nameless(int)
{
    return "<insert><Anonymous><p>v</p></Anonymous></insert>";
}

std::string insert_into_groups(int i)
{
    return "<insert><Group name=\"" + name_of(i % 10) + "\"><p>v</p></Group></insert>";
}

std::string update(int i)
{
    return "<update><Unique name=\"" + name_of(i) + "\"><p>v</p></Unique></update>";
}

std::string erase(int i)
{
    return "<delete><Unique name=\"" + name_of(i) + "\"/></delete>";
}

std::string erase_group(int i)
{
    return "<delete><Group name=\"" + name_of(i) + "\"/></delete>";
}

std::string select(int i)
{
    return "<select><Unique name=\"" + name_of(i) + "\"><p/></Unique></select>";
}

struct OfInstances {
    const char *name;
    Members (*fill)(int count);
    void (*run)(const Members &members);
};

constexpr OfInstances of_instances[] = {
    {"anonymous-changed", anonymous, change},
    {"unique-changed", unique, change},
    {"group-changed", one_group, change},
    {"groups-changed", many_groups, change},
    {"anonymous-removed", anonymous, remove},
    {"unique-removed", unique, remove},
    {"group-removed", one_group, remove},
    {"groups-removed", many_groups, remove},
    {"anonymous-changed-and-removed", anonymous, change_and_remove},
    {"unique-changed-and-removed", unique, change_and_remove},
    {"group-changed-and-removed", one_group, change_and_remove},
    {"groups-changed-and-removed", many_groups, change_and_remove},
};

struct OfOperations {
    const char *name;
    Members (*fill)(int count);
    std::string (*operation)(int number);
};

constexpr OfOperations of_operations[] = {
    {"inserts", nullptr, insert},
    {"inserts-without-name", nullptr, insert_nameless},
    {"inserts-into-groups", nullptr, insert_into_groups},
    {"updates", unique, update},
    {"deletions", unique, erase},
    {"deletions-of-groups", many_groups, erase_group},
    {"selects", unique, select},
};

void run(const OfInstances &scenario, int count)
{
    const Members members = scenario.fill(count);
    CALLGRIND_TOGGLE_COLLECT;
    scenario.run(members);
    CALLGRIND_TOGGLE_COLLECT;
}

void run(const OfOperations &scenario, int count, bool in_transaction)
{
    const Members members = scenario.fill ? scenario.fill(count) : Members();
    ask(members, count, in_transaction ? "<lsql><write-transaction>" : "<lsql>", scenario.operation,
        in_transaction ? "</write-transaction></lsql>" : "</lsql>");
}

} // namespace

int main(int argc, char **argv)
{
    const std::string wanted = argc > 2 ? argv[1] : "";
    const int count = argc > 2 ? std::atoi(argv[2]) : 0;
    set_up();
    for (const OfInstances &each : of_instances) {
        if (wanted.empty()) std::puts(each.name);
        if (wanted == each.name) run(each, count);
    }
    for (const OfOperations &each : of_operations) {
        const std::string alone = each.name;
        const std::string together = alone + "-in-a-transaction";
        if (wanted.empty()) std::printf("%s\n%s\n", alone.c_str(), together.c_str());
        if (wanted == alone) run(each, count, false);
        if (wanted == together) run(each, count, true);
    }
}
