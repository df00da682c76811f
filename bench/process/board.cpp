/* SPDX-License-Identifier: MIT */
#include "process/board.h"

#include "config/config_read.h"
#include "config/config_state.h"
#include "model/instances_walk.h"
#include "services/xml/xml.h"
#include "vorn/vorn.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <utility>

#include <unistd.h>

#include "access/access.h"
#include "process/numbered.h"

namespace vorn::bench {

namespace {

int accepts_anything(const char *)
{
    return 1;
}

void apply_nothing(vorn_instance *, const char *, const char *, const char *)
{}

void add_property(vorn_class *klass, const char *name)
{
    vorn_property *property = vorn_property_new(name);
    vorn_property_set_is_valid_fn(property, accepts_anything);
    vorn_class_add_property(klass, property);
}

vorn_class *new_class(const char *name, int type)
{
    vorn_class *klass = vorn_class_new(name);
    vorn_class_set_type(klass, type);
    vorn_class_set_persistence(klass, 1);
    return klass;
}

void add_class(const char *name)
{
    vorn_class *klass = new_class(name, VORN_CLASS_UNIQUE_NAMED);
    for (int i = 0; i < values_per_instance; i++)
        add_property(klass, numbered("p", i).c_str());
    vorn_classes_add(klass);
}

void add_classes_of_rules()
{
    vorn_class *rule = new_class(access_rule_class, VORN_CLASS_UNIQUE_NAMED);
    for (const char *name : {"order", "subject", "class", "properties", "operations", "effect"})
        add_property(rule, name);
    vorn_classes_add(rule);
    vorn_class *defaults = new_class(access_default_class, VORN_CLASS_SINGLETON);
    for (const char *name : {"read", "write", "gate-user"})
        add_property(defaults, name);
    vorn_classes_add(defaults);
}

void add_committer(const char *provider_name, std::initializer_list<const char *> classes)
{
    vorn_committer *committer = vorn_committer_new();
    for (const char *klass : classes)
        vorn_committer_set_property_change_fn(committer, klass, "p3", apply_nothing);
    vorn_provider *provider = vorn_provider_new(provider_name);
    vorn_provider_set_commit_fn(provider, vorn_committer_fn, committer);
    vorn_providers_add(provider);
}

const char *keep_value(vorn_instance *, const char *, vorn_refresh_info *)
{
    return nullptr;
}

/* Somebody is always asked to refresh, whatever is read. */
void add_refresher(const char *class_name)
{
    vorn_refresher *refresher = vorn_refresher_new(class_name);
    vorn_refresher_set_property_fn(refresher, "p9", keep_value);
    vorn_provider *provider =
        vorn_provider_new((std::string("refresher of ") + class_name).c_str());
    vorn_provider_set_refresh_fn(provider, vorn_refresher_fn, refresher);
    vorn_providers_add(provider);
}

void register_everything()
{
    static bool registered = false;
    if (std::exchange(registered, true)) return;
    add_class("Few");
    add_class("Item");
    for (int i = 0; i < other_classes; i++)
        add_class(numbered("Other", i).c_str());
    add_classes_of_rules();
    vorn_classes_done_adding();
    vorn_providers_init();
    add_committer("applier", {"Few", "Item"});
    add_refresher("Item");
    add_refresher("Other0");
    if (std::getenv("VORN_BENCH_IDLE_PROVIDERS")) {
        for (int i = 0; i < 50; i++)
            add_committer(numbered("idle", i).c_str(), {"Other0"});
    }
    vorn_providers_done_adding();
}

void fill(vorn_instances *store, const std::string &class_name, int count)
{
    vorn_class *klass = vorn_classes_get(class_name.c_str());
    for (int i = 0; i < count; i++) {
        vorn_instance *instance = vorn_instance_new(klass, item_name(i).c_str());
        for (int p = 0; p < values_per_instance; p++)
            vorn_instance_set_value(instance, numbered("p", p).c_str(), value_text(i, p).c_str());
        vorn_instances_add(store, instance);
    }
}

std::string config_text(int items)
{
    std::string text = "<?xml version=\"1.0\"?>\n<config>\n";
    for (int i = 0; i < items; i++) {
        text += "  <Item name=\"" + item_name(i) + "\">\n";
        for (int p = 0; p < values_per_instance; p++) {
            const std::string name = numbered("p", p);
            text += "    <" + name + ">" + value_text(i, p) + "</" + name + ">\n";
        }
        text += "  </Item>\n";
    }
    return text + "</config>\n";
}

} // namespace

std::string item_name(int instance)
{
    return numbered("item", instance);
}

std::string value_text(int instance, int property)
{
    return numbered("value ", instance) + numbered(".", property);
}

void set_up_board(int items, int others)
{
    register_everything();
    vorn_instances_delete_all(std::exchange(running_config, nullptr));
    running_config = vorn_instances_new();
    fill(running_config, "Few", few_instances);
    fill(running_config, "Item", items);
    for (int i = 0; i < other_classes; i++)
        fill(running_config, numbered("Other", i), others / other_classes);
}

ConfigFile::ConfigFile(int items)
{
    close(mkstemp(path));
    std::ofstream(path) << config_text(items);
}

ConfigFile::~ConfigFile()
{
    unlink(path);
}

vorn_instances *boot_load(const char *path)
{
    vorn_instances *store = vorn_instances_new();
    ConfigDocument document = parse_config(path);
    vorn_changes *changes = vorn_changes_new(store);
    read_instances(document, store, changes);
    add_missing_singletons(store, changes);
    vorn_providers_commit(store, changes, nullptr);
    vorn_changes_delete(changes);
    return store;
}

} // namespace vorn::bench
