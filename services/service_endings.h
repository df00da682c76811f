/* SPDX-License-Identifier: MIT */
#pragma once

namespace vorn {

/* A service has ended by itself. */
void note_ending(const char *name);

} // namespace vorn
