/* SPDX-License-Identifier: MIT */
/* vornctl show: instances and what they are set to. */
#include <iostream>

#include "advice.h"
#include "device.h"
#include "failure.h"
#include "schema.h"
#include "secrets.h"
#include "verb.h"
#include "view.h"

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

/* The value alone, for a script or an eye; a line for each instance. */
void print_bare(const std::vector<Instance> &instances, const std::string &property)
{
    for (const Instance &each : instances)
        std::cout << each.value(property) << '\n';
}

/* Words to a plugin, which it has heard and emptied, tell people nothing. */
void leave_out_words(std::vector<Instance> &instances, const Schema &schema)
{
    for (Instance &instance : instances) {
        std::erase_if(instance.values, [&](const auto &each) {
            const Property *property = schema.find_property(instance.class_name, each.first);
            return each.second.empty() && property && !property->readable;
        });
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
    const bool is_bare = invocation.has("-q");
    if (is_bare && selection.words.size() != 1) fail(misused, {"-q shows one property: name it"});
    expect_properties(schema, target.class_name, selection.words);
    expect_properties(schema, target.class_name, properties_in(target.where));

    Request request(Request::Kind::plain);
    request.select(target, selection.words);
    const std::vector<Outcome> outcomes = parse_answer(device.ask(request.text()));
    if (outcomes.empty()) fail(no_answer, {"the answer makes no sense"});
    if (outcomes[0].rc != 0)
        fail(status_after(outcomes[0].error, schema, target, {}), {outcomes[0].error});
    std::vector<Instance> instances = outcomes[0].instances;
    if (is_bare) {
        print_bare(instances, selection.words[0]);
    } else {
        if (is_on_terminal()) hide_secrets(instances, schema);
        const bool is_for_people = options.output.format == Format::table;
        if (is_for_people && selection.words.empty()) leave_out_words(instances, schema);
        options.output.print(instances);
    }
    if (instances.empty() && target.name) {
        fail(differs,
             {"there is no ", target.class_name, " \"", *target.name, "\"",
              target.where.empty() ? did_you_mean(*target.name, names_of(device, target.class_name))
                                   : " that fulfils the condition"});
    }
    return done;
}

} // namespace vorn::client
