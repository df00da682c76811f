/* SPDX-License-Identifier: MIT */
/* vornctl list and show: what there is, and what it is set to. */
#include <iostream>

#include "commands.h"
#include "device.h"
#include "failure.h"
#include "schema.h"

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

int list(const Options &options, const std::string &class_name)
{
    Device device(options.timeout_ms());
    const Schema schema = Schema::required_of(device);
    const Class *klass = class_name.empty() ? nullptr : schema.find(class_name);
    if (!class_name.empty() && !klass) {
        throw Failure(differs, "there is no class \"" + class_name + "\"");
    }
    if (options.output.format != Format::table) {
        list_as_data(options.output, device, class_name);
    } else if (klass) {
        list_properties(options.output, *klass);
    } else {
        list_classes(options.output, schema);
    }
    return done;
}

struct Selection {
    std::string class_name;
    std::vector<std::string> words;
    std::string where;
};

/* The first word is the instance's name where there can be one; "-" stands for any. */
Target take_target(const Schema &schema, Selection &selection)
{
    Target target = {selection.class_name, {}, selection.where};
    if (selection.words.empty() || !schema.may_have_name(selection.class_name)) return target;
    if (selection.words.front() != "-") target.name = selection.words.front();
    selection.words.erase(selection.words.begin());
    return target;
}

void expect_known(const Schema &schema, const Target &target,
                  const std::vector<std::string> &properties)
{
    if (!schema.known()) return;
    const Class *klass = schema.find(target.class_name);
    if (!klass) throw Failure(differs, "there is no class \"" + target.class_name + "\"");
    for (const std::string &property : properties) {
        if (!klass->abstract && !klass->find(property)) {
            throw Failure(differs,
                          "class \"" + klass->name + "\" has no property \"" + property + "\"");
        }
    }
}

int show(const Options &options, Selection selection)
{
    Device device(options.timeout_ms());
    const Schema schema = Schema::of(device);
    const Target target = take_target(schema, selection);
    expect_known(schema, target, selection.words);

    Request request(Request::Kind::plain);
    request.select(target, selection.words);
    const std::vector<Outcome> outcomes = parse_answer(device.ask(request.text()));
    if (outcomes.empty()) throw Failure(no_answer, "the answer makes no sense");
    if (outcomes[0].rc != 0) throw Failure(refused, outcomes[0].error);
    options.output.print(outcomes[0].instances);
    if (outcomes[0].instances.empty() && target.name) {
        throw Failure(differs, "there is no " + target.class_name + " \"" + *target.name + "\"" +
                                   (target.where.empty() ? "" : " that fulfils the condition"));
    }
    return done;
}

} // namespace

void add_show_commands(CLI::App &program, const Options &options, int &status)
{
    CLI::App *list_command = program.add_subcommand("list", "the device's classes, or one class's "
                                                            "properties");
    auto class_name = std::make_shared<std::string>();
    list_command->add_option("CLASS", *class_name)->type_name("");
    list_command->callback(
        [&options, &status, class_name] { status = list(options, *class_name); });

    CLI::App *show_command = program.add_subcommand("show", "instances and their values");
    auto selection = std::make_shared<Selection>();
    show_command->add_option("CLASS", selection->class_name)->type_name("")->required();
    show_command
        ->add_option("WORDS", selection->words,
                     "the instance's name (- for any), then properties (default: all)")
        ->type_name("[NAME] [PROPERTY]");
    show_command->add_option("--where", selection->where, "only those that fulfil it")
        ->type_name("CONDITION");
    show_command->callback([&options, &status, selection] { status = show(options, *selection); });
}

} // namespace vorn::client
