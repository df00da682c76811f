/* SPDX-License-Identifier: MIT */
/* vornctl forget-broken: the end of the warning that the configuration could not be read. */
#include "device.h"
#include "effects.h"
#include "failure.h"
#include "inform.h"

namespace vorn::client {

int forget_broken(const Invocation &invocation)
{
    Device device(invocation.options.timeout_ms());
    const std::optional<Instance> saves = saves_of(device);
    if (saves && saves->value("broken").empty()) {
        fail(differs, {"nothing is kept: the configuration could be read"});
    }
    return command(invocation, "forget it", "save", {"action=forget-broken"});
}

} // namespace vorn::client
