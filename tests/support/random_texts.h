/* SPDX-License-Identifier: MIT */
#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <iterator>
#include <random>
#include <string>

namespace vorn::tests {

/* For a suite whose parameter is the seed: texts of what markup, encodings and formats stumble
 * over. */
class RandomTexts : public testing::WithParamInterface<unsigned int> {
protected:
    std::size_t below(std::size_t limit)
    {
        return std::uniform_int_distribution<std::size_t>(0, limit - 1)(random_);
    }
    std::string any_text()
    {
        // clang-format off
        static constexpr const char *pieces[] = {
            "a", "b c", " ", "  ", "<", ">", "&", "\"", "'", "\n", "\t", "\r", "&amp;", "&#1;", "]]>",
            "<!--", "%s", "~\x7F", "\xC2\x80", "\xC3\xA4", "\xE2\x82\xAC", "\xEF\xBF\xBD",
            "\xF0\x9F\x98\x80", "\xF4\x8F\xBF\xBF"};
        // clang-format on
        std::string text;
        for (std::size_t i = below(8); i > 0; i--)
            text += pieces[below(std::size(pieces))];
        return text;
    }

private:
    std::mt19937 random_{GetParam()};
};

} // namespace vorn::tests
