/* SPDX-License-Identifier: MIT */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "bare_device.h"

namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;

constexpr char usage[] =
    "\n\nUsage: vorn [-hfned]\n\nOptions:\n"
    "   -h   show this usage\n"
    "   -f   run in foreground (do not become a daemon)\n"
    "   -n   no actions (executing processes, rebooting, watchdog, etc.)\n"
    "   -e   exit on fatal errors\n"
    "   -d   show debug messages - can be repeated up to 6 times for more messages\n";

class CommandLines : public vorn::tests::BareDevice {
protected:
    void expect_usage(const std::vector<std::string> &options)
    {
        start(options);

        EXPECT_EQ(exit_status(), 1);
        EXPECT_THAT(standard_error(), EndsWith(usage));
        EXPECT_EQ(console(), "vorn: Watchdog stopped (before start).\n");
    }
};

TEST_F(CommandLines, ShowTheUsageWhenAsked)
{
    expect_usage({"-h"});
}

TEST_F(CommandLines, ShowTheUsageForAnUnknownOption)
{
    expect_usage({"-x"});
}

TEST_F(CommandLines, ShowTheUsageForAnUnknownOptionAmongOthers)
{
    expect_usage({"-fxd"});
}

TEST_F(CommandLines, ShowTheUsageForATrailingArgument)
{
    expect_usage({"-f", "now"});
}

TEST_F(CommandLines, ShowTheUsageForASeventhDebugOption)
{
    expect_usage({"-ddddddd"});
}

TEST_F(CommandLines, ShowTheUsageForASeventhDebugOptionSpreadOut)
{
    expect_usage({"-ddd", "-f", "-ddd", "-d"});
}

TEST_F(CommandLines, PutThreeLinesOfBannerBeforeTheUsage)
{
    start({"-h"});
    exit_status();

    const std::string text = standard_error();
    EXPECT_THAT(text.substr(text.find("vorn 0."), text.find("Usage") - text.find("vorn 0.")),
                MatchesRegex("vorn [0-9.]+\nConfiguration and management daemon\n"
                             "Plugin interface 1.0\n\n"));
}

TEST_F(CommandLines, StopTheWatchdogBeforeTheRestIsRead)
{
    start({"-nx"});

    EXPECT_EQ(exit_status(), 1);
    EXPECT_EQ(console(), "vorn: Watchdog stopped (before start).\n"
                         "vorn: Watchdog already stopped.\n");
}

TEST_F(CommandLines, RaiseTheLevelToSix)
{
    boot({"-f", "-dddddd"});

    EXPECT_THAT(console(), HasSubstr("vorn: Debug level is now 6.\n"));
}

TEST_F(CommandLines, SayTheFinalLevelOnly)
{
    boot({"-d", "-fd", "-d"});

    EXPECT_THAT(console(), HasSubstr("vorn: Debug level is now 3.\n"));
    EXPECT_THAT(console(), Not(HasSubstr("Debug level is now 1.\n")));
    EXPECT_THAT(console(), Not(HasSubstr("Debug level is now 2.\n")));
}

TEST_F(CommandLines, SayNothingOfTheLevelWhenItStaysAtZero)
{
    boot({"-f"});

    EXPECT_THAT(console(), Not(HasSubstr("Debug level")));
}

TEST_F(CommandLines, ReachThePlugins)
{
    install_plugin("values.vorn");

    boot({"-fnd"});

    EXPECT_THAT(console(), HasSubstr("vorn: values: plugin values.vorn values.vorn, no actions 1, "
                                     "debug override 1, most 6\n"));
}

TEST_F(CommandLines, LeaveThePluginsValuesAloneWithoutOptions)
{
    install_plugin("values.vorn");

    boot({"-f"});

    EXPECT_THAT(console(), HasSubstr("no actions 0, debug override 0, most 6\n"));
}

} // namespace
