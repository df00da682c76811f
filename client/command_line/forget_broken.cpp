/* SPDX-License-Identifier: MIT */
/* vornctl forget-broken: the end of the warning that the configuration could not be read. */
#include "inform.h"
#include "verb.h"

namespace vorn::client {

int forget_broken(const Invocation &invocation)
{
    return command(invocation.options, "forget it", "save", {"action=forget-broken"});
}

} // namespace vorn::client
