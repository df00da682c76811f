/* SPDX-License-Identifier: MIT */
#pragma once

namespace vorn {

/*
 * What a configuration file may hold, for whoever writes one and for whoever reads one: what is
 * written can be read back, and what was read can be written again.
 */

/* The text of an instance's name or of a value. */
bool file_may_hold(const char *text);

/* The name of an element: a class or a property. */
bool file_may_name(const char *name);

} // namespace vorn
