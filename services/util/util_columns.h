/* SPDX-License-Identifier: MIT */
#pragma once

#include <algorithm>
#include <string_view>

namespace vorn {

/* The first bytes of a text, all of it when it is shorter. What substr can't do without throwing.
 */
inline std::string_view head_of(std::string_view text, std::size_t length)
{
    return {text.data(), std::min(length, text.size())};
}

/*
 * Which column carries a property; -1 when none does. A leading "#" of the column, and a leading
 * "*" or "#" of the name, don't count.
 */
int find_column(const char *const *columns, std::string_view name);

} // namespace vorn
