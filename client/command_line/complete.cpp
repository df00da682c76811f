/* SPDX-License-Identifier: MIT */
/* What the shells ask while somebody types: vornctl complete LINE. */
#include <algorithm>
#include <iostream>

#include "advice.h"
#include "device.h"
#include "failure.h"
#include "schema.h"
#include "text.h"
#include "verb.h"
#include "view.h"

namespace vorn::client {

namespace {

constexpr int patience_ms = 2000; /* somebody waits at the keyboard */

/* The line up to the cursor: whole words, and the beginning of one, which may be empty. */
struct Line {
    std::vector<std::string> words;
    std::string beginning;
    std::string option;    /* whose value may come next: the last whole word, if it is an option */
    bool explains = false; /* "explain" stood before them */
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
    if (!line.words.empty() && line.words.back().starts_with("--")) line.option = line.words.back();
    std::erase_if(line.words, [](const std::string &word) { return word.starts_with("--"); });
    if (!line.words.empty()) line.words.erase(line.words.begin()); /* vornctl itself */
    line.explains = !line.words.empty() && line.words[0] == "explain";
    if (line.explains) line.words.erase(line.words.begin());
    return line;
}

void offer(const Line &line, std::string_view candidate)
{
    if (candidate.starts_with(line.beginning)) std::cout << candidate << '\n';
}

bool can_be_explained(const Verb &verb)
{
    return std::ranges::any_of(verb.options, [](const OptionWord &each) {
        return std::string_view(each.name) == "--explain";
    });
}

void offer_commands(const Line &line)
{
    for (const Verb &verb : verbs()) {
        if (verb.for_people && (!line.explains || can_be_explained(verb))) offer(line, verb.name);
    }
}

void offer_options(const Line &line)
{
    for (const OptionWord &each : common_options())
        offer(line, each.name);
    const Verb *verb = line.words.empty() ? nullptr : find_verb(line.words[0]);
    if (!verb) return;
    for (const OptionWord &each : verb->options)
        offer(line, each.name);
}

/* They have no name; one without an address stands for those that are not known. */
void offer_stations(Device &device, const Line &line)
{
    for (const Instance &each : device.select({"station", {}, {}}, {"mac"}))
        if (!each.value("mac").empty()) offer(line, each.value("mac"));
}

void offer_generations(Device &device, const Line &line)
{
    for (const std::string &number : names_of(device, "generation"))
        offer(line, number);
}

void offer_left_out(Device &device, const Line &line)
{
    for (const Instance &each : device.select({"plugin", {}, {}}, {"state"}))
        if (each.value("state").rfind("left out", 0) == 0) offer(line, each.name.value_or(""));
}

/* What may follow the sign of an assignment that has been begun. */
void offer_values(Device &device, const Schema &schema, const Line &line, std::size_t separator)
{
    const std::string head = line.beginning.substr(0, separator + 1);
    const std::string name = head.substr(0, head.find_last_not_of("+-=") + 1);
    const Class *klass = schema.find(line.words[1]);
    const Property *property = schema.find_property(line.words[1], name);
    if (!klass || !property) return;
    if (name == klass->subclass_identifier) {
        for (const std::string &kind : schema.subclasses_of(klass->name))
            offer(line, head + kind);
    } else if (!property->references.empty()) {
        for (const std::string &each : names_of(device, property->references))
            offer(line, head + each);
    }
    for (const std::string &value : literal_values(property->valid))
        offer(line, head + value);
}

void offer_properties(Device &device, const Schema &schema, const Line &line)
{
    const std::string &command = line.words[0];
    const Class *klass = schema.find(line.words[1]);
    const bool assigns = command == "set" || command == "add";
    const std::size_t separator = line.beginning.find('=');
    if (!klass || command == "delete" || command == "rename") return;
    if (assigns && separator != std::string::npos) {
        return offer_values(device, schema, line, separator);
    }
    for (const Property &property : klass->properties) {
        if (!assigns) {
            if (command != "unset" || property.writable) offer(line, property.name);
        } else if (property.writable || property.name == klass->subclass_identifier) {
            offer(line, property.name + "=");
        }
    }
}

void offer_classes(const Schema &schema, const Line &line)
{
    for (const Class &klass : schema.classes()) {
        if (line.words[0] != "add" || schema.is_for_clients(klass)) offer(line, klass.name);
    }
}

std::size_t most_generations(const std::string &command)
{
    return command == "diff" ? 2 : command == "history" || command == "rollback" ? 1 : 0;
}

void offer_words(Device &device, const Line &line)
{
    constexpr std::string_view with_class[] = {"list",  "show",   "set",  "add",   "delete",
                                               "unset", "rename", "help", "repair"};
    const std::string &command = line.words[0];
    const std::size_t before = line.words.size() - 1;
    if (line.option == "--generation") return offer_generations(device, line);
    if (command == "kick" && before == 0) return offer_stations(device, line);
    if (command == "plugin" && before == 0) return offer(line, "retry");
    if (command == "plugin" && before == 1) return offer_left_out(device, line);
    if (before < most_generations(command)) return offer_generations(device, line);
    if (std::ranges::find(with_class, command) == std::end(with_class)) return;
    if (command == "help" && before == 0) offer_commands(line);

    const Schema schema = Schema::of(device);
    if (line.words.size() == 1) return offer_classes(schema, line);
    if (command == "list" || (command == "repair" && before > 1) ||
        (command == "help" && before > 1))
        return;
    if (command == "help") return offer_properties(device, schema, line);
    if (line.words.size() == 2 && schema.may_have_name(line.words[1])) {
        if (command == "add") return;
        for (const std::string &name : names_of(device, line.words[1]))
            offer(line, name);
    } else {
        offer_properties(device, schema, line);
    }
}

} // namespace

/* Whatever goes wrong, there is just nothing to offer. */
int complete(const Invocation &invocation)
try {
    const Line line = parse_line(invocation.word(0));
    if (line.beginning.starts_with('-')) {
        offer_options(line);
    } else if (line.words.empty()) {
        offer_commands(line);
    } else {
        Device device(patience_ms);
        offer_words(device, line);
    }
    return done;
} catch (const std::exception &) {
    return done;
}

} // namespace vorn::client
