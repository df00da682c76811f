/* SPDX-License-Identifier: MIT */
/* vornctl show: instances and what they are set to. */
#include "device.h"
#include "failure.h"
#include "schema.h"
#include "verb.h"

namespace vorn::client {

namespace {

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

} // namespace

int show(const Invocation &invocation)
{
    const Options &options = invocation.options;
    Selection selection = {invocation.word(0), invocation.words_from(1),
                           invocation.value("--where")};
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

} // namespace vorn::client
