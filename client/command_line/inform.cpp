/* SPDX-License-Identifier: MIT */
/* vornctl inform: an event for a plugin, and what it answers. */
#include "inform.h"

#include <iostream>

#include "device.h"
#include "failure.h"

namespace vorn::client {

int inform(const Invocation &invocation)
{
    Device device(invocation.options.timeout_ms());
    const std::string answer = device.inform(invocation.word(0), invocation.words_from(1));
    std::cout << answer;
    return answer == "OK\n" ? done : refused;
}

int command(const Invocation &invocation, const char *what, const char *object,
            const std::vector<std::string> &parameters,
            std::string (*reason)(const Invocation &invocation))
{
    Device device(invocation.options.timeout_ms());
    const std::string answer = device.inform(object, parameters);
    if (answer == "OK\n") return done;
    if (answer == "ERR no handler\n") fail(differs, {"this device can't ", what});
    const std::string why = reason ? reason(invocation) : "";
    fail(refused, {"the device refused to ", what, why.empty() ? "; its log says why" : ": ", why});
}

} // namespace vorn::client
