/* SPDX-License-Identifier: MIT */
#pragma once

#include <cstddef>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace vorn::client {

/* The bytes of the UTF-8 character that begins there; 0 for what is none. */
std::size_t character_length(std::string_view text, std::size_t at);

/* The parts as one text. Every "+" would make a text of its own, and the code that frees it. */
std::string concat(std::initializer_list<std::string_view> parts);

std::string joined(const std::vector<std::string> &parts, std::string_view separator);

bool contains(const std::vector<std::string> &words, std::string_view word);

/* A text as a terminal may have it: what would move the cursor, or worse, is written out. */
std::string shown(std::string_view text);

/* The words of a line as a shell would see them: quotes, backslashes, and "#" before a comment. */
std::vector<std::string> split_words(const std::string &line, const std::string &place);

} // namespace vorn::client
