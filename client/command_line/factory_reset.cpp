/* SPDX-License-Identifier: MIT */
/* vornctl factory-reset: back to how the device was delivered. */
#include <iostream>

#include <unistd.h>

#include "failure.h"
#include "inform.h"
#include "verb.h"

namespace vorn::client {

namespace {

bool agrees()
{
    std::cerr << "The whole configuration of this device will be lost, and it restarts.\n"
                 "Type \"yes\" to go on: ";
    std::string answer;
    return std::getline(std::cin, answer) && answer == "yes";
}

} // namespace

int factory_reset(const Invocation &invocation)
{
    if (!invocation.has("--yes")) {
        if (!isatty(STDIN_FILENO))
            throw Failure(misused, "nobody to ask: --yes says that you mean it");
        if (!agrees()) throw Failure(misused, "nothing was done");
    }
    return command(invocation.options, "forget its configuration", "factory-reset");
}

} // namespace vorn::client
