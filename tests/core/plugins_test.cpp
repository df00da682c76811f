/* SPDX-License-Identifier: MIT */
/* What a plugin says of itself while it is loaded. */
#include "support/allocation.h"
#include "support/log.h"
#include "vorn/plugin.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace {

using vorn::tests::AllocationFailed;
using vorn::tests::FailEachAllocation;

constexpr char version[] = "1.0";

TEST(Plugins, AreOnesWithMemoryAlone)
{
    const vorn::tests::CapturedStandardError errors;
    constexpr unsigned long least = 2;
    FailEachAllocation(
        [] {
            vorn_plugin *plugin = vorn_plugin_new(version);
            EXPECT_EQ(!plugin, AllocationFailed());
            if (plugin) std::free(const_cast<char *>(plugin->name));
            std::free(plugin);
        },
        least);
}

TEST(Plugins, TellNothingOfThoseThatAreNotThere)
{
    constexpr unsigned int beyond_all = 1000;
    EXPECT_EQ(vorn_plugins_get_name(beyond_all), nullptr);
    EXPECT_EQ(vorn_plugins_get_signal(beyond_all), 0);
    EXPECT_STREQ(vorn_plugins_get_callback(beyond_all), "");
}

} // namespace
