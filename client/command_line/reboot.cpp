/* SPDX-License-Identifier: MIT */
/* vornctl reboot: the device starts again. */
#include "inform.h"

namespace vorn::client {

int reboot(const Invocation &invocation)
{
    return command(invocation, "reboot", "reboot");
}

} // namespace vorn::client
