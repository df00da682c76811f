/* SPDX-License-Identifier: MIT */
/* vornctl kick: a wireless station has to join again. */
#include "inform.h"
#include "verb.h"

namespace vorn::client {

int kick(const Invocation &invocation)
{
    return command(invocation.options, "send that station away", "kick",
                   {"station=" + invocation.word(0)});
}

} // namespace vorn::client
