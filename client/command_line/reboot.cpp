/* SPDX-License-Identifier: MIT */
/* vornctl reboot: the device starts again. */
#include "inform.h"
#include "verb.h"

namespace vorn::client {

int reboot(const Invocation &invocation)
{
    return command(invocation.options, "reboot", "reboot");
}

} // namespace vorn::client
