/* SPDX-License-Identifier: MIT */
#pragma once

#include "core/base/text.h"

namespace vorn {

/*
 * What would be lost of the running configuration if it went to these versions of the plugins, or
 * to the one before of each for "", as an explanation. Empty without memory.
 */
Text explain_downgrade(const char *versions);

} // namespace vorn
