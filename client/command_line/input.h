/* SPDX-License-Identifier: MIT */
#pragma once

#include <string>

namespace vorn::client {

/* A whole file, or standard input for "-"; throws a Failure that says why not. */
std::string read_input(const std::string &name);

/* Replaces a file whole or not at all; "-" writes to standard output. */
void write_output(const std::string &name, const std::string &text);

} // namespace vorn::client
