/* SPDX-License-Identifier: MIT */
/* What the shells ask while somebody types: vornctl complete LINE. */
#include <algorithm>
#include <iostream>
#include <set>

#include "device.h"
#include "failure.h"
#include "schema.h"
#include "text.h"
#include "verb.h"

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

void offer_commands(const Line &line)
{
    for (const Verb &verb : verbs()) {
        if (verb.for_people) offer(line, verb.name);
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

} // namespace

/* Whatever goes wrong, there is just nothing to offer. */
int complete(const Invocation &invocation)
try {
    const Line line = parse_line(invocation.word(0));
    if (line.beginning.rfind('-', 0) == 0) {
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
