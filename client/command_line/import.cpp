/* SPDX-License-Identifier: MIT */
/* vornctl import: the running configuration becomes what a file says. */
#include "configuration.h"
#include "device.h"
#include "differences.h"
#include "failure.h"
#include "input.h"
#include "transaction.h"
#include "verb.h"

namespace vorn::client {

namespace {

/* What clients may set; the rest only a plugin can. */
bool is_settable(const Schema &schema, const Instance &instance, const std::string &property)
{
    for (const Class &each : schema.classes()) {
        if (each.name != instance.class_name && each.superclass != instance.class_name) continue;
        if (each.subclass_identifier == property) return true;
        const Property *found = each.find(property);
        if (found && found->writable) return true;
    }
    return false;
}

Configuration only_settable(const Configuration &configuration, const Schema &schema)
{
    Configuration settable;
    for (const Instance &instance : configuration) {
        const Class *klass = schema.find(instance.class_name);
        if (!klass) {
            throw Failure(refused, title_of(instance) + ": this device has no such class");
        }
        Instance kept = {instance.class_name, instance.name, {}};
        for (const auto &value : instance.values) {
            if (is_settable(schema, instance, value.first)) kept.values.push_back(value);
        }
        settable.push_back(kept);
    }
    return settable;
}

/* A value can be changed but not taken away, and a subclass stays what it is. */
bool can_be_updated(const Schema &schema, const Difference &difference)
{
    if (!is_one_to_one(difference)) return false;
    const Class *klass = schema.find(difference.after[0].class_name);
    if (klass->type == "anonymous" || klass->type == "group-named") return false;
    for (const auto &[property, value] :
         changed_values(difference.before[0], difference.after[0])) {
        if (value.empty() || property == klass->subclass_identifier) return false;
    }
    return true;
}

/* What goes, goes first: a name may be needed again. */
void add_steps(Transaction &transaction, const std::vector<Difference> &differences,
               const Schema &schema)
{
    for (const Difference &each : differences) {
        if (each.before.empty() || can_be_updated(schema, each)) continue;
        transaction.remove("delete " + title_of(each.before[0]),
                           {each.before[0].class_name, each.before[0].name, {}});
    }
    for (const Difference &each : differences) {
        if (can_be_updated(schema, each)) {
            const Instance &after = each.after[0];
            transaction.update("set " + title_of(after), {after.class_name, after.name, {}},
                               changed_values(each.before[0], after));
            continue;
        }
        for (const Instance &after : each.after) {
            transaction.insert("add " + title_of(after), {after.class_name, after.name, {}},
                               after.values);
        }
    }
}

} // namespace

int import(const Invocation &invocation)
{
    const Options &options = invocation.options;
    const std::string name = invocation.word(0);
    const std::string text = read_input(name);
    const Configuration file = parse_configuration(text, name.c_str());
    Device device(options.timeout_ms());
    const Schema schema = Schema::required_of(device);
    const Configuration running = running_configuration(device, schema);
    std::vector<Difference> differences =
        compare(only_settable(running, schema), only_settable(file, schema), schema);
    if (invocation.has("--merge")) {
        std::erase_if(differences,
                      [](const auto &each) { return each.kind == Difference::Kind::removed; });
    }
    if (invocation.has("--dry-run")) {
        print(options.output, differences);
        return differences.empty() ? done : differs;
    }
    Transaction transaction(options.origin);
    add_steps(transaction, differences, schema);
    transaction.execute(device);
    return done;
}

} // namespace vorn::client
