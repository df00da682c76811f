/* SPDX-License-Identifier: MIT */
#pragma once

#include "verb.h"

namespace vorn::client {

/*
 * The words after "vornctl". An invocation without a verb asked for help or the version, which is
 * printed by then. Throws a Failure for what can't be understood.
 */
Invocation parse_command_line(const std::vector<std::string> &words);

/* A verb and its words as they stand on a line of a file, without the options for everybody. */
Invocation parse_words(const Verb &verb, const std::vector<std::string> &words);

/* What --help prints, of all verbs or of one. */
void print_help();
void print_help(const Verb &verb);

} // namespace vorn::client
