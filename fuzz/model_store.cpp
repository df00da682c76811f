/* SPDX-License-Identifier: MIT */
#include "fuzz/model_store.h"

#include "vorn/class.h"

#include <algorithm>

namespace vorn::fuzz {

namespace {

bool is_named(const ClassPlan &plan)
{
    return plan.type == VORN_CLASS_UNIQUE_NAMED || plan.type == VORN_CLASS_GROUP_NAMED;
}

const ClassPlan &top_of(const ClassPlan &plan)
{
    for (const ClassPlan &each : class_plans()) {
        if (each.name == plan.superclass) return each;
    }
    return plan;
}

const std::string &identifier_of(const ClassPlan &plan)
{
    return top_of(plan).identifier;
}

/* The concrete classes that a class stands for. */
std::vector<const ClassPlan *> family_of(const ClassPlan &plan)
{
    std::vector<const ClassPlan *> family;
    for (const ClassPlan &each : class_plans()) {
        if (&each == &plan || each.superclass == plan.name) family.push_back(&each);
    }
    return family;
}

const PropertyPlan *find(const std::vector<PropertyPlan> &properties, const std::string &name)
{
    const auto found = std::find_if(properties.begin(), properties.end(),
                                    [&](const PropertyPlan &each) { return each.name == name; });
    return found == properties.end() ? nullptr : &*found;
}

/* An identifier may be given on insert alone. */
bool accepts(const ClassPlan &plan, const std::string &name, const std::string &value,
             bool on_insert)
{
    if (name == identifier_of(plan)) return on_insert;
    const std::vector<PropertyPlan> properties = all_properties(plan);
    const PropertyPlan *property = find(properties, name);
    if (!property) return false;
    if (!property->writable && !(on_insert && property->required)) return false;
    return !property->numeric || is_numeric(value);
}

bool is_complete(const Object &object)
{
    const std::string &identifier = identifier_of(*object.plan);
    const std::vector<PropertyPlan> properties = all_properties(*object.plan);
    return (identifier.empty() || object.values.count(identifier) != 0) &&
           std::all_of(properties.begin(), properties.end(), [&](const PropertyPlan &each) {
               return !each.required || object.values.count(each.name) != 0;
           });
}

/* What is not there equals nothing, and an empty text in a condition is nothing. */
bool fulfils(const Object &object, const Condition &where)
{
    if (where.kind == Condition::Kind::none) return true;

    std::optional<std::string> text = object.name;
    if (!where.property.empty()) {
        const auto value = object.values.find(where.property);
        text = value == object.values.end() ? std::nullopt : std::optional(value->second);
    }
    const bool equal = text && !where.value.empty() && *text == where.value;
    return equal == (where.kind == Condition::Kind::equal);
}

Outcome refusal()
{
    return {true, 0, {}};
}

bool is_saved(const Object &object, const std::string &property)
{
    const std::vector<PropertyPlan> properties = all_properties(*object.plan);
    const PropertyPlan *plan = find(properties, property);
    return !plan || plan->saved;
}

} // namespace

const ClassPlan *find_class(const std::string &name)
{
    for (const ClassPlan &plan : class_plans()) {
        if (plan.name == name) return &plan;
    }
    return nullptr;
}

std::vector<PropertyPlan> all_properties(const ClassPlan &plan)
{
    std::vector<PropertyPlan> properties;
    if (!plan.superclass.empty()) properties = top_of(plan).properties;
    properties.insert(properties.end(), plan.properties.begin(), plan.properties.end());
    return properties;
}

Outcome ModelStore::run(const Operation &operation)
{
    switch (operation.kind) {
    case Operation::Kind::select:
        return select(operation);
    case Operation::Kind::update:
        return update(operation);
    case Operation::Kind::remove:
        return remove(operation);
    case Operation::Kind::insert:
        return insert(operation);
    }
    return {};
}

std::vector<Object *> ModelStore::matching(const Operation &operation)
{
    std::vector<Object *> found;
    for (const ClassPlan *plan : family_of(*operation.plan)) {
        for (Object &object : objects_[plan->name]) {
            const bool meant = !operation.name || object.name == operation.name;
            if (meant && fulfils(object, operation.where)) found.push_back(&object);
        }
    }
    return found;
}

Outcome ModelStore::select(const Operation &operation)
{
    Outcome outcome;
    for (const Object *object : matching(operation))
        outcome.selected.push_back(*object);
    outcome.counter = static_cast<int>(outcome.selected.size());
    return outcome;
}

Outcome ModelStore::update(const Operation &operation)
{
    Outcome outcome;
    for (Object *object : matching(operation)) {
        for (const auto &[property, value] : operation.values) {
            outcome.failed = !accepts(*object->plan, property, value, false);
            if (outcome.failed) return outcome;
            object->values[property] = value;
        }
        outcome.counter++;
    }
    return outcome;
}

Outcome ModelStore::remove(const Operation &operation)
{
    Outcome outcome;
    for (const ClassPlan *plan : family_of(*operation.plan)) {
        outcome.counter +=
            static_cast<int>(std::erase_if(objects_[plan->name], [&](const Object &object) {
                return (!operation.name || object.name == operation.name) &&
                       fulfils(object, operation.where);
            }));
    }
    return outcome;
}

Outcome ModelStore::insert(const Operation &operation)
{
    const auto &values = operation.values;
    const ClassPlan *plan = operation.plan;
    if (!plan->identifier.empty()) {
        const auto kind = std::find_if(values.begin(), values.end(), [&](const auto &each) {
            return each.first == plan->identifier;
        });
        plan = kind == values.end() ? nullptr : find_class(kind->second);
        if (!plan || plan->superclass != operation.plan->name) return refusal();
    }
    Object object = {plan, operation.name, {}};
    if (object.name.has_value() != is_named(*plan)) return refusal();
    for (const auto &[property, value] : values) {
        if (!accepts(*plan, property, value, true)) return refusal();
        object.values[property] = value;
    }
    if (!is_complete(object) || is_taken(*plan, object.name)) return refusal();
    add(object);
    return {false, 1, {}};
}

bool ModelStore::is_taken(const ClassPlan &plan, const std::optional<std::string> &name) const
{
    if (plan.type != VORN_CLASS_SINGLETON && plan.type != VORN_CLASS_UNIQUE_NAMED) return false;

    for (const ClassPlan *each : family_of(top_of(plan))) {
        const auto objects = objects_.find(each->name);
        if (objects == objects_.end()) continue;
        for (const Object &object : objects->second) {
            if (object.name == name) return true;
        }
    }
    return false;
}

/* The members of a group stand together, where its first one stood. */
void ModelStore::add(const Object &object)
{
    Objects &objects = objects_[object.plan->name];
    auto place = objects.end();
    if (object.plan->type == VORN_CLASS_GROUP_NAMED) {
        const auto last = std::find_if(objects.rbegin(), objects.rend(), [&](const Object &each) {
            return each.name == object.name;
        });
        if (last != objects.rend()) place = last.base();
    }
    objects.insert(place, object);
}

void ModelStore::set_passively(const std::string &class_name, const std::string &name,
                               const std::string &property, const std::string &value)
{
    for (Object &object : objects_[class_name]) {
        if (object.name == name) object.values[property] = value;
    }
}

ModelStore ModelStore::saved() const
{
    ModelStore result;
    for (const auto &[class_name, objects] : objects_) {
        if (!find_class(class_name)->saved) continue;
        for (Object object : objects) {
            std::erase_if(object.values,
                          [&](const auto &value) { return !is_saved(object, value.first); });
            result.add(object);
        }
    }
    return result;
}

void ModelStore::add_missing_singletons()
{
    for (const ClassPlan &plan : class_plans()) {
        if (plan.type == VORN_CLASS_SINGLETON && !is_taken(plan, std::nullopt)) {
            add({&plan, std::nullopt, {}});
        }
    }
}

std::string ModelStore::state() const
{
    std::string text;
    for (const ClassPlan &plan : class_plans()) {
        const auto objects = objects_.find(plan.name);
        if (objects == objects_.end()) continue;
        for (const Object &object : objects->second) {
            text += plan.name;
            if (object.name) text += " \"" + *object.name + "\"";
            for (const auto &[property, value] : object.values)
                text.append("\n  ").append(property).append("=").append(value);
            text += "\n";
        }
    }
    return text;
}

} // namespace vorn::fuzz
