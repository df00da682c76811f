/* SPDX-License-Identifier: MIT */
/* vornctl plugin: another chance for one that was left out. */
#include "device.h"
#include "failure.h"
#include "inform.h"
#include "verb.h"

namespace vorn::client {

int plugin(const Invocation &invocation)
{
    const std::string action = invocation.word(0);
    const std::string name = invocation.word(1);
    if (action != "retry") throw Failure(misused, "a plugin can only be given a \"retry\"");
    return command(invocation.options, "give a plugin another chance", "plugin",
                   {"action=retry", "name=" + name},
                   [&] { return "nothing speaks against the plugin \"" + name + "\""; });
}

} // namespace vorn::client
