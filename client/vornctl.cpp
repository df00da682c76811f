/* SPDX-License-Identifier: MIT */
/* The command line to a running daemon: finds the command, which does the rest. */
#include <cstdio>
#include <cstring>

#include "commands.h"

namespace {

using namespace vorn::client;

struct Command {
    const char *name;
    const char *arguments;
    const char *what;
    int (*run)(int argc, char **argv);
};

constexpr Command commands[] = {
    {"query", "FILE|-", "send one LSQL request, print the reply", query_command},
    {"inform", "OBJECT [NAME=VALUE...]", "tell a plugin of an event, print its answer",
     inform_command},
    {"watch", "[COUNT]", "print change notices as they come", watch_command},
};

void print_help(std::FILE *stream)
{
    std::fprintf(stream, "usage: vornctl COMMAND [ARGUMENTS]\n\n");
    for (const Command &each : commands) {
        std::fprintf(stream, "  %-7s %-23s %s\n", each.name, each.arguments, each.what);
    }
    std::fprintf(stream, "\nExit status: 0 done, 1 refused by the daemon, 2 misused, 3 no daemon,\n"
                         "4 no answer.\n");
}

} // namespace

int vorn::client::report_failure(const Exchange &exchange)
{
    switch (exchange.failure) {
    case Failure::not_there:
        std::fprintf(stderr, "vornctl: no daemon is listening on this machine (%s)\n",
                     exchange.reply.c_str());
        return not_there;
    case Failure::too_slow:
        std::fprintf(stderr, "vornctl: the daemon did not answer within %d seconds\n",
                     limit_seconds);
        return not_there;
    case Failure::broken:
        std::fprintf(stderr, "vornctl: the daemon dropped the connection\n");
        return no_answer;
    case Failure::none:
        break;
    }
    std::fprintf(stderr, "vornctl: the daemon gave no answer\n");
    return no_answer;
}

int main(int argc, char **argv)
{
    if (argc < 2) {
        print_help(stderr);
        return misused;
    }
    if (std::strcmp(argv[1], "help") == 0 || std::strcmp(argv[1], "--help") == 0) {
        print_help(stdout);
        return done;
    }
    for (const Command &each : commands) {
        if (std::strcmp(argv[1], each.name) == 0) return each.run(argc - 2, argv + 2);
    }
    std::fprintf(stderr, "vornctl: unknown command \"%s\"; vornctl help lists them\n", argv[1]);
    return misused;
}
