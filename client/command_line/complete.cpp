/* SPDX-License-Identifier: MIT */
/* What the shells ask while somebody types: vornctl complete LINE. */
#include <algorithm>
#include <iostream>
#include <set>

#include "change.h"
#include "commands.h"
#include "device.h"
#include "failure.h"
#include "schema.h"

namespace vorn::client {

namespace {

constexpr int patience_ms = 2000; /* somebody waits at the keyboard */

/* The line up to the cursor: whole words, and the beginning of one, which may be empty. */
struct Line {
    std::vector<std::string> words;
    std::string beginning;
};

Line parse_line(const std::string &text)
{
    Line line;
    line.words = split_words(text, "");
    const bool is_open = !text.empty() && text.back() != ' ' && text.back() != '\t';
    if (is_open && !line.words.empty()) {
        line.beginning = line.words.back();
        line.words.pop_back();
    }
    std::erase_if(line.words, [](const std::string &word) { return word.rfind("--", 0) == 0; });
    if (!line.words.empty()) line.words.erase(line.words.begin()); /* vornctl itself */
    return line;
}

void offer(const Line &line, const std::string &candidate)
{
    if (candidate.rfind(line.beginning, 0) == 0) std::cout << candidate << '\n';
}

/* All but those that are not for people. */
std::vector<const CLI::App *> commands_of(const CLI::App &program)
{
    return program.get_subcommands(
        [](const CLI::App *command) { return !command->get_group().empty(); });
}

void offer_commands(const CLI::App &program, const Line &line)
{
    for (const CLI::App *command : commands_of(program))
        offer(line, command->get_name());
}

void offer_options(const CLI::App &program, const Line &line)
{
    std::vector<const CLI::App *> owners = {&program};
    for (const CLI::App *command : commands_of(program)) {
        if (!line.words.empty() && command->get_name() == line.words[0]) owners.push_back(command);
    }
    for (const CLI::App *owner : owners) {
        for (const CLI::Option *option : owner->get_options()) {
            for (const std::string &name : option->get_lnames())
                offer(line, "--" + name);
        }
    }
}

void offer_names(Device &device, const Line &line, const std::string &class_name)
{
    Request request(Request::Kind::plain);
    request.select({class_name, {}, {}}, {"none"});
    const std::vector<Outcome> outcomes = parse_answer(device.ask(request.text()));
    std::set<std::string> names; /* the instances of a group share one */
    for (const Instance &each : outcomes.at(0).instances)
        names.insert(each.name.value_or(""));
    for (const std::string &name : names)
        offer(line, name);
}

void offer_properties(const Schema &schema, const Line &line, const std::string &command)
{
    const Class *klass = schema.find(line.words[1]);
    if (!klass || command == "delete") return;
    for (const Property &property : klass->properties) {
        if (command == "show") {
            offer(line, property.name);
        } else if (property.writable || property.name == klass->subclass_identifier) {
            offer(line, property.name + "=");
        }
    }
}

void offer_words(Device &device, const Line &line)
{
    static const std::set<std::string> with_class = {"list", "show", "set", "add", "delete"};
    const std::string &command = line.words[0];
    if (!with_class.count(command)) return;

    const Schema schema = Schema::of(device);
    if (line.words.size() == 1) {
        for (const Class &klass : schema.classes()) {
            if (command == "list" || command == "show" || klass.superclass.empty()) {
                offer(line, klass.name);
            }
        }
    } else if (command == "list") {
        return;
    } else if (line.words.size() == 2 && schema.may_have_name(line.words[1])) {
        if (command != "add") offer_names(device, line, line.words[1]);
    } else {
        offer_properties(schema, line, command);
    }
}

/* Whatever goes wrong, there is just nothing to offer. */
void complete(const CLI::App &program, const std::string &text)
try {
    const Line line = parse_line(text);
    if (line.beginning.rfind('-', 0) == 0) return offer_options(program, line);
    if (line.words.empty()) return offer_commands(program, line);
    Device device(patience_ms);
    offer_words(device, line);
} catch (const std::exception &) {
    return;
}

} // namespace

void add_complete_command(CLI::App &program, const Options &, int &status)
{
    CLI::App *command = program.add_subcommand("complete", "candidates for the end of a line");
    command->group(""); /* for the shells, not for people */
    auto line = std::make_shared<std::string>();
    command->add_option("LINE", *line)->required();
    command->callback([&program, &status, line] {
        complete(program, *line);
        status = done;
    });
}

} // namespace vorn::client
