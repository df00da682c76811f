/* SPDX-License-Identifier: MIT */
/* vornctl inform OBJECT [NAME=VALUE...]: one named event for the plugin that handles the object. */
#include <cstdio>
#include <cstring>
#include <string>

#include "commands.h"

namespace vorn::client {

namespace {

/* The request knows no escapes: "&" ends a value, "=" a name. */
bool can_be_sent(const char *pair)
{
    const char *separator = std::strchr(pair, '=');
    return separator && separator != pair && !std::strchr(pair, '&');
}

bool is_name(const char *object)
{
    return *object != '\0' && !std::strchr(object, '&');
}

} // namespace

int inform_command(int argc, char **argv)
{
    if (argc < 1 || !is_name(argv[0])) {
        std::fprintf(stderr, "usage: vornctl inform OBJECT [NAME=VALUE...]\n");
        return misused;
    }
    std::string body = std::string("object=") + argv[0];
    for (int i = 1; i < argc; i++) {
        if (!can_be_sent(argv[i])) {
            std::fprintf(stderr, "vornctl: \"%s\" is not NAME=VALUE, or holds a \"&\"\n", argv[i]);
            return misused;
        }
        body += std::string("&") + argv[i];
    }

    const Exchange exchange = exchange_inform(body, limit_seconds);
    if (exchange.failure != Failure::none || exchange.reply.empty()) {
        return report_failure(exchange);
    }
    std::fputs(exchange.reply.c_str(), stdout);
    return exchange.reply == "OK\n" ? done : refused;
}

} // namespace vorn::client
