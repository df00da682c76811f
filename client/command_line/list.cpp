/* SPDX-License-Identifier: MIT */
/* vornctl list: what there is. */
#include "advice.h"
#include "device.h"
#include "failure.h"
#include "schema.h"
#include "verb.h"

namespace vorn::client {

namespace {

std::string flags_of(const Property &property)
{
    return std::string(property.readable ? "r" : "-") + (property.writable ? "w" : "-") +
           (property.required ? "i" : "-") + (property.persistent ? "p" : "-");
}

void list_as_data(const Output &output, Device &device, const std::string &class_name)
{
    Request request(Request::Kind::plain);
    if (class_name.empty()) {
        request.select({"schema-class", {}, {}}, {});
    } else {
        request.select({"schema-property", class_name, {}}, {});
    }
    output.print(parse_answer(device.ask(request.text())).at(0).instances);
}

void list_classes(const Output &output, const Schema &schema)
{
    std::vector<std::vector<std::string>> rows;
    for (const Class &each : schema.classes()) {
        rows.push_back({each.name, each.abstract ? each.type + ", abstract" : each.type,
                        each.persistent ? "yes" : "no", each.superclass});
    }
    output.print_table({"CLASS", "TYPE", "SAVED", "SUPERCLASS"}, rows);
}

void list_properties(const Output &output, const Class &klass)
{
    std::vector<std::vector<std::string>> rows;
    for (const Property &each : klass.properties)
        rows.push_back({each.name, flags_of(each), each.inherited ? klass.superclass : ""});
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
