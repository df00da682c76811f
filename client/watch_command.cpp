/* SPDX-License-Identifier: MIT */
/* vornctl watch [COUNT]: the daemon's notices as they come, one a line. */
#include <cstdio>
#include <cstdlib>
#include <string>

#include "commands.h"

namespace vorn::client {

namespace {

constexpr int for_ever = -1;

/* 0 for what is no number of notices. */
int count_of(int argc, char **argv)
{
    if (argc == 0) return for_ever;
    char *end = nullptr;
    const long count = std::strtol(argv[0], &end, 10);
    return argc == 1 && *end == '\0' && count > 0 && count < 1000000 ? static_cast<int>(count) : 0;
}

} // namespace

int watch_command(int argc, char **argv)
{
    int left = count_of(argc, argv);
    if (left == 0) {
        std::fprintf(stderr, "usage: vornctl watch [COUNT]\n");
        return misused;
    }
    const Exchange exchange = watch_notices([&left](const std::string &notice) {
        std::fputs(notice.c_str(), stdout);
        std::fflush(stdout);
        if (left != for_ever) left--;
        return left != 0;
    });
    return exchange.failure == Failure::none ? done : report_failure(exchange);
}

} // namespace vorn::client
