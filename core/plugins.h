/* SPDX-License-Identifier: MIT */
#pragma once

namespace vorn {

/* Loads every plugin of a directory, whose name ends in a slash. Returns ok or failed. */
int load_plugins_of(const char *directory);

/* Loads one of them. */
int load_plugin(const char *directory, const char *name);

} // namespace vorn
