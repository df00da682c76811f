/* SPDX-License-Identifier: MIT */
/* Who hears of what was saved. */
#include "config/save_state.h"
#include "core/base/text.h"
#include "core/plugin_page.h"
#include "support/allocation.h"
#include "vorn/config.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace vorn::tests {

namespace {

/* Listeners stay for the life of the process, and so does what they write down. */
std::vector<std::string> heard;

void listen(const char *document, std::size_t size, void *data)
{
    heard.push_back(std::string(static_cast<const char *>(data)) + " " +
                    std::to_string(current_plugin()) + ": " + std::string(document, size));
}

void listen_as(PluginOwner owner, const char *name)
{
    static char names[2][8];
    static int count = 0;
    const InPlugin watched(owner, Callback::init);
    EXPECT_EQ(vorn_config_add_saved_fn(listen, std::strcpy(names[count++], name)), 0);
}

} // namespace

TEST(Saved, IsToldToAllWhoListenInTheOrderInWhichTheyCame)
{
    listen_as(1, "one");
    listen_as(2, "two");

    tell_of_save(copy_of("<config/>"));

    EXPECT_EQ(heard, (std::vector<std::string>{"one 1: <config/>", "two 2: <config/>"}));
}

TEST(Saved, IsHeardOfByNobodyWithoutMemory)
{
    EXPECT_EQ(vorn_config_add_saved_fn(nullptr, nullptr), 1);
    constexpr unsigned long least = 1;
    FailEachAllocation(
        [] {
            const int result =
                vorn_config_add_saved_fn([](const char *, std::size_t, void *) {}, nullptr);
            EXPECT_EQ(result == 1, AllocationFailed());
        },
        least);
}

} // namespace vorn::tests
