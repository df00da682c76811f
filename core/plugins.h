/* SPDX-License-Identifier: MIT */
#pragma once

#include "core/base/text.h"

#include <cstddef>

namespace vorn {

/* Loads every plugin of a directory, whose name ends in a slash. Returns ok or failed. */
int load_plugins_of(const char *directory);

/* Loads one of them. */
int load_plugin(const char *directory, const char *name);

/* Whether a plugin of that file name was loaded and found its interface version supported. */
bool plugin_takes_part(const char *name);

/* The same of a file name without its ending. */
bool plugin_takes_part_as(const char *name, std::size_t length);

/*
 * The plugins whose configuration a save has, a line for each: those that take part and those that
 * are left out, whose own is kept. Empty when memory is gone.
 */
Text plugins_of_a_save();

} // namespace vorn
