/* SPDX-License-Identifier: MIT */
/* Texts as people write and read them. */
#include "text.h"

#include <algorithm>
#include <utility>

#include "failure.h"

namespace vorn::client {

namespace {

bool is_continuation(unsigned char byte)
{
    return (byte & 0xC0) == 0x80;
}

} // namespace

std::size_t character_length(std::string_view text, std::size_t at)
{
    const auto first = static_cast<unsigned char>(text[at]);
    const std::size_t length = first < 0x80                     ? 1
                               : first >= 0xC2 && first < 0xE0  ? 2
                               : first >= 0xE0 && first < 0xF0  ? 3
                               : first >= 0xF0 && first <= 0xF4 ? 4
                                                                : 0;
    if (length == 0 || at + length > text.size()) return 0;
    for (std::size_t i = 1; i < length; i++) {
        if (!is_continuation(static_cast<unsigned char>(text[at + i]))) return 0;
    }
    return length;
}

namespace {

/* The control characters beyond ASCII, which terminals take for the beginning of a sequence, too.
 */
bool is_c1(std::string_view text, std::size_t at)
{
    if (text[at] != '\xC2' || at + 1 == text.size()) return false;
    const auto next = static_cast<unsigned char>(text[at + 1]);
    return next >= 0x80 && next <= 0x9F;
}

} // namespace

std::string concat(std::initializer_list<std::string_view> parts)
{
    std::string text;
    for (const std::string_view part : parts)
        text += part;
    return text;
}

std::string joined(const std::vector<std::string> &parts, std::string_view separator)
{
    std::string text;
    for (const std::string &part : parts) {
        if (&part != &parts.front()) text += separator;
        text += part;
    }
    return text;
}

bool contains(const std::vector<std::string> &words, std::string_view word)
{
    return std::ranges::find(words, word) != words.end();
}

std::string shown(std::string_view text)
{
    std::string result;
    for (std::size_t i = 0; i < text.size(); i++) {
        const char character = text[i];
        if (is_c1(text, i)) {
            i++;
        } else if (character == '\n') {
            result += "\\n";
        } else if (character == '\t') {
            result += "\\t";
        } else if (character == '\r') {
            result += "\\r";
        } else if (static_cast<unsigned char>(character) >= ' ' && character != 0x7F) {
            result += character;
        }
    }
    return result;
}

std::vector<std::string> split_words(const std::string &line, const std::string &place)
{
    std::vector<std::string> words;
    std::string word;
    bool in_word = false;
    char quote = '\0';
    for (std::size_t i = 0; i < line.size(); i++) {
        const char character = line[i];
        if (character == '\\' && quote != '\'' && i + 1 < line.size()) {
            word += line[++i];
            in_word = true;
        } else if (quote != '\0') {
            if (character == quote) {
                quote = '\0';
            } else {
                word += character;
            }
        } else if (character == '"' || character == '\'') {
            quote = character;
            in_word = true;
        } else if (character == '#' && !in_word) {
            break;
        } else if (character == ' ' || character == '\t' || character == '\r') {
            if (in_word) words.push_back(std::exchange(word, {}));
            in_word = false;
        } else {
            word += character;
            in_word = true;
        }
    }
    if (quote != '\0') fail(misused, {place, "the closing ", {&quote, 1}, " is missing"});
    if (in_word) words.push_back(word);
    return words;
}

} // namespace vorn::client
