/* SPDX-License-Identifier: MIT */
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace vorn::client {

/* The bytes of the UTF-8 character that begins there; 0 for what is none. */
std::size_t character_length(const std::string &text, std::size_t at);

/* A text as a terminal may have it: what would move the cursor, or worse, is written out. */
std::string shown(const std::string &text);

/* The words of a line as a shell would see them: quotes, backslashes, and "#" before a comment. */
std::vector<std::string> split_words(const std::string &line, const std::string &place);

} // namespace vorn::client
