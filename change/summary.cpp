/* SPDX-License-Identifier: MIT */
/* Nothing is gone through beyond what the line has room for, and no memory is taken. */
#include "change/summary.h"

#include "change/changes_record.h"
#include "model/instance_record.h"
#include "model/lazy/overlay.h"

#include <utility>

namespace vorn {

namespace {

void begin(ShortText &text, const char *verb, const vorn_instance &instance)
{
    if (!text.is_empty()) text.add(", ");
    text.add(verb);
    text.add(instance.klass->name.get());
    if (!instance.name) return;
    text.add(" ");
    text.add(instance.name.get());
}

bool is_empty(const char *value)
{
    return !value || !*value;
}

/* The words that a plugin keeps for itself, what only it sets, and what it has heard and emptied.
 */
bool is_told(const vorn_instance &instance, const vorn_instance *before, const char *name)
{
    const vorn_property *property = vorn_class_get_property(instance.klass, name);
    if (property && !property->writable && (before || !property->required_on_insert)) return false;
    return !is_empty(instance.values.get(name)) || (before && !is_empty(before->values.get(name)));
}

void add_value(const vorn_instance &instance, const char *property, const char *value,
               ShortText &text)
{
    text.add(" ");
    text.add(property);
    text.add("=");
    text.add(shown_value(*instance.klass, property, value));
}

/* Only those of one that was there before; what has none of these to tell has not changed. */
void add_updated(const vorn_instance &instance, const vorn_instance *before, const NameSet &names,
                 ShortText &text)
{
    bool has_begun = false;
    for (const char *property : names) {
        const char *value = instance.values.get(property);
        if (!value || !is_told(instance, before, property)) continue;
        if (!std::exchange(has_begun, true)) begin(text, "set ", instance);
        add_value(instance, property, value, text);
    }
}

void add_changed(const vorn_changes &changes, const vorn_instance &instance, ShortText &text)
{
    const vorn_changes_entry *entry = changes.entries.get(&instance);
    const vorn_instance *before = entry && entry->before ? entry->before->instance.get() : nullptr;
    if (before && !entry->every_property)
        return add_updated(instance, before, entry->properties, text);
    begin(text, before ? "set " : "add ", instance);
    for (auto [property, value] : instance.values) {
        if (is_told(instance, before, property.name))
            add_value(instance, property.name, value, text);
    }
}

template <typename Visitor>
void for_each_in(const vorn_instances &store, const ShortText &text, Visitor visit)
{
    for (auto [name, entry] : store.classes) {
        for (Position at = first_position(*entry); at && !text.is_full();) {
            const vorn_instance &instance = *instance_at(*entry, at);
            at = next_position(*entry, at);
            visit(instance);
        }
    }
}

} // namespace

void summarize(const vorn_changes &changes, ShortText &text)
{
    for_each_in(*changes.deleted, text,
                [&](const vorn_instance &each) { begin(text, "delete ", each); });
    for_each_in(changed_in(changes), text,
                [&](const vorn_instance &each) { add_changed(changes, each, text); });
}

} // namespace vorn
