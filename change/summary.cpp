/* SPDX-License-Identifier: MIT */
/* Nothing is gone through beyond what the line has room for, and no memory is taken. */
#include "change/summary.h"

#include "change/changes_record.h"
#include "model/instance_record.h"
#include "model/lazy/overlay.h"

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

void add_value(const vorn_instance &instance, const char *property, const char *value,
               ShortText &text)
{
    if (!value) return;
    text.add(" ");
    text.add(property);
    text.add("=");
    text.add(shown_value(*instance.klass, property, value));
}

void add_changed(const vorn_changes &changes, const vorn_instance &instance, ShortText &text)
{
    const vorn_changes_entry *entry = changes.entries.get(&instance);
    const bool is_new = !entry || !entry->before;
    begin(text, is_new ? "add " : "set ", instance);
    if (!is_new && !entry->every_property) {
        for (const char *property : entry->properties)
            add_value(instance, property, instance.values.get(property), text);
        return;
    }
    for (auto [property, value] : instance.values)
        add_value(instance, property.name, value, text);
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
