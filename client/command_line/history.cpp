/* SPDX-License-Identifier: MIT */
/* vornctl history: what was saved before, and what one save changed. */
#include <algorithm>
#include <iostream>
#include <utility>

#include "device.h"
#include "differences.h"
#include "failure.h"
#include "generations.h"
#include "secrets.h"
#include "text.h"
#include "verb.h"

namespace vorn::client {

namespace {

std::string remark_on(const Instance &generation)
{
    if (generation.value("state") != "good") return generation.value("state");
    const std::string &comment = generation.value("comment");
    if (generation.value("pinned") != "yes") return comment;
    return concat({comment, comment.empty() ? "" : " ", "[pinned]"});
}

void print_list(const Output &output, const std::vector<Instance> &all)
{
    Rows rows;
    for (const Instance &each : all) {
        rows.push_back(
            row({each.called(), each.value("time"), each.value("user"), each.value("program"),
                 each.value("origin"), each.value("bytes"), remark_on(each)}));
    }
    output.print_table({"GENERATION", "TIME", "USER", "PROGRAM", "ORIGIN", "BYTES", "COMMENT"},
                       rows);
}

/* Who made it, and what became of that; nothing of what is not known. */
void print_record(const Instance &generation)
{
    const std::string &user = generation.value("user");
    const std::string who = user.empty() ? ""
                                         : concat({user, " (", generation.value("program"),
                                                   ", process ", generation.value("process"), ")"});
    const std::pair<const char *, std::string> lines[] = {
        {"by", who},
        {"result", generation.value("result")},
        {"failures", generation.value("failures")},
        {"providers", generation.value("providers")},
    };
    for (const auto &[name, value] : lines) {
        if (!value.empty()) std::cout << name << ": " << shown(value) << '\n';
    }
}

Configuration one_before(Device &device, const Instance &generation)
{
    const std::string &state = generation.value("state");
    if (state != "good") {
        fail(refused, {"what it changed can't be told: generation ", generation.called(),
                       ", the one before, is ", state});
    }
    return configuration_of_generation(device, generation.called());
}

/* The first one that is kept has nothing to be compared with. */
int print_changes(const Output &output, Device &device, const std::vector<Instance> &all,
                  const std::string &number)
{
    const Schema schema = Schema::required_of(device);
    const auto found =
        std::ranges::find_if(all, [&](const Instance &each) { return each.name == number; });
    if (found != all.end() && output.format == Format::table) print_record(*found);
    const Configuration after = configuration_of_generation(device, number);
    Configuration before;
    if (found != all.begin() && found != all.end()) before = one_before(device, *std::prev(found));
    std::vector<Difference> differences = compare(before, after, schema);
    hide_secrets(differences, schema);
    print(output, differences);
    return done;
}

} // namespace

int history(const Invocation &invocation)
{
    const Output &output = invocation.options.output;
    Device device(invocation.options.timeout_ms());
    const std::vector<Instance> all = generations(device);
    if (!invocation.words.empty())
        return print_changes(output, device, all, generation_in(invocation.word(0)));
    if (output.format != Format::table) {
        output.print(all);
    } else {
        print_list(output, all);
    }
    return done;
}

} // namespace vorn::client
