/* SPDX-License-Identifier: MIT */
/*
 * The command line. -n and -e act at once rather than being collected: whatever follows them on
 * the way up must already be harmless, or final.
 */
#include "core/start/options.h"

#include "vorn/debug.h"
#include "vorn/process.h"
#include "vorn/watchdog.h"

#include <cstdio>
#include <cstdlib>

#include <unistd.h>

namespace vorn {

namespace {

[[noreturn]] void usage()
{
    std::fprintf(stderr,
                 "vorn " VORN_VERSION "\n"
                 "Configuration and management daemon\n"
                 "Plugin interface 1.0\n"
                 "\n"
                 "Usage: vorn [-hfned]\n\nOptions:\n"
                 "   -h   show this usage\n"
                 "   -f   run in foreground (do not become a daemon)\n"
                 "   -n   no actions (executing processes, rebooting, watchdog, etc.)\n"
                 "   -e   exit on fatal errors\n"
                 "   -d   show debug messages - can be repeated up to %d times for more messages\n",
                 VORN_DEBUG_MAX);
    std::exit(1);
}

constexpr char letters[] = "dhfne";

void raise_debug_level(Options &options)
{
    if (options.debug_level == VORN_DEBUG_MAX) usage();
    options.debug_level++;
    vorn_debug_override = 1;
}

void take_option(int letter, Options &options)
{
    switch (letter) {
    case 'd':
        raise_debug_level(options);
        return;
    case 'e':
        vorn_debug_set_exit_on_fatal(1);
        return;
    case 'f':
        options.foreground = true;
        return;
    case 'n':
        vorn_process_no_actions = 1;
        vorn_watchdog_stop();
        return;
    default:
        usage();
    }
}

} // namespace

Options read_options(int argc, char **argv, int debug_level)
{
    Options options = {debug_level, false};

    for (int letter; (letter = getopt(argc, argv, letters)) != -1;)
        take_option(letter, options);
    if (optind < argc) usage();

    return options;
}

void refuse_bad_usage(int argc, char **argv)
{
    int debug_level = 0;

    for (int letter; (letter = getopt(argc, argv, letters)) != -1;) {
        if (letter == 'h' || letter == '?') usage();
        if (letter == 'd' && ++debug_level > VORN_DEBUG_MAX) usage();
    }
    if (optind < argc) usage();
}

} // namespace vorn
