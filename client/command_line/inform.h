/* SPDX-License-Identifier: MIT */
#pragma once

#include <string>
#include <vector>

#include "verb.h"

namespace vorn::client {

/*
 * Tells the plugin of an event that is a command of people's. Says nothing when it is done; what
 * the plugin refuses is thrown, as is that no plugin of the device does `what`. The plugin's answer
 * has no reason, but `reason` may find out; it gives an empty text when it does not.
 */
int command(const Invocation &invocation, const char *what, const char *object,
            const std::vector<std::string> &parameters = {},
            std::string (*reason)(const Invocation &invocation) = nullptr);

} // namespace vorn::client
