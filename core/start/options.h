/* SPDX-License-Identifier: MIT */
#pragma once

namespace vorn {

/* What the command line asks of start-up; the other options take effect while they are read. */
struct Options {
    int debug_level;
    bool foreground;
};

/*
 * Reads the command line, starting from the debug level given. Ends the process with status 1,
 * after the usage text on standard error, for -h and for whatever it does not understand.
 */
Options read_options(int argc, char **argv, int debug_level);

/* Ends the process for what read_options would end it for, but acts on nothing and returns. */
void refuse_bad_usage(int argc, char **argv);

} // namespace vorn
