/* SPDX-License-Identifier: MIT */
/* vornctl ping: does the daemon answer, and how soon. */
#include <chrono>
#include <cstdio>
#include <iostream>

#include "device.h"
#include "failure.h"
#include "verb.h"

namespace vorn::client {

int ping(const Invocation &invocation)
{
    using Clock = std::chrono::steady_clock;
    Device device(invocation.options.timeout_ms());
    const Clock::time_point start = Clock::now();
    device.ask("<lsql><select><none/></select></lsql>");
    const std::chrono::duration<double, std::milli> took = Clock::now() - start;
    char text[64];
    std::snprintf(text, sizeof text, "the daemon answers after %.1f ms\n", took.count());
    std::cout << text;
    return done;
}

} // namespace vorn::client
