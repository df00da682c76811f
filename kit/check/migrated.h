/* SPDX-License-Identifier: MIT */
#pragma once

#include <string>

namespace vorn::check {

/*
 * Prints what the plugins that are loaded make of a configuration file in their versions, or in
 * those that are named, and on the error output what is lost. Whether nothing is.
 */
bool migrate_file(const std::string &path, const std::string &versions);

} // namespace vorn::check
