/* SPDX-License-Identifier: MIT */
/* vornctl help: of a command, or of what the device has, in the words of its plugins. */
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <vector>

#include "advice.h"
#include "arguments.h"
#include "device.h"
#include "failure.h"
#include "schema.h"
#include "text.h"
#include "verb.h"

namespace vorn::client {

namespace {

/* Where each is said only if there is something to say. */
void add_line(Rows &lines, const char *head, const std::string &text)
{
    if (!text.empty()) lines.push_back(row({head, text}));
}

std::string flags_of(const Property &property)
{
    const struct {
        bool is_so;
        const char *word;
    } flags[] = {{property.required, "required"},
                 {!property.writable, "read only"},
                 {property.secret, "secret"},
                 {property.writable && !property.persistent, "not saved"}};
    std::string words;
    for (const auto &each : flags) {
        if (!each.is_so) continue;
        if (!words.empty()) words += ", ";
        words += each.word;
    }
    return words;
}

std::string heading_of(const std::string &name, const std::string &label)
{
    return label.empty() || label == name ? name : concat({label, " (", name, ")"});
}

/* From 0 on, for orders below zero too. */
std::uint32_t order_of(const Property &property)
{
    return static_cast<std::uint32_t>(std::atoi(property.order.c_str())) + (1U << 31);
}

/* The least of those above this one. */
std::uint32_t next_order(const Class &klass, std::uint32_t above)
{
    std::uint32_t next = UINT32_MAX;
    for (const Property &each : klass.properties) {
        const std::uint32_t order = order_of(each);
        if (order > above && order < next) next = order;
    }
    return next;
}

void help_with_property(const Output &output, const Property &property)
{
    Rows lines;
    add_line(lines, "what", property.help);
    add_line(lines, "valid", valid_values(property));
    add_line(lines, "unit", property.unit);
    add_line(lines, "example", property.example);
    add_line(lines, "names", property.references);
    add_line(lines, "flags", flags_of(property));
    output.print_lines(heading_of(property.name, property.label), lines, true);
}

void help_with_class(const Output &output, const Schema &schema, const Class &klass)
{
    Rows lines;
    add_line(lines, "what", klass.help);
    add_line(lines, "type", klass.type);
    add_line(lines, "kinds", joined(schema.subclasses_of(klass.name), ", "));
    add_line(lines, "flags", klass.persistent ? "" : "not saved");
    output.print_lines(heading_of(klass.name, klass.label), lines, true);
    std::cout << '\n';
    Rows rows;
    /* Those of the superclass come first as they are; a page's order is what people expect. */
    for (std::uint32_t order = 0; rows.size() < klass.properties.size();
         order = next_order(klass, order)) {
        for (const Property &each : klass.properties) {
            if (order_of(each) != order) continue;
            const std::string valid = each.writable ? valid_values(each) : flags_of(each);
            rows.push_back(row({each.name, each.label, valid}));
        }
    }
    output.print_table({"PROPERTY", "LABEL", "VALID"}, rows);
}

void help_as_data(const Output &output, Device &device, const std::string &class_name,
                  const std::string &property)
{
    output.print(property.empty() ? device.select({"schema-class", class_name, {}})
                                  : device.select({"schema-property", class_name,
                                                   concat({"property = ", property})}));
}

void help_with(const Invocation &invocation)
{
    const std::string class_name = invocation.word(0);
    const std::string property = invocation.word(1);
    const Output &output = invocation.options.output;
    Device device(invocation.options.timeout_ms());
    const Schema schema = Schema::required_of(device);
    const Class *klass = expect_class(schema, class_name);
    if (!property.empty()) expect_properties(schema, class_name, {property});
    if (output.format != Format::table) {
        help_as_data(output, device, class_name, property);
    } else if (property.empty()) {
        help_with_class(output, schema, *klass);
    } else {
        help_with_property(output, *schema.find_property(class_name, property));
    }
}

} // namespace

/* A word that is both a command and a class is explained as both, with or without a device. */
int help(const Invocation &invocation)
{
    const std::string name = invocation.word(0);
    const Verb *verb = invocation.words.size() < 2 ? find_verb(name) : nullptr;
    const bool is_for_people = invocation.options.output.format == Format::table;
    if (name.empty()) {
        print_help();
    } else if (!verb || !verb->for_people || !is_for_people) {
        help_with(invocation);
    } else {
        print_help(*verb);
        try {
            Device device(invocation.options.timeout_ms());
            const Schema schema = Schema::of(device);
            const Class *klass = schema.find(name);
            if (!klass) return done;
            std::cout << '\n';
            help_with_class(invocation.options.output, schema, *klass);
        } catch (const Failure &) {
            return done;
        }
    }
    return done;
}

} // namespace vorn::client
