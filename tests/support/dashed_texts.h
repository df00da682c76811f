/* SPDX-License-Identifier: MIT */
#pragma once

#include <cstdlib>
#include <cstring>
#include <string>

namespace vorn::tests {

/* "a-b" to "a" and "b"; what has no such mark can't be split. */
inline char *split_at_dash(const char *text, unsigned int part)
{
    const char *dash = std::strchr(text, '-');
    if (!dash) return nullptr;
    return part == 0 ? strndup(text, static_cast<std::size_t>(dash - text)) : strdup(dash + 1);
}

inline char *join_with_dash(const char *const *texts, unsigned int)
{
    if (!texts[0] || !texts[1]) return nullptr;
    return strdup((std::string(texts[0]) + "-" + texts[1]).c_str());
}

} // namespace vorn::tests
