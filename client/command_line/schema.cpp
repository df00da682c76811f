/* SPDX-License-Identifier: MIT */
#include "schema.h"

#include <algorithm>

#include "failure.h"
#include "lsql.h"
#include "text.h"

namespace vorn::client {

namespace {

bool says_yes(const Instance &instance, const char *property)
{
    return instance.value(property) == "yes";
}

Class class_of(const Instance &instance)
{
    return {instance.called(),
            instance.value("type"),
            says_yes(instance, "persistent"),
            says_yes(instance, "abstract"),
            instance.value("superclass"),
            instance.value("subclass-identifier"),
            instance.value("label"),
            instance.value("help"),
            {}};
}

Property property_of(const Instance &instance)
{
    return {instance.value("property"),       says_yes(instance, "readable"),
            says_yes(instance, "writable"),   says_yes(instance, "required"),
            says_yes(instance, "persistent"), says_yes(instance, "inherited"),
            instance.value("references"),     says_yes(instance, "secret"),
            instance.value("valid"),          instance.value("label"),
            instance.value("help"),           instance.value("unit"),
            instance.value("example"),        instance.value("order")};
}

template <typename Range>
auto *find_named(Range &range, std::string_view name)
{
    const auto found = std::ranges::find_if(range, [&](auto &each) { return each.name == name; });
    return found == range.end() ? nullptr : &*found;
}

} // namespace

const Property *Class::find(std::string_view property) const
{
    return find_named(properties, property);
}

Schema Schema::of(Device &device)
{
    Request request(Request::Kind::plain);
    request.select({"schema-class", {}, {}}, {});
    request.select({"schema-property", {}, {}}, {});
    const std::vector<Outcome> outcomes = parse_answer(device.ask(request.text()));
    if (outcomes.size() < 2) return {};
    return of(outcomes[0].instances, outcomes[1].instances);
}

Schema Schema::of(const std::vector<Instance> &classes, const std::vector<Instance> &properties)
{
    Schema schema;
    for (const Instance &each : classes)
        schema.classes_.push_back(class_of(each));
    for (const Instance &each : properties) {
        Class *owner = find_named(schema.classes_, each.called());
        if (owner) owner->properties.push_back(property_of(each));
    }
    return schema;
}

Schema Schema::required_of(Device &device)
{
    Schema schema = of(device);
    if (!schema.known()) {
        fail(differs, {"this device does not tell what it has: the plugin \"schema\" is not "
                       "installed"});
    }
    return schema;
}

const Class *Schema::find(std::string_view name) const
{
    return find_named(classes_, name);
}

const Property *Schema::find_property(std::string_view class_name, std::string_view property) const
{
    for (const Class &each : classes_) {
        if (each.name != class_name && each.superclass != class_name) continue;
        if (const Property *found = each.find(property)) return found;
    }
    return nullptr;
}

bool Schema::is_secret(std::string_view class_name, std::string_view property) const
{
    const Property *found = find_property(class_name, property);
    return found && found->secret;
}

std::string Schema::family_of(const std::string &class_name) const
{
    const Class *klass = find(class_name);
    return klass && !klass->superclass.empty() ? klass->superclass : class_name;
}

std::vector<std::string> Schema::class_names() const
{
    std::vector<std::string> names;
    for (const Class &each : classes_)
        names.push_back(each.name);
    return names;
}

std::vector<std::string> Schema::subclasses_of(const std::string &class_name) const
{
    std::vector<std::string> names;
    for (const Class &each : classes_) {
        if (each.superclass == class_name) names.push_back(each.name);
    }
    return names;
}

std::vector<std::string> Schema::properties_of(const std::string &class_name) const
{
    std::vector<std::string> names;
    for (const Class &each : classes_) {
        if (each.name != class_name && each.superclass != class_name) continue;
        for (const Property &property : each.properties) {
            if (!contains(names, property.name)) names.push_back(property.name);
        }
    }
    return names;
}

bool Schema::may_have_name(const std::string &class_name) const
{
    const Class *klass = find(class_name);
    return !klass || klass->is_named();
}

bool Schema::is_for_clients(const Class &klass) const
{
    const auto can_be_given = [](const Property &each) { return each.writable || each.required; };
    return klass.persistent || klass.properties.empty() ||
           std::ranges::any_of(classes_, [&](const Class &each) {
               return (each.name == klass.name || each.superclass == klass.name) &&
                      std::ranges::any_of(each.properties, can_be_given);
           });
}

} // namespace vorn::client
