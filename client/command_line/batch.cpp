/* SPDX-License-Identifier: MIT */
/* vornctl batch: the changes in a file, in one transaction. */
#include <algorithm>

#include "advice.h"
#include "arguments.h"
#include "change.h"
#include "failure.h"
#include "input.h"
#include "text.h"

namespace vorn::client {

namespace {

Change parse_line(const std::vector<std::string> &words, const std::string &place)
{
    const std::vector<std::string> &verbs = change_verbs();
    if (!contains(verbs, words[0])) {
        fail(misused, {place, "\"", words[0], "\" is none of set, unset, add, delete and rename",
                       did_you_mean(words[0], verbs)});
    }
    try {
        const Invocation line = parse_words(*find_verb(words[0]), {words.begin() + 1, words.end()});
        for (const char *option : {"--explain", "--comment"}) {
            if (line.has(option))
                fail(misused, {place, option, " is for all changes of a file together"});
        }
        if (line.options.trial_seconds > 0 || !line.options.joins.empty()) {
            fail(misused, {place, "a trial is for all changes of a file together"});
        }
        return change_of(line, place);
    } catch (const Misuse &misuse) {
        fail(misused, {place, misuse.what()});
    }
}

std::vector<Change> parse_batch(const std::string &text, const std::string &name)
{
    std::vector<Change> changes;
    std::size_t number = 0;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = std::min(text.find('\n', at), text.size());
        const std::string place = concat({name, ":", std::to_string(++number), ": "});
        const std::vector<std::string> words = split_words(text.substr(at, end - at), place);
        if (!words.empty()) changes.push_back(parse_line(words, place));
        at = end + 1;
    }
    return changes;
}

} // namespace

int batch(const Invocation &invocation)
{
    const std::string file = invocation.word(0);
    return make_changes(invocation.options, parse_batch(read_input(file), file));
}

} // namespace vorn::client
