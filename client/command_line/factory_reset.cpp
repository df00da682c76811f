/* SPDX-License-Identifier: MIT */
/* vornctl factory-reset: back to how the device was delivered. */
#include <iostream>

#include <unistd.h>

#include "device.h"
#include "failure.h"
#include "inform.h"
#include "lsql.h"
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

/* What the device tells of it after the colon; nothing when it tells nothing. */
std::string obstacle(const Options &options)
{
    Device device(options.timeout_ms());
    Request request(Request::Kind::plain);
    request.select({"system", {}, {}}, {});
    const std::vector<Outcome> outcomes = parse_answer(device.ask(request.text()));
    if (outcomes.empty() || outcomes[0].instances.empty()) return "";
    const std::string state = outcomes[0].instances[0].value("factory-reset");
    const std::size_t colon = state.find(": ");
    return colon == std::string::npos ? "" : state.substr(colon + 2);
}

} // namespace

int factory_reset(const Invocation &invocation)
{
    if (!invocation.has("--yes")) {
        if (!isatty(STDIN_FILENO))
            throw Failure(misused, "nobody to ask: --yes says that you mean it");
        if (!agrees()) throw Failure(misused, "nothing was done");
    }
    return command(invocation.options, "forget its configuration", "factory-reset", {},
                   [&] { return obstacle(invocation.options); });
}

} // namespace vorn::client
