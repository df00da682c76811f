/* SPDX-License-Identifier: MIT */
/* vornctl diff, export and import. */
#include <algorithm>
#include <iostream>

#include "commands.h"
#include "configuration.h"
#include "failure.h"
#include "input.h"
#include <nlohmann/json.hpp>

namespace vorn::client {

namespace {

using Kind = Difference::Kind;

std::string title_of(const Instance &instance)
{
    return instance.name ? instance.class_name + " \"" + shown(*instance.name) + "\""
                         : instance.class_name;
}

bool is_one_to_one(const Difference &difference)
{
    return difference.before.size() == 1 && difference.after.size() == 1;
}

/* The properties of either, in the order in which they stand. */
std::vector<std::string> properties_of(const Instance &before, const Instance &after)
{
    std::vector<std::string> properties;
    for (const Instance *instance : {&before, &after}) {
        for (const auto &[property, value] : instance->values) {
            if (std::find(properties.begin(), properties.end(), property) == properties.end()) {
                properties.push_back(property);
            }
        }
    }
    return properties;
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

nlohmann::ordered_json values_as_json(const std::vector<Instance> &instances)
{
    nlohmann::ordered_json all = nlohmann::ordered_json::array();
    for (const Instance &instance : instances) {
        nlohmann::ordered_json values = nlohmann::ordered_json::object();
        for (const auto &[property, value] : instance.values)
            values[property] = value;
        all.push_back(values);
    }
    return all;
}

void print_as_json(const std::vector<Difference> &differences)
{
    nlohmann::ordered_json all = nlohmann::ordered_json::array();
    for (const Difference &each : differences) {
        const Instance &any = each.before.empty() ? each.after[0] : each.before[0];
        nlohmann::ordered_json json = {{"class", any.class_name}};
        if (any.name) json["name"] = *any.name;
        json["before"] = values_as_json(each.before);
        json["after"] = values_as_json(each.after);
        all.push_back(json);
    }
    std::cout << all.dump(2) << '\n';
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

void print(const Options &options, const std::vector<Difference> &differences)
{
    if (options.output.format == Format::json) return print_as_json(differences);
    if (options.output.format == Format::xml) return print_as_xml(differences);
    for (const Difference &difference : differences)
        print(difference);
}

int diff(const Options &options, const std::string &file)
{
    Device device(options.timeout_ms());
    const Schema schema = Schema::required_of(device);
    const Configuration other =
        file.empty() ? parse_configuration(saved_document(device), "the saved configuration")
                     : parse_configuration(read_input(file), file.c_str());
    const std::vector<Difference> differences =
        compare(other, running_configuration(device, schema), schema);
    print(options, differences);
    return differences.empty() ? done : differs;
}

int export_to(const Options &options, const std::string &file)
{
    Device device(options.timeout_ms());
    const Schema schema = Schema::required_of(device);
    const Configuration running = running_configuration(device, schema);
    if (options.output.format == Format::json) {
        options.output.print(running);
    } else {
        write_output(file, configuration_document(running));
    }
    return done;
}

/* What clients may set; the rest only a plugin can. */
bool is_settable(const Schema &schema, const Instance &instance, const std::string &property)
{
    for (const Class &each : schema.classes()) {
        if (each.name != instance.class_name && each.superclass != instance.class_name) continue;
        if (each.subclass_identifier == property) return true;
        const Property *found = each.find(property);
        if (found && found->writable) return true;
    }
    return false;
}

Configuration only_settable(const Configuration &configuration, const Schema &schema)
{
    Configuration settable;
    for (const Instance &instance : configuration) {
        const Class *klass = schema.find(instance.class_name);
        if (!klass) {
            throw Failure(refused, title_of(instance) + ": this device has no such class");
        }
        Instance kept = {instance.class_name, instance.name, {}};
        for (const auto &value : instance.values) {
            if (is_settable(schema, instance, value.first)) kept.values.push_back(value);
        }
        settable.push_back(kept);
    }
    return settable;
}

/* A value can be changed but not taken away, and a subclass stays what it is. */
bool can_be_updated(const Schema &schema, const Difference &difference)
{
    if (!is_one_to_one(difference)) return false;
    const Class *klass = schema.find(difference.after[0].class_name);
    if (klass->type == "anonymous" || klass->type == "group-named") return false;
    for (const auto &[property, value] :
         changed_values(difference.before[0], difference.after[0])) {
        if (value.empty() || property == klass->subclass_identifier) return false;
    }
    return true;
}

struct Plan {
    Request request;
    std::vector<std::string> titles; /* of the operations */

    explicit Plan(const std::string &origin) : request(Request::Kind::transaction, origin) {}
};

/* What goes, goes first: a name may be needed again. */
void add_steps(Plan &plan, const std::vector<Difference> &differences, const Schema &schema)
{
    for (const Difference &each : differences) {
        if (each.before.empty() || can_be_updated(schema, each)) continue;
        plan.request.remove({each.before[0].class_name, each.before[0].name, {}});
        plan.titles.push_back("delete " + title_of(each.before[0]));
    }
    for (const Difference &each : differences) {
        if (can_be_updated(schema, each)) {
            const Instance &after = each.after[0];
            plan.request.update({after.class_name, after.name, {}},
                                changed_values(each.before[0], after));
            plan.titles.push_back("set " + title_of(after));
            continue;
        }
        for (const Instance &after : each.after) {
            plan.request.insert({after.class_name, after.name, {}}, after.values);
            plan.titles.push_back("add " + title_of(after));
        }
    }
}

void execute(Device &device, const Plan &plan)
{
    const std::vector<Outcome> outcomes = parse_answer(device.ask(plan.request.text()));
    for (std::size_t i = 0; i < outcomes.size() && i < plan.titles.size(); i++) {
        if (outcomes[i].rc != 0) {
            throw Failure(refused, plan.titles[i] + ": " + outcomes[i].error);
        }
    }
    if (outcomes.size() != plan.titles.size()) {
        throw Failure(no_answer, "the answer makes no sense");
    }
}

struct Import {
    std::string file;
    bool merge = false;
    bool dry_run = false;
};

int import_from(const Options &options, const Import &import)
{
    const std::string text = read_input(import.file);
    const Configuration file = parse_configuration(text, import.file.c_str());
    Device device(options.timeout_ms());
    const Schema schema = Schema::required_of(device);
    const Configuration running = running_configuration(device, schema);
    std::vector<Difference> differences =
        compare(only_settable(running, schema), only_settable(file, schema), schema);
    if (import.merge) {
        std::erase_if(differences, [](const auto &each) { return each.kind == Kind::removed; });
    }
    if (import.dry_run) {
        print(options, differences);
        return differences.empty() ? done : differs;
    }
    Plan plan(options.origin);
    add_steps(plan, differences, schema);
    if (!plan.request.empty()) execute(device, plan);
    return done;
}

} // namespace

void add_configuration_commands(CLI::App &program, const Options &options, int &status)
{
    CLI::App *diff_command =
        program.add_subcommand("diff", "what the running configuration has that is not saved");
    auto other = std::make_shared<std::string>();
    diff_command->add_option("FILE", *other, "compare with this file instead of the saved one")
        ->type_name("");
    diff_command->callback([&options, &status, other] { status = diff(options, *other); });

    CLI::App *export_command = program.add_subcommand("export", "write the running configuration");
    auto target = std::make_shared<std::string>("-");
    export_command->add_option("FILE", *target, "standard output if there is none")->type_name("");
    export_command->callback([&options, &status, target] { status = export_to(options, *target); });

    CLI::App *import_command =
        program.add_subcommand("import", "make the running configuration what a file says");
    auto import = std::make_shared<Import>();
    import_command->add_option("FILE", import->file, "as export writes it; - for standard input")
        ->type_name("")
        ->required();
    import_command->add_flag("--merge", import->merge, "delete nothing that the file lacks");
    import_command->add_flag("--dry-run", import->dry_run, "only show what would change");
    import_command->callback(
        [&options, &status, import] { status = import_from(options, *import); });
}

} // namespace vorn::client
