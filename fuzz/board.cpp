/* SPDX-License-Identifier: MIT */
#include "fuzz/board.h"

#include "change/providers_state.h"
#include "config/config_read.h"
#include "config/config_state.h"
#include "core/debug_state.h"
#include "model/class_record.h"
#include "model/instance_record.h"
#include "model/instances_walk.h"
#include "vorn/changes.h"
#include "vorn/class.h"
#include "vorn/config.h"
#include "vorn/provider.h"
#include "vorn/query.h"

#include <cstdio>
#include <cstdlib>
#include <initializer_list>
#include <map>
#include <utility>

#include "fuzz/target.h"

namespace vorn::fuzz {

bool refreshes_uptime = false;

namespace {

std::vector<Commit> commits;
int refreshes = 0;

const PropertyPlan serial = {
    .name = "serial", .numeric = true, .writable = false, .required = true};

const std::vector<ClassPlan> plans = {
    {"Board", VORN_CLASS_SINGLETON, true, "", "", {{"label"}, {.name = "alarm", .saved = false}}},
    {"Radio",
     VORN_CLASS_UNIQUE_NAMED,
     true,
     "",
     "",
     {{.name = "channel", .numeric = true},
      {"mode"},
      {.name = "uptime", .numeric = true, .writable = false, .saved = false}}},
    {"Route", VORN_CLASS_ANONYMOUS, true, "", "", {{"to"}}},
    {"Acl", VORN_CLASS_GROUP_NAMED, true, "", "", {{"mac"}}},
    {"Key", VORN_CLASS_UNIQUE_NAMED, true, "", "", {serial, {"secret"}}},
    {"Station", VORN_CLASS_UNIQUE_NAMED, false, "", "", {{.name = "signal", .saved = false}}},
    {"Address", VORN_CLASS_UNIQUE_NAMED, true, "", "kind", {{"metric"}}},
    {"Static", VORN_CLASS_UNIQUE_NAMED, true, "Address", "", {{"ip"}}},
    {"Dhcp", VORN_CLASS_UNIQUE_NAMED, true, "Address", "", {}},
    {"Lease", VORN_CLASS_UNIQUE_NAMED, false, "Address", "", {{.name = "until", .saved = false}}},
    {"Tunnel", VORN_CLASS_UNIQUE_NAMED, true, "Address", "", {{.name = "peer", .numeric = true}}},
    {"interface", VORN_CLASS_UNIQUE_NAMED, false, "", "", {{"exclude-unencrypted"}}},
};

int takes_anything(const char *)
{
    return 1;
}

int takes_digits(const char *value)
{
    return is_numeric(value);
}

vorn_property *new_property(const PropertyPlan &plan)
{
    vorn_property *property = vorn_property_new(plan.name.c_str());
    vorn_property_set_is_valid_fn(property, plan.numeric ? takes_digits : takes_anything);
    vorn_property_set_readable(property, 1);
    vorn_property_set_writable(property, plan.writable);
    vorn_property_set_required_on_insert(property, plan.required);
    if (!plan.saved) vorn_property_set_persistence(property, 0);
    return property;
}

void add_class(const ClassPlan &plan)
{
    vorn_class *klass = vorn_class_new(plan.name.c_str());
    vorn_class_set_type(klass, plan.type);
    vorn_class_set_persistence(klass, plan.saved);
    if (!plan.superclass.empty()) vorn_class_set_superclass(klass, plan.superclass.c_str());
    if (!plan.identifier.empty()) {
        vorn_class_set_abstract(klass, 1);
        vorn_class_set_subclass_identifier(klass, vorn_property_new(plan.identifier.c_str()));
    }
    for (const PropertyPlan &property : plan.properties)
        require(vorn_class_add_property(klass, new_property(property)) == 0, "a property fits");
    require(vorn_classes_add(klass) == 0, "a class can be added");
}

void note_commit(vorn_commit_info *info)
{
    commits.push_back(
        {state_of(vorn_commit_info_get_before(info)), state_of(vorn_commit_info_get_after(info))});
}

void write_down_uptime(vorn_refresh_info *, void *)
{
    if (!refreshes_uptime) return;

    refreshes_uptime = false; /* the request below is refreshed too */
    const std::string request = "<lsql><update><Radio><uptime>" + std::to_string(refreshes++) +
                                "</uptime></Radio></update></lsql>";
    std::free(vorn_query_eval_passive(request.c_str()));
    refreshes_uptime = true;
}

void add_provider()
{
    vorn_provider *provider = vorn_provider_new("recorder");
    vorn_provider_set_commit_fn(provider, note_commit, nullptr);
    vorn_provider_set_refresh_fn(provider, write_down_uptime, nullptr);
    vorn_providers_add(provider);
}

using Values = std::initializer_list<std::pair<const char *, const char *>>;

void put(const char *class_name, const char *name, const Values &values)
{
    vorn_instance *instance = vorn_instance_new(vorn_classes_get(class_name), name);
    for (const auto &[property, value] : values)
        require(vorn_instance_set_value(instance, property, value) == 0, "a value is accepted");
    require(vorn_instances_add(running_config, instance) == 0, "an instance is added");
}

void append_instance(std::string &text, const vorn_instance &instance)
{
    const char *name = vorn_instance_get_name(&instance);
    std::map<std::string, std::string> values;
    for (auto [property, value] : instance.values)
        values[static_cast<const char *>(property)] = value;
    if (refreshes_uptime) values.erase("uptime");

    text += instance.klass->name.get();
    if (name) text += std::string(" \"") + name + "\"";
    for (const auto &[property, value] : values)
        text.append("\n  ").append(property).append("=").append(value);
    text += "\n";
}

} // namespace

const std::vector<ClassPlan> &class_plans()
{
    return plans;
}

bool is_numeric(const std::string &value)
{
    return !value.empty() && value.find_first_not_of("0123456789") == std::string::npos;
}

void set_up_board()
{
    static bool is_ready = false;
    if (std::exchange(is_ready, true)) return;

    debug_state = {0, 0, 0, std::fopen("/dev/null", "w")};
    vorn_providers_init();
    for (const ClassPlan &plan : plans)
        add_class(plan);
    add_provider();
    require(vorn_classes_done_adding() == 0, "the classes are valid");
    require(vorn_providers_done_adding() == 0, "the provider is valid");
}

std::vector<Commit> take_commits()
{
    return std::exchange(commits, {});
}

std::string state_of(const vorn_instances *store)
{
    std::string text;
    for (const ClassPlan &plan : plans) {
        if (!plan.identifier.empty()) continue;
        const Walk walk(vorn_instances_new_class_iterator(store, plan.name.c_str()));
        for (const vorn_instance *instance : walk)
            append_instance(text, *instance);
    }
    return text;
}

Board::Board()
{
    running_config = vorn_instances_new();
    vorn_query_transaction_number = 0;
    refreshes_uptime = false;
    refreshes = 0;
    take_commits();
}

Board::~Board()
{
    vorn_instances_delete_all(std::exchange(running_config, nullptr));
}

void Board::populate()
{
    put("Board", nullptr, {{"label", "attic"}});
    put("Radio", "r0", {{"channel", "6"}, {"mode", "g"}});
    put("Radio", "r1", {{"channel", "11"}, {"mode", "b"}});
    put("Route", nullptr, {{"to", "lan"}});
    put("Route", nullptr, {{"to", "wan"}});
    put("Acl", "guests", {{"mac", "01"}});
    put("Acl", "staff", {{"mac", "02"}});
    put("Acl", "guests", {{"mac", "03"}});
    put("Key", "k0", {{"serial", "1"}, {"secret", "s"}});
    put("Station", "s0", {{"signal", "-60"}});
    put("Static", "lan", {{"kind", "Static"}, {"ip", "10.0.0.1"}});
    put("interface", "eth0", {});
}

/* What runs before goes whole: nobody here holds an instance across a boot. */
bool Board::boot_from(const std::string &path)
{
    vorn_instances_delete_all(std::exchange(running_config, vorn_instances_new()));
    ConfigDocument document = parse_config(path.c_str());
    if (!document) return false;

    vorn_changes *changes = vorn_changes_new(running_config);
    read_instances(document, running_config, changes);
    add_missing_singletons(running_config, changes);
    vorn_providers_commit(running_config, changes, nullptr);
    vorn_changes_delete(changes);
    return true;
}

} // namespace vorn::fuzz
