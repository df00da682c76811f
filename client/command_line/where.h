/* SPDX-License-Identifier: MIT */
#pragma once

#include <string>

#include <pugixml.hpp>

namespace vorn::client {

/*
 * Writes a condition as people write it below a "where" element:
 *
 *     mode = g and not (channel = 6 or channel = "11")
 *
 * The words "and", "or" and "not" bind as usual, not before and before or. Left of "=" and "!="
 * stands a property, or @name for the instance's name; right of it a value, in quotes if it holds
 * blanks or signs. A property alone asks whether it has a value. Throws a Failure that shows where
 * the condition can't be understood.
 */
void append_condition(pugi::xml_node where, const std::string &condition);

} // namespace vorn::client
