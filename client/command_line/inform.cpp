/* SPDX-License-Identifier: MIT */
/* vornctl inform: an event for a plugin, and what it answers. */
#include "inform.h"

#include <iostream>

#include "device.h"
#include "failure.h"
#include "verb.h"

namespace vorn::client {

int inform(const Invocation &invocation)
{
    Device device(invocation.options.timeout_ms());
    const std::string answer = device.inform(invocation.word(0), invocation.words_from(1));
    std::cout << answer;
    return answer == "OK\n" ? done : refused;
}

int command(const Options &options, const std::string &what, const std::string &object,
            const std::vector<std::string> &parameters, const std::function<std::string()> &reason)
{
    Device device(options.timeout_ms());
    const std::string answer = device.inform(object, parameters);
    if (answer == "OK\n") return done;
    if (answer == "ERR no handler\n") throw Failure(differs, "this device can't " + what);
    const std::string why = reason ? reason() : "";
    throw Failure(refused, "the device refused to " + what +
                               (why.empty() ? "; its log says why" : ": " + why));
}

} // namespace vorn::client
