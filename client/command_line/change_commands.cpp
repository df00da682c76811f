/* SPDX-License-Identifier: MIT */
/* vornctl set, add, delete and batch. */
#include <algorithm>

#include "change.h"
#include "commands.h"
#include "failure.h"
#include "input.h"

namespace vorn::client {

namespace {

struct Syntax {
    const char *operation;
    const char *words;
    const char *what;
};

constexpr Syntax syntaxes[] = {
    {"set", "[NAME] PROPERTY=VALUE", "give instances new values"},
    {"add", "[NAME] [PROPERTY=VALUE]", "make a new instance"},
    {"delete", "[NAME]", "remove instances"},
};

/* The same words after "vornctl" and on a line of a batch. */
CLI::App *add_command(CLI::App &program, const Syntax &syntax, Change &change)
{
    change.operation = syntax.operation;
    CLI::App *command = program.add_subcommand(syntax.operation, syntax.what);
    command->add_option("CLASS", change.class_name)->type_name("")->required();
    command->add_option("WORDS", change.words)->type_name(syntax.words);
    if (change.operation != "add") {
        command->add_option("--where", change.where, "only those that fulfil it")
            ->type_name("CONDITION");
    }
    if (change.operation == "delete") {
        command->add_flag("--all", change.all, "all instances of the class");
    }
    return command;
}

Change parse_line(std::vector<std::string> words, const std::string &place)
{
    if (std::none_of(std::begin(syntaxes), std::end(syntaxes),
                     [&](const Syntax &each) { return words[0] == each.operation; })) {
        throw Failure(misused, place + "\"" + words[0] + "\" is none of set, add and delete");
    }
    CLI::App line("", place);
    Change parsed[std::size(syntaxes)];
    Change *found = nullptr;
    line.require_subcommand(1);
    for (std::size_t i = 0; i < std::size(syntaxes); i++) {
        add_command(line, syntaxes[i], parsed[i])->callback([&found, &parsed, i] {
            found = &parsed[i];
        });
    }
    std::reverse(words.begin(), words.end());
    try {
        line.parse(words);
    } catch (const CLI::ParseError &error) {
        throw Failure(misused, place + error.what());
    }
    found->place = place;
    return *found;
}

std::vector<Change> parse_batch(const std::string &text, const std::string &name)
{
    std::vector<Change> changes;
    std::size_t number = 0;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = std::min(text.find('\n', at), text.size());
        const std::string place = name + ":" + std::to_string(++number) + ": ";
        const std::vector<std::string> words = split_words(text.substr(at, end - at), place);
        if (!words.empty()) changes.push_back(parse_line(words, place));
        at = end + 1;
    }
    return changes;
}

int apply_now(const Options &options, const std::vector<Change> &changes)
{
    Device device(options.timeout_ms());
    return apply(device, Schema::of(device), changes, options.origin);
}

} // namespace

void add_change_commands(CLI::App &program, const Options &options, int &status)
{
    for (const Syntax &syntax : syntaxes) {
        auto change = std::make_shared<Change>();
        add_command(program, syntax, *change)->callback([&options, &status, change] {
            status = apply_now(options, {*change});
        });
    }
    CLI::App *batch = program.add_subcommand("batch", "the changes in a file, all or none");
    auto file = std::make_shared<std::string>();
    batch->add_option("FILE", *file, "one set, add or delete a line; - for standard input")
        ->type_name("")
        ->required();
    batch->callback([&options, &status, file] {
        status = apply_now(options, parse_batch(read_input(*file), *file));
    });
}

} // namespace vorn::client
