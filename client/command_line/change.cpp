/* SPDX-License-Identifier: MIT */
/* Changes as people write them, made as one transaction. */
#include "change.h"

#include <iostream>

#include "failure.h"
#include "transaction.h"

namespace vorn::client {

namespace {

/* A change as the daemon takes it. */
struct Step {
    Target target;
    Values values;
};

[[noreturn]] void fail(const Change &change, ExitStatus status, const std::string &text)
{
    throw Failure(status, change.place + text);
}

std::string title_of(const Change &change, const Target &target)
{
    std::string title = change.operation + " " + target.class_name;
    if (target.name) title += " \"" + *target.name + "\"";
    return title;
}

/* An "=" in the first word means that there is no name, unless the class has names for sure. */
bool begins_with_name(const Change &change, const Schema &schema)
{
    if (change.words.empty() || !schema.may_have_name(change.class_name)) return false;
    return schema.find(change.class_name) || change.words[0].find('=') == std::string::npos;
}

std::pair<std::string, std::string> assignment(const Change &change, const std::string &word)
{
    const std::size_t separator = word.find('=');
    if (separator == std::string::npos || separator == 0) {
        fail(change, misused, "\"" + word + "\" is not PROPERTY=VALUE");
    }
    return {word.substr(0, separator), word.substr(separator + 1)};
}

/* What the daemon would not refuse, but cannot have been meant. */
void expect_sense(const Change &change, const Step &step)
{
    const bool picks = step.target.name || !change.where.empty();
    if (change.operation == "add" && !change.where.empty()) {
        fail(change, misused, "a new instance has no condition");
    }
    if (change.operation == "set" && step.values.empty()) {
        fail(change, misused, "nothing to set: PROPERTY=VALUE is missing");
    }
    if (change.operation == "delete" && !step.values.empty()) {
        fail(change, misused, "delete takes no values; --where picks instances by value");
    }
    if (change.operation == "delete" && picks == change.all) {
        fail(change, misused,
             change.all ? "--all and a name or a condition contradict each other"
                        : "which " + change.class_name + "? A name, --where or --all says so");
    }
}

Step step_of(const Change &change, const Schema &schema)
{
    Step step = {{change.class_name, {}, change.where}, {}};
    std::size_t first = 0;
    if (begins_with_name(change, schema)) {
        if (change.words[0] != "-") step.target.name = change.words[0];
        first = 1;
    }
    for (std::size_t i = first; i < change.words.size(); i++)
        step.values.push_back(assignment(change, change.words[i]));
    expect_sense(change, step);
    return step;
}

void add_to(Transaction &transaction, const Change &change, const Step &step)
{
    const std::string title = change.place + title_of(change, step.target);
    if (change.operation == "set") {
        transaction.update(title, step.target, step.values);
    } else if (change.operation == "add") {
        transaction.insert(title, step.target, step.values);
    } else {
        transaction.remove(title, step.target);
    }
}

/* Says what had no effect; the daemon finds nothing wrong with that. */
bool matched(const Change &change, const Step &step, const Outcome &outcome)
{
    if (outcome.counter > 0) return true;
    std::cerr << "vornctl: " << change.place << title_of(change, step.target)
              << ": there is no such instance" << '\n';
    return false;
}

} // namespace

Change change_of(const Invocation &invocation, const std::string &place)
{
    return {invocation.verb->name,       invocation.word(0),      invocation.words_from(1),
            invocation.value("--where"), invocation.has("--all"), place};
}

int make_changes(const Options &options, const std::vector<Change> &changes)
{
    Device device(options.timeout_ms());
    const Schema schema = Schema::of(device);
    Transaction transaction(options.origin);
    std::vector<Step> steps;
    for (const Change &change : changes) {
        steps.push_back(step_of(change, schema));
        add_to(transaction, change, steps.back());
    }
    const std::vector<Outcome> outcomes = transaction.execute(device);
    bool all_matched = true;
    for (std::size_t i = 0; i < outcomes.size(); i++)
        all_matched &= matched(changes[i], steps[i], outcomes[i]);
    return all_matched ? done : differs;
}

} // namespace vorn::client
