/* SPDX-License-Identifier: MIT */
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "lsql.h"
#include "options.h"

namespace vorn::client {

/* One positional word of a verb, or with `many` any number of them. */
struct Argument {
    const char *name;
    const char *help;
    bool required = true;
    bool many = false;
};

/* An option; one without a value is a flag. */
struct OptionWord {
    const char *name; /* with its dashes */
    const char *value;
    const char *help;
};

struct Verb;

/* A command line that was understood: every required word is there, every option is known. */
struct Invocation {
    const Verb *verb = nullptr;
    Options options;
    std::vector<std::string> words;
    Values given; /* the verb's own options and their values, the last first */

    bool has(std::string_view option) const;
    /* Empty without the option. */
    std::string value(std::string_view option) const;
    /* Empty for a word that is not there. */
    std::string word(std::size_t index) const;
    std::vector<std::string> words_from(std::size_t index) const;
};

/* What follows "vornctl": the parser, the help and the completion know it from here only. */
struct Verb {
    const char *name;
    std::span<const Argument> arguments;
    std::span<const OptionWord> options;
    const char *help;
    int (*run)(const Invocation &invocation); /* gives the exit status, or throws a Failure */
    bool is_long = false;                     /* what it prints may need a pager */
    bool for_people = true;
    bool warns = true;     /* of a configuration that could not be read */
    bool precedes = false; /* another verb, which it says more of, unless it has an option */
};

/* A number in that range; throws a Misuse that names the word. */
long number_in(const char *name, const std::string &word, long most, long least = 1);

/* All of them, in the order of the help. */
std::span<const Verb> verbs();
const Verb *find_verb(const std::string &name);

/* Before or after every verb. */
std::span<const OptionWord> common_options();

} // namespace vorn::client
