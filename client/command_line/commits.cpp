/* SPDX-License-Identifier: MIT */
/* vornctl commits: what the last changes were, and which provider they kept busy. */
#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "device.h"
#include "failure.h"
#include "text.h"
#include "verb.h"

namespace vorn::client {

namespace {

constexpr const char *phases[] = {"parse", "refresh", "validate", "apply"};

unsigned long microseconds(const std::string &text)
{
    return std::strtoul(text.c_str(), nullptr, 10);
}

std::string milliseconds(unsigned long microseconds)
{
    char text[32];
    std::snprintf(text, sizeof text, "%lu.%03lu", microseconds / 1000, microseconds % 1000);
    return text;
}

/* A provider's name, instances and time, as "NAME INSTANCES MICROSECONDS" has them. */
Row provider_in(const std::string &text)
{
    const std::vector<std::string> words = split_words(text, "");
    if (words.size() < 3) fail(no_answer, {"the answer makes no sense"});
    return row(
        {words[0], words[words.size() - 2], milliseconds(microseconds(words[words.size() - 1]))});
}

Rows providers_of(const Instance &commit)
{
    Rows providers;
    const std::string &all = commit.value("providers");
    for (std::size_t begin = 0; begin < all.size();) {
        const std::size_t end = std::min(all.find(", ", begin), all.size());
        providers.push_back(provider_in(all.substr(begin, end - begin)));
        begin = end + 2;
    }
    return providers;
}

unsigned long total_of(const Instance &commit)
{
    unsigned long sum = 0;
    for (const char *phase : phases)
        sum += microseconds(commit.value(phase));
    return sum;
}

/* What was done in spite of a failure still was done. */
std::string result_of(const Instance &commit)
{
    const std::string &failures = commit.value("failures");
    return concat({commit.value("result"), failures.empty() ? "" : "; ", failures});
}

void print_refusals(const Output &output, const std::vector<Instance> &refusals)
{
    Rows rows;
    for (const Instance &each : refusals) {
        rows.push_back(
            row({each.value("commit"), each.value("time"), each.value("origin"), each.value("user"),
                 each.value("program"), each.value("changes"), each.value("result")}));
    }
    output.print_table({"AFTER", "TIME", "ORIGIN", "USER", "PROGRAM", "WANTED", "RESULT"}, rows);
}

void print_summary(const Output &output, const std::vector<Instance> &commits)
{
    Rows rows;
    for (const Instance &each : commits) {
        const Rows providers = providers_of(each);
        rows.push_back(row({each.called(), each.value("time"), each.value("changed"),
                            each.value("deleted"), milliseconds(total_of(each)),
                            providers.empty() ? std::string_view() : providers[0][0],
                            each.value("origin"), each.value("user"), each.value("program"),
                            result_of(each), each.value("changes")}));
    }
    output.print_table({"COMMIT", "TIME", "CHANGED", "DELETED", "MS", "SLOWEST", "ORIGIN", "USER",
                        "PROGRAM", "RESULT", "CHANGES"},
                       rows);
}

void print_details(const Output &output, const std::vector<Instance> &commits)
{
    Rows rows;
    for (const Instance &each : commits) {
        for (const char *phase : {"parse", "refresh", "validate", "apply", "save"}) {
            rows.push_back(
                row({each.called(), phase, "", milliseconds(microseconds(each.value(phase)))}));
        }
        for (const Row &provider : providers_of(each))
            rows.push_back(row({each.called(), provider[0], provider[1], provider[2]}));
        const std::string &left_out = each.value("left-out");
        if (microseconds(left_out) > 0)
            rows.push_back(row({each.called(), concat({left_out, " faster providers"}), "", ""}));
    }
    output.print_table({"COMMIT", "PHASE, PROVIDER", "INSTANCES", "MS"}, rows);
}

std::vector<Instance> last_of(const char *class_name, Device &device, std::size_t most)
{
    std::vector<Instance> commits = device.select({class_name, {}, {}});
    if (commits.size() > most)
        commits.erase(commits.begin(), commits.end() - static_cast<std::ptrdiff_t>(most));
    return commits;
}

} // namespace

int commits(const Invocation &invocation)
{
    constexpr std::size_t usual = 20;
    constexpr long most_kept = 64;
    const std::size_t most =
        invocation.words.empty()
            ? usual
            : static_cast<std::size_t>(number_in("COUNT", invocation.words[0], most_kept));
    Device device(invocation.options.timeout_ms());
    const bool wants_refusals = invocation.has("--refused");
    const std::vector<Instance> found =
        last_of(wants_refusals ? "refusal" : "commit", device, most);
    if (found.empty() && !wants_refusals)
        fail(differs, {"this device does not tell of its commits"});
    const Output &output = invocation.options.output;
    if (output.format != Format::table) {
        output.print(found);
    } else if (wants_refusals) {
        print_refusals(output, found);
    } else if (invocation.has("-v")) {
        print_details(output, found);
    } else {
        print_summary(output, found);
    }
    return done;
}

} // namespace vorn::client
