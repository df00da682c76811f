/* SPDX-License-Identifier: MIT */
#include "core/base/file.h"
#include "support/allocation.h"
#include "support/log.h"
#include "vorn/debug.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdio>
#include <set>
#include <string>

#include <sys/stat.h>

namespace {

using testing::ElementsAre;
using testing::MatchesRegex;
using vorn::tests::AllocationsAllowed;
using vorn::tests::CapturedLog;
using vorn::tests::CapturedStandardError;
using vorn::tests::FailEachAllocation;

constexpr char stamp[] = "\\[[A-Z][a-z][a-z] [A-Z][a-z][a-z] [ 0-9][0-9] "
                         "[0-9][0-9]:[0-9][0-9]:[0-9][0-9] [0-9][0-9][0-9][0-9]\\] ";

class Logs : public testing::Test {
protected:
    CapturedLog log{0};
};

TEST_F(Logs, HaveASixForTheirHighestLevel)
{
    EXPECT_EQ(VORN_DEBUG_MAX, 6);
}

TEST_F(Logs, SayWhenTheirLevelIsSet)
{
    EXPECT_EQ(vorn_debug_set(6), 0);
    EXPECT_EQ(vorn_debug_get(), 6);
    EXPECT_EQ(vorn_debug_set(0), 0);
    EXPECT_EQ(vorn_debug_get(), 0);

    EXPECT_EQ(log.text(), "vorn: Debug level is now 6.\nvorn: Debug level is now 0.\n");
}

TEST_F(Logs, RefuseOtherLevelsSilently)
{
    vorn_debug_set(3);
    log.take();

    EXPECT_EQ(vorn_debug_set(7), 1);
    EXPECT_EQ(vorn_debug_set(-1), 1);

    EXPECT_EQ(vorn_debug_get(), 3);
    EXPECT_EQ(log.text(), "");
}

TEST_F(Logs, TakeOnlyZeroAndOneForFlags)
{
    EXPECT_EQ(vorn_debug_set_timestamp(1), 0);
    EXPECT_EQ(vorn_debug_get_timestamp(), 1);
    EXPECT_EQ(vorn_debug_set_timestamp(2), 1);
    EXPECT_EQ(vorn_debug_set_timestamp(-1), 1);
    EXPECT_EQ(vorn_debug_get_timestamp(), 1);
    EXPECT_EQ(vorn_debug_set_timestamp(0), 0);
    EXPECT_EQ(vorn_debug_set_exit_on_fatal(2), 1);
    EXPECT_EQ(vorn_debug_set_exit_on_fatal(-1), 1);
    EXPECT_EQ(vorn_debug_set_exit_on_fatal(0), 0);

    EXPECT_EQ(log.text(), "");
}

TEST_F(Logs, ShowStatesAndErrorsAtEveryLevel)
{
    vorn_debug_printf("state %d\n", 1);
    vorn_debug_eprintf("error %s\n", "two");

    EXPECT_EQ(log.text(), "vorn: state 1\nvorn: error two\n");
}

TEST_F(Logs, ShowDiagnosticsFromLevel1)
{
    vorn_debug_1printf("hidden\n");
    log.set_level(1);
    vorn_debug_1printf("shown %d\n", 1);

    EXPECT_EQ(log.text(), "vorn: shown 1\n");
}

TEST_F(Logs, ShowTracesFromTheirMinimumLevel)
{
    vorn_debug_lprintf(0, "zero\n");
    vorn_debug_lprintf(-3, "below\n");
    vorn_debug_lprintf(1, "hidden\n");
    log.set_level(2);
    vorn_debug_lprintf(2, "two\n");
    vorn_debug_lprintf(3, "hidden\n");

    EXPECT_EQ(log.text(), "vorn: zero\nvorn: below\nvorn: two\n");
}

TEST_F(Logs, AddNoNewlineOfTheirOwn)
{
    vorn_debug_printf("a");
    vorn_debug_printf("b\n");

    EXPECT_EQ(log.text(), "vorn: avorn: b\n");
}

TEST_F(Logs, PutTheTimeInBracketsWhenTold)
{
    vorn_debug_set_timestamp(1);

    vorn_debug_printf("now\n");

    EXPECT_THAT(log.text(), MatchesRegex(std::string("vorn: ") + stamp + "now\n"));
}

TEST_F(Logs, KeepTheirStreamWhenOpenedAgain)
{
    std::FILE *stream = vorn_debug_get_stream();

    vorn_debug_init();

    EXPECT_EQ(vorn_debug_get_stream(), stream);
}

TEST_F(Logs, AreFlushedAtOnce)
{
    const vorn::File scratch(std::tmpfile());
    const vorn::DebugState captured = vorn::debug_state;
    vorn::debug_state.stream = scratch.get();

    vorn_debug_printf("no newline");

    struct stat status;
    fstat(fileno(scratch.get()), &status);
    EXPECT_EQ(status.st_size, 16);
    vorn::debug_state = captured;
}

using FatalErrors = Logs;

TEST_F(FatalErrors, LetTheDaemonGoOn)
{
    vorn_debug_fatal("No moon.");

    EXPECT_EQ(log.text(), "vorn: Fatal error: No moon.\n"
                          "vorn: Attempting to continue operation.\n");
}

TEST_F(FatalErrors, EndTheProcessWhenTold)
{
    EXPECT_EXIT(
        {
            vorn::debug_state.stream = stderr;
            vorn_debug_set_exit_on_fatal(1);
            vorn_debug_fatal("No moon.");
        },
        testing::ExitedWithCode(1),
        "vorn: Fatal error: No moon.\nvorn: Exiting due to fatal error.\n$");
}

TEST_F(FatalErrors, OfTheSystemNameTheReason)
{
    CapturedStandardError errors;

    errno = ENOENT;
    vorn_debug_fatal_perror("No moon");

    EXPECT_EQ(errors.text(), "vorn: Fatal error: No moon: No such file or directory\n");
    EXPECT_EQ(log.text(), "vorn: Attempting to continue operation.\n");
}

TEST_F(FatalErrors, OfTheSystemLoseTheirPrefixesWithoutMemory)
{
    std::set<std::string> reports;

    FailEachAllocation([&] {
        CapturedStandardError errors;
        errno = ENOENT;
        vorn_debug_fatal_perror("No moon");

        const AllocationsAllowed allowed;
        reports.insert(errors.text());
        EXPECT_EQ(log.take(), "vorn: Attempting to continue operation.\n");
    });

    EXPECT_THAT(reports, ElementsAre("Fatal error: No moon: No such file or directory\n",
                                     "vorn: Fatal error: No moon: No such file or directory\n",
                                     "vorn: No moon: No such file or directory\n"));
}

TEST_F(FatalErrors, OfTheSystemEndTheProcessWhenTold)
{
    EXPECT_EXIT(
        {
            vorn::debug_state.stream = stderr;
            vorn_debug_set_exit_on_fatal(1);
            errno = ENOENT;
            vorn_debug_fatal_perror("No moon");
        },
        testing::ExitedWithCode(1),
        "vorn: Fatal error: No moon: No such file or directory\n"
        "vorn: Exiting due to fatal error.\n$");
}

using SystemErrors = Logs;

TEST_F(SystemErrors, GoToStandardErrorWithTheReason)
{
    CapturedStandardError errors;

    errno = EACCES;
    vorn_debug_perror("door");

    EXPECT_EQ(errors.text(), "vorn: door: Permission denied\n");
    EXPECT_EQ(log.text(), "");
}

TEST_F(SystemErrors, BearTheTimeWhenTold)
{
    CapturedStandardError errors;
    vorn_debug_set_timestamp(1);

    errno = EACCES;
    vorn_debug_perror("door");

    EXPECT_THAT(errors.text(),
                MatchesRegex(std::string("vorn: ") + stamp + "door: Permission denied\n"));
}

TEST_F(SystemErrors, AreReportedBareWithoutMemory)
{
    bool bare = false;
    FailEachAllocation([&] {
        CapturedStandardError errors;
        errno = EACCES;
        vorn_debug_perror("door");

        const AllocationsAllowed allowed;
        bare = bare || errors.text() == "door: Permission denied\n";
    });

    EXPECT_TRUE(bare);
}

TEST_F(SystemErrors, OfLongMessagesAreWhole)
{
    CapturedStandardError errors;
    const std::string message(5000, 'm');

    errno = EACCES;
    vorn_debug_perror(message.c_str());

    EXPECT_EQ(errors.text(), "vorn: " + message + ": Permission denied\n");
}

} // namespace
