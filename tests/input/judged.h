/* SPDX-License-Identifier: MIT */
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <initializer_list>
#include <string>

namespace vorn::tests {

using Validator = int (*)(const char *value, int length);

/*
 * Asks a validator about a value that stands in a longer text, so that one that looks past the
 * length it was given answers wrongly.
 */
template <typename Ask>
int judged(const std::string &value, Ask ask)
{
    const std::string longer = value + "0";
    const int answer = ask(longer.data(), static_cast<int>(value.size()));
    EXPECT_EQ(ask(value.c_str(), static_cast<int>(value.size())), answer)
        << "\"" << value << "\" is judged differently when more text follows";
    return answer;
}

template <typename Ask>
void accepts(Ask ask, std::initializer_list<std::string> values)
{
    for (const std::string &value : values)
        EXPECT_EQ(judged(value, ask), 1) << value;
}

template <typename Ask>
void refuses(Ask ask, std::initializer_list<std::string> values)
{
    for (const std::string &value : values)
        EXPECT_EQ(judged(value, ask), 0) << value;
}

} // namespace vorn::tests
