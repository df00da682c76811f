/* SPDX-License-Identifier: MIT */
/* vornctl list: what there is. */
#include "advice.h"
#include "device.h"
#include "failure.h"
#include "schema.h"
#include "text.h"
#include "verb.h"

namespace vorn::client {

namespace {

std::string letters_of(const Property &property)
{
    return {property.readable ? 'r' : '-', property.writable ? 'w' : '-',
            property.required ? 'i' : '-', property.persistent ? 'p' : '-'};
}

void list_as_data(const Output &output, Device &device, const std::string &class_name)
{
    output.print(class_name.empty() ? device.select({"schema-class", {}, {}})
                                    : device.select({"schema-property", class_name, {}}));
}

void list_classes(const Output &output, const Schema &schema)
{
    Rows rows;
    for (const Class &each : schema.classes()) {
        rows.push_back(row({each.name, concat({each.type, each.abstract ? ", abstract" : ""}),
                            each.persistent ? "yes" : "no", each.superclass}));
    }
    output.print_table({"CLASS", "TYPE", "SAVED", "SUPERCLASS"}, rows);
}

void list_properties(const Output &output, const Class &klass)
{
    Rows rows;
    for (const Property &each : klass.properties)
        rows.push_back(row({each.name, letters_of(each), each.inherited ? klass.superclass : ""}));
    output.print_table({"PROPERTY", "FLAGS", "FROM"}, rows);
}

} // namespace

int list(const Invocation &invocation)
{
    const Options &options = invocation.options;
    const std::string class_name = invocation.word(0);
    Device device(options.timeout_ms());
    const Schema schema = Schema::required_of(device);
    const Class *klass = class_name.empty() ? nullptr : expect_class(schema, class_name);
    if (options.output.format != Format::table) {
        list_as_data(options.output, device, class_name);
    } else if (klass) {
        list_properties(options.output, *klass);
    } else {
        list_classes(options.output, schema);
    }
    return done;
}

} // namespace vorn::client
