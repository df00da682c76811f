/* SPDX-License-Identifier: MIT */
/* vornctl import: the running configuration becomes what a file says. */
#include <algorithm>
#include <iostream>

#include "advice.h"
#include "configuration.h"
#include "device.h"
#include "differences.h"
#include "effects.h"
#include "failure.h"
#include "input.h"
#include "secrets.h"
#include "text.h"
#include "transaction.h"
#include "verb.h"

namespace vorn::client {

namespace {

/*
 * What clients may set; the rest only a plugin can. A property that the device does not have is a
 * slip, or of another firmware: who hears nothing would take it for done.
 */
bool is_settable(const Schema &schema, const Instance &instance, const std::string &property)
{
    bool is_known = false;
    for (const Class &each : schema.classes()) {
        if (each.name != instance.class_name && each.superclass != instance.class_name) continue;
        if (each.subclass_identifier == property) return true;
        const Property *found = each.find(property);
        if (found && found->writable) return true;
        is_known = is_known || found;
    }
    if (is_known) return false;
    fail(differs, {title_of(instance), ": this device has no such property: \"", property, "\"",
                   did_you_mean(property, schema.properties_of(instance.class_name))});
}

Configuration only_settable(const Configuration &configuration, const Schema &schema)
{
    Configuration settable;
    for (const Instance &instance : configuration) {
        const Class *klass = schema.find(instance.class_name);
        if (!klass) {
            fail(differs, {title_of(instance), ": this device has no such class",
                           did_you_mean(instance.class_name, schema.class_names())});
        }
        if (klass->is_named() && !instance.name) {
            fail(misused, {"the name of a ", instance.class_name, " is missing"});
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
        transaction.remove(concat({"delete ", title_of(each.before[0])}),
                           {each.before[0].class_name, each.before[0].name, {}});
    }
    for (const Difference &each : differences) {
        if (can_be_updated(schema, each)) {
            const Instance &after = each.after[0];
            transaction.update(concat({"set ", title_of(after)}),
                               {after.class_name, after.name, {}},
                               changed_values(each.before[0], after));
            continue;
        }
        for (const Instance &after : each.after) {
            transaction.insert(concat({"add ", title_of(after)}),
                               {after.class_name, after.name, {}}, after.values);
        }
    }
}

/* Only what the file says: nothing goes, and values that it lacks stay. */
std::vector<Difference> merged(const Configuration &running, const Configuration &file,
                               const Schema &schema)
{
    std::vector<Difference> differences;
    for (const Instance &wanted : file) {
        const Class *klass = schema.find(wanted.class_name);
        const bool is_one = klass->type == "singleton" || klass->type == "unique-named";
        const auto found = std::ranges::find_if(running, [&](const Instance &each) {
            return each.class_name == wanted.class_name && each.name == wanted.name &&
                   (is_one || changed_values(each, wanted).empty());
        });
        if (found == running.end()) {
            differences.push_back({Difference::Kind::added, {}, {wanted}});
            continue;
        }
        Instance result = *found;
        for (const auto &[property, value] : wanted.values)
            result.set(property, value);
        if (klass->abstract &&
            result.value(klass->subclass_identifier) != found->value(klass->subclass_identifier)) {
            fail(refused, {title_of(wanted), ": a merge can't make a ",
                           found->value(klass->subclass_identifier), " a ",
                           result.value(klass->subclass_identifier)});
        }
        if (!changed_values(*found, result).empty()) {
            differences.push_back({Difference::Kind::changed, {*found}, {result}});
        }
    }
    return differences;
}

std::string number_of(const std::string &commit)
{
    return commit.substr(0, commit.find('-'));
}

/* An export is a wish for the device as it was then; what somebody changed since would be lost. */
void expect_not_moved_on(const Invocation &invocation, const std::string &exported,
                         const std::string &present)
{
    if (exported.empty() || present.empty() || is_same_commit(exported, present)) return;
    if (invocation.has("--force") || invocation.has("--merge")) return;
    const bool is_other_start = number_of(exported) == number_of(present);
    fail(refused,
         {invocation.word(0), ": the device has changed since this was exported (",
          is_other_start ? "during an earlier run, or from another device"
                         : concat({"commit ", number_of(exported), ", now ", number_of(present)}),
          "); --dry-run shows what would be lost, --force imports it all the same, --merge keeps "
          "what the file lacks"});
}

/* Nothing is left to change; what the file asks for may be applied or saved all the same, or not.
 */
int state_of(const Configuration &wanted, Device &device, const Schema &schema,
             const Options &options)
{
    std::vector<Target> named;
    for (const Instance &each : wanted)
        named.push_back({each.class_name, each.name, {}});
    return Effects(device, schema).report(named, options.waits);
}

int attempt(const Invocation &invocation, Device &device, const std::string &text)
{
    const std::string name = invocation.word(0);
    const Configuration file = parse_configuration(text, name.c_str());
    const Schema schema = Schema::required_of(device);
    const Snapshot running = snapshot(device, schema);
    const Configuration before = only_settable(running.configuration, schema);
    Configuration after = only_settable(file, schema);
    if (drop_hidden(after, before, schema) > 0 && !invocation.has("--dry-run")) {
        std::cerr << "vornctl: the file only says of some secrets that they were set; they are not "
                     "set now\n";
    }
    std::vector<Difference> differences =
        invocation.has("--merge") ? merged(before, after, schema) : compare(before, after, schema);
    if (invocation.has("--dry-run")) {
        hide_secrets(differences, schema);
        print(invocation.options.output, differences);
        return differences.empty() ? done : differs;
    }
    if (differences.empty() && !invocation.options.explains)
        return state_of(after, device, schema, invocation.options);
    if (!invocation.options.explains) {
        expect_not_moved_on(invocation, commit_of_file(text), running.commit);
    }
    Transaction transaction(schema, invocation.options);
    transaction.only_if(running.commit);
    add_steps(transaction, differences, schema);
    return transaction.execute(device);
}

} // namespace

int import(const Invocation &invocation)
{
    constexpr int most_attempts = 3; /* somebody else may change something at the same time */
    const std::string text = read_input(invocation.word(0));
    parse_configuration(text, invocation.word(0).c_str());
    Device device(invocation.options.timeout_ms());
    for (int attempts = 1;; attempts++) {
        try {
            return attempt(invocation, device, text);
        } catch (const MovedOn &) {
            if (attempts == most_attempts) throw;
        }
    }
}

} // namespace vorn::client
