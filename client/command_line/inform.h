/* SPDX-License-Identifier: MIT */
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "options.h"

namespace vorn::client {

/*
 * Tells the plugin of an event that is a command of people's. Says nothing when it is done; what
 * the plugin refuses is thrown, as is that no plugin of the device does `what`. The plugin's answer
 * has no reason, but `reason` may find out; it gives an empty text when it does not.
 */
int command(const Options &options, const std::string &what, const std::string &object,
            const std::vector<std::string> &parameters = {},
            const std::function<std::string()> &reason = nullptr);

} // namespace vorn::client
