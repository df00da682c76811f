/* SPDX-License-Identifier: MIT */
/*
 * What a document says of classes, held against what the device has of them. Names become elements
 * of requests only after the device's schema has shown that it has them.
 */
#include "running.h"

#include <algorithm>

#include <differences.h>

namespace vorn::fleet {

namespace {

constexpr char hidden[] = "********";
constexpr const char *own_properties[] = {"generation", "digest", "guard"};

bool is_one_each(const client::Class &klass)
{
    return klass.type == "singleton" || klass.type == "unique-named";
}

/* Of the class, or of one of its family; what only plugins set can't be asked for. */
bool is_settable(const client::Schema &schema, const std::string &class_name,
                 const std::string &property)
{
    if (is_own_property(class_name, property)) return false;
    const client::Class *klass = schema.find(class_name);
    if (klass && klass->subclass_identifier == property) return true;
    const client::Property *found = schema.find_property(class_name, property);
    return found && found->writable && found->persistent;
}

Refusal judge_item(const std::string &class_name, const Item &item, const client::Schema &schema)
{
    const client::Class *klass = schema.find(class_name);
    if (klass->is_named() != item.name.has_value())
        return {Reason::rejected, "Class \"" + class_name + "\": a name is missing, or too many"};
    for (const auto &[property, value] : item.values) {
        if (!is_settable(schema, class_name, property))
            return {Reason::rejected, "Property \"" + property + "\" of class \"" + class_name +
                                          "\" can't be set by a document"};
    }
    return {};
}

Refusal judge_part(const std::string &class_name, const Part &part, const client::Schema &schema)
{
    const client::Class *klass = schema.find(class_name);
    if (!klass || !klass->persistent) return {Reason::unknown_class, class_name};
    if (!klass->superclass.empty())
        return {Reason::unknown_class, class_name + " stands under \"" + klass->superclass + '"'};
    if (!part.is_whole && !is_one_each(*klass))
        return {Reason::rejected, "Class \"" + class_name + "\" can only be given whole"};
    for (const Item &each : part.items) {
        if (Refusal refusal = judge_item(class_name, each, schema)) return refusal;
    }
    return {};
}

const client::Instance *find(const client::Configuration &running, const std::string &class_name,
                             const std::optional<std::string> &name)
{
    const auto found = std::ranges::find_if(running, [&](const client::Instance &each) {
        return each.class_name == class_name && each.name == name;
    });
    return found == running.end() ? nullptr : &*found;
}

client::Instance instance_of(const std::string &class_name, const Item &item)
{
    client::Instance instance = {class_name, item.name, {}};
    for (const auto &[property, value] : item.values)
        if (!value.empty()) instance.values.emplace_back(property, value);
    return instance;
}

Item item_of(const client::Instance &instance)
{
    Item item = {instance.name, {}};
    for (const auto &[property, value] : instance.values)
        item.values[property] = value;
    return item;
}

Part part_in_force(const std::string &class_name, const Part &wanted,
                   const client::Configuration &running)
{
    Part part = {wanted.is_whole, {}, {}};
    for (const client::Instance &each : running)
        if (wanted.is_whole && each.class_name == class_name) part.items.push_back(item_of(each));
    for (const Item &each : wanted.items) {
        const client::Instance *found = find(running, class_name, each.name);
        if (wanted.is_whole || !found) continue;
        Item &item = part.items.emplace_back(Item{each.name, {}});
        for (const auto &[property, value] : each.values)
            item.values[property] = found->value(property);
    }
    for (const std::string &each : wanted.none)
        if (!find(running, class_name, each)) part.none.push_back(each);
    return part;
}

/* All instances of a class that have one name, and the values of the only one. */
using Named = std::map<std::string, std::vector<const Item *>>;

Named by_name(const Part &part)
{
    Named named;
    for (const Item &each : part.items)
        named[each.name.value_or("")].push_back(&each);
    return named;
}

Content content_of(const std::string &class_name, const std::vector<const Item *> &items)
{
    Content content;
    for (const Item *each : items)
        content[class_name].items.push_back(*each);
    return content;
}

std::string count_of(std::size_t count)
{
    return count == 0 ? "" : std::to_string(count);
}

void compare_values(const std::string &class_name, const std::string &name, const Item &wanted,
                    const Item &found, std::vector<Difference> &differences)
{
    std::map<std::string, std::pair<std::string, std::string>> values;
    for (const auto &[property, value] : wanted.values)
        values[property].first = value;
    for (const auto &[property, value] : found.values)
        values[property].second = value;
    for (const auto &[property, both] : values)
        if (both.first != both.second)
            differences.push_back({class_name, name, property, both.first, both.second});
}

void compare_parts(const std::string &class_name, const Part &wanted, const Part &found,
                   std::vector<Difference> &differences)
{
    std::map<std::string, std::pair<std::vector<const Item *>, std::vector<const Item *>>> names;
    for (auto &[name, items] : by_name(wanted))
        names[name].first = items;
    for (auto &[name, items] : by_name(found))
        names[name].second = items;
    for (const auto &[name, both] : names) {
        const auto &[left, right] = both;
        if (left.size() == 1 && right.size() == 1) {
            compare_values(class_name, name, *left[0], *right[0], differences);
        } else if (hash_of(content_of(class_name, left)) !=
                   hash_of(content_of(class_name, right))) {
            differences.push_back(
                {class_name, name, "", count_of(left.size()), count_of(right.size())});
        }
    }
    for (const std::string &each : wanted.none)
        if (std::ranges::find(found.none, each) == found.none.end())
            differences.push_back({class_name, each, "", "", "1"});
}

/* A value can be changed but not taken away, and a member of a family stays what it is. */
bool can_be_updated(const client::Difference &difference, const client::Class &klass)
{
    if (!client::is_one_to_one(difference) || !is_one_each(klass)) return false;
    return std::ranges::none_of(
        client::changed_values(difference.before[0], difference.after[0]), [&](const auto &each) {
            return each.second.empty() || each.first == klass.subclass_identifier;
        });
}

/* The configurations before and after, of the classes that the document is about. */
std::pair<client::Configuration, client::Configuration>
both_sides(const Content &wanted, const client::Configuration &running)
{
    client::Configuration before;
    client::Configuration after;
    for (const auto &[class_name, part] : wanted) {
        for (const client::Instance &each : running) {
            if (each.class_name != class_name) continue;
            before.push_back(each);
            const bool goes =
                part.is_whole ||
                (each.name && std::ranges::find(part.none, *each.name) != part.none.end());
            if (!goes) after.push_back(each);
        }
        for (const Item &each : part.items) {
            const auto found =
                std::ranges::find_if(after, [&, &of_class = class_name, is_whole = part.is_whole](
                                                const client::Instance &other) {
                    return !is_whole && other.class_name == of_class && other.name == each.name;
                });
            if (found == after.end()) {
                after.push_back(instance_of(class_name, each));
                continue;
            }
            for (const auto &[property, value] : each.values)
                found->set(property, value);
        }
    }
    return {before, after};
}

} // namespace

bool is_own_property(const std::string &class_name, const std::string &property)
{
    return class_name == own_class &&
           std::ranges::find(own_properties, property) != std::end(own_properties);
}

Refusal judge(const Content &content, const client::Schema &schema)
{
    for (const auto &[class_name, part] : content) {
        if (Refusal refusal = judge_part(class_name, part, schema)) return refusal;
    }
    return {};
}

std::vector<client::Instance> settable(const std::vector<client::Instance> &shown,
                                       const std::string &class_name, const client::Schema &schema)
{
    std::vector<client::Instance> result;
    for (const client::Instance &each : shown) {
        client::Instance &kept = result.emplace_back(client::Instance{class_name, each.name, {}});
        for (const auto &value : each.values)
            if (!value.second.empty() && is_settable(schema, class_name, value.first))
                kept.values.push_back(value);
    }
    return result;
}

Content in_force(const Content &wanted, const client::Configuration &running)
{
    Content content;
    for (const auto &[class_name, part] : wanted)
        content[class_name] = part_in_force(class_name, part, running);
    return content;
}

Content with_hidden_secrets(const Content &wanted, const client::Schema &schema)
{
    Content content = wanted;
    for (auto &[class_name, part] : content) {
        for (Item &item : part.items)
            for (auto &[property, value] : item.values)
                if (!value.empty() && schema.is_secret(class_name, property)) value = hidden;
    }
    return content;
}

std::vector<Difference> differences(const Content &wanted, const Content &found)
{
    std::vector<Difference> differences;
    for (const auto &[class_name, part] : wanted)
        compare_parts(class_name, part, found.at(class_name), differences);
    return differences;
}

void add_steps(client::Request &request, const Content &wanted,
               const client::Configuration &running, const client::Schema &schema)
{
    const auto [before, after] = both_sides(wanted, running);
    const std::vector<client::Difference> steps = client::compare(before, after, schema);
    const auto class_of = [&](const client::Difference &each) -> const client::Class & {
        return *schema.find((each.before.empty() ? each.after : each.before)[0].class_name);
    };
    /* What goes, goes first: a name may be needed again. */
    for (const client::Difference &each : steps) {
        if (!each.before.empty() && !can_be_updated(each, class_of(each)))
            request.remove({each.before[0].class_name, each.before[0].name, {}},
                           client::Missing::is_an_error);
    }
    for (const client::Difference &each : steps) {
        if (can_be_updated(each, class_of(each))) {
            const client::Instance &instance = each.after[0];
            request.update({instance.class_name, instance.name, {}},
                           client::changed_values(each.before[0], instance),
                           client::Missing::is_an_error);
            continue;
        }
        for (const client::Instance &instance : each.after)
            request.insert({instance.class_name, instance.name, {}}, instance.values);
    }
}

} // namespace vorn::fleet
