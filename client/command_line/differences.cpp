/* SPDX-License-Identifier: MIT */
/* Differences between configurations for people and for programs. */
#include "differences.h"

#include <iostream>

#include "text.h"

namespace vorn::client {

namespace {

/* The properties of either, in the order in which they stand. */
std::vector<std::string> properties_of(const Instance &before, const Instance &after)
{
    std::vector<std::string> properties;
    for (const Instance *instance : {&before, &after}) {
        for (const auto &[property, value] : instance->values) {
            if (!contains(properties, property)) properties.push_back(property);
        }
    }
    return properties;
}

void print_whole(char sign, const std::vector<Instance> &instances)
{
    for (const Instance &instance : instances) {
        std::cout << sign << ' ' << title_of(instance) << '\n';
        for (const auto &[property, value] : instance.values)
            std::cout << sign << "   " << property << " = " << shown(value) << '\n';
    }
}

void print(const Difference &difference)
{
    if (!is_one_to_one(difference)) {
        print_whole('-', difference.before);
        print_whole('+', difference.after);
        return;
    }
    const Instance &before = difference.before[0];
    const Instance &after = difference.after[0];
    std::cout << "  " << title_of(after) << '\n';
    for (const auto &[property, value] : changed_values(before, after)) {
        if (!before.value(property).empty()) {
            std::cout << "-   " << property << " = " << shown(before.value(property)) << '\n';
        }
        if (!value.empty()) std::cout << "+   " << property << " = " << shown(value) << '\n';
    }
}

void write_side(JsonWriter &json, const char *side, const std::vector<Instance> &instances)
{
    json.name(side);
    json.open_list();
    for (const Instance &instance : instances)
        write_values(json, instance.values);
    json.close_list();
}

void print_as_json(const std::vector<Difference> &differences)
{
    JsonWriter json(json_indentation);
    json.open_list();
    for (const Difference &each : differences) {
        const Instance &any = each.before.empty() ? each.after[0] : each.before[0];
        json.open_object();
        json.member("class", any.class_name);
        if (any.name) json.member("name", *any.name);
        write_side(json, "before", each.before);
        write_side(json, "after", each.after);
        json.close_object();
    }
    json.close_list();
    std::cout << json.document() << '\n';
}

void append_values(pugi::xml_node parent, const char *side, const std::vector<Instance> &instances)
{
    for (const Instance &instance : instances) {
        pugi::xml_node element = parent.append_child(side);
        for (const auto &[property, value] : instance.values)
            set_text(element.append_child(property.c_str()), value);
    }
}

void print_as_xml(const std::vector<Difference> &differences)
{
    pugi::xml_document document;
    pugi::xml_node root = document.append_child("differences");
    for (const Difference &each : differences) {
        const Instance &any = each.before.empty() ? each.after[0] : each.before[0];
        pugi::xml_node element = root.append_child(any.class_name.c_str());
        if (any.name) set_name(element, *any.name);
        append_values(element, "before", each.before);
        append_values(element, "after", each.after);
    }
    document.save(std::cout, "  ", pugi::format_indent | pugi::format_no_escapes);
}

} // namespace

std::string title_of(const Instance &instance)
{
    return instance.name ? concat({instance.class_name, " \"", shown(*instance.name), "\""})
                         : instance.class_name;
}

bool is_one_to_one(const Difference &difference)
{
    return difference.before.size() == 1 && difference.after.size() == 1;
}

Values changed_values(const Instance &before, const Instance &after)
{
    Values changed;
    for (const std::string &property : properties_of(before, after)) {
        if (before.value(property) != after.value(property)) {
            changed.emplace_back(property, after.value(property));
        }
    }
    return changed;
}

void print(const Output &output, const std::vector<Difference> &differences)
{
    if (output.format == Format::json) return print_as_json(differences);
    if (output.format == Format::xml) return print_as_xml(differences);
    for (const Difference &difference : differences)
        print(difference);
}

} // namespace vorn::client
