/* SPDX-License-Identifier: MIT */
/* vornctl plugin: another chance for one that was left out. */
#include "failure.h"
#include "inform.h"
#include "text.h"

namespace vorn::client {

namespace {

std::string nothing_against(const Invocation &invocation)
{
    return concat({"nothing speaks against the plugin \"", invocation.word(1), "\""});
}

} // namespace

int plugin(const Invocation &invocation)
{
    const std::string action = invocation.word(0);
    if (action != "retry") fail(misused, {"a plugin can only be given a \"retry\""});
    return command(invocation, "give a plugin another chance", "plugin",
                   {"action=retry", concat({"name=", invocation.word(1)})}, nothing_against);
}

} // namespace vorn::client
