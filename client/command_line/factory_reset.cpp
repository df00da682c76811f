/* SPDX-License-Identifier: MIT */
/* vornctl factory-reset: back to how the device was delivered. */
#include <iostream>

#include <unistd.h>

#include "device.h"
#include "failure.h"
#include "inform.h"

namespace vorn::client {

namespace {

bool agrees()
{
    std::cerr << "The whole configuration of this device will be lost, and it restarts.\n"
                 "Type \"yes\" to go on: ";
    std::string answer;
    return std::getline(std::cin, answer) && answer == "yes";
}

/* What the device tells of it after the colon; nothing when it tells nothing. */
std::string obstacle(const Invocation &invocation)
{
    Device device(invocation.options.timeout_ms());
    const std::vector<Instance> systems = device.select({"system", {}, {}});
    if (systems.empty()) return "";
    const std::string &state = systems[0].value("factory-reset");
    const std::size_t colon = state.find(": ");
    return colon == std::string::npos ? "" : state.substr(colon + 2);
}

} // namespace

int factory_reset(const Invocation &invocation)
{
    if (!invocation.has("--yes")) {
        if (!isatty(STDIN_FILENO)) fail(misused, {"nobody to ask: --yes says that you mean it"});
        if (!agrees()) fail(misused, {"nothing was done"});
    }
    return command(invocation, "forget its configuration", "factory-reset", {}, obstacle);
}

} // namespace vorn::client
