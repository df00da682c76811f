/* SPDX-License-Identifier: MIT */
#pragma once

#include "options.h"
#include <CLI/CLI.hpp>

namespace vorn::client {

/*
 * Each adds its commands to the program. What a command does is done while the command line is
 * parsed; its exit status goes to `status`, unless it throws a Failure.
 */
void add_show_commands(CLI::App &program, const Options &options, int &status);
void add_change_commands(CLI::App &program, const Options &options, int &status);
void add_raw_commands(CLI::App &program, const Options &options, int &status);
void add_watch_command(CLI::App &program, const Options &options, int &status);
void add_configuration_commands(CLI::App &program, const Options &options, int &status);
void add_complete_command(CLI::App &program, const Options &options, int &status);

} // namespace vorn::client
