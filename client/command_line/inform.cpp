/* SPDX-License-Identifier: MIT */
/* vornctl inform: an event for a plugin, and what it answers. */
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

} // namespace vorn::client
