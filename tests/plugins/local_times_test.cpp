/* SPDX-License-Identifier: MIT */
/* What clocks on the wall show, also when they are put forward and back. */
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <string>

#include <unistd.h>

#include "plugins/schedules.h"

extern "C" {
#include "hours.h"
#include "local.h"
}

namespace {

using vorn::tests::berlin;
using vorn::tests::instant;

constexpr std::int64_t day_seconds = 24 * 60 * 60;

/* When clocks in that zone show it, in UTC. */
std::string shown_in(const char *zone, const char *local)
{
    char text[32];
    const std::int64_t wanted = instant(local);
    local_enter(zone);
    const auto found = static_cast<std::time_t>(
        local_instant(wanted / day_seconds, static_cast<int>(wanted % day_seconds / 60)));
    local_leave();
    std::tm parts = {};
    strftime(text, sizeof text, "%Y-%m-%d %H:%M", gmtime_r(&found, &parts));
    return text;
}

TEST(LocalTimes, AreThoseOfTheZone)
{
    EXPECT_EQ(shown_in("", "2026-07-01 06:00"), "2026-07-01 06:00");
    EXPECT_EQ(shown_in(berlin, "2026-07-01 06:00"), "2026-07-01 04:00");
    EXPECT_EQ(shown_in(berlin, "2026-12-01 00:10"), "2026-11-30 23:10");
    EXPECT_EQ(shown_in("EST5", "2026-12-01 23:50"), "2026-12-02 04:50");
    EXPECT_EQ(shown_in("<+14>-14", "2026-12-01 00:00"), "2026-11-30 10:00");
}

TEST(LocalTimes, ThatClocksShowTwiceAreTheFirst)
{
    EXPECT_EQ(shown_in(berlin, "2026-10-25 02:30"), "2026-10-25 00:30");
    EXPECT_EQ(shown_in(berlin, "2026-10-25 01:59"), "2026-10-24 23:59");
    EXPECT_EQ(shown_in(berlin, "2026-10-25 03:00"), "2026-10-25 02:00");
    EXPECT_EQ(shown_in("AEST-10AEDT,M10.1.0,M4.1.0/3", "2026-04-05 02:15"), "2026-04-04 15:15");
}

TEST(LocalTimes, ThatClocksLeaveOutAreTheMomentInWhichTheyDo)
{
    EXPECT_EQ(shown_in(berlin, "2026-03-29 02:00"), "2026-03-29 01:00");
    EXPECT_EQ(shown_in(berlin, "2026-03-29 02:59"), "2026-03-29 01:00");
    EXPECT_EQ(shown_in(berlin, "2026-03-29 03:00"), "2026-03-29 01:00");
    EXPECT_EQ(shown_in(berlin, "2026-03-29 01:59"), "2026-03-29 00:59");
}

TEST(LocalTimes, LeaveTheProcessItsZone)
{
    unsetenv("TZ");
    shown_in(berlin, "2026-03-29 02:00");
    EXPECT_EQ(getenv("TZ"), nullptr);

    setenv("TZ", "JST-9", 1);
    for (const char *each : {"once", "and again, when it is the text that was put back"}) {
        shown_in(berlin, "2026-03-29 02:00");
        EXPECT_STREQ(getenv("TZ"), "JST-9") << each;
    }
    setenv("TZ", "EST5", 1);
    shown_in(berlin, "2026-03-29 02:00");
    EXPECT_STREQ(getenv("TZ"), "EST5");
    unsetenv("TZ");
}

/* Five hours from UTC, for whoever opens it. */
std::string file_of_a_zone()
{
    using namespace std::string_literals;
    const std::string path = testing::TempDir() + "vorn_zone_" + std::to_string(getpid());
    const std::string counts = std::string(35, '\0') + "\1\0\0\0\4"s;
    std::ofstream(path) << "TZif" + counts + "\xff\xff\xb9\xb0\0\0"s + "EST\0"s;
    return path;
}

TEST(LocalTimes, AreThoseOfUtcWhereAZoneIsAPath)
{
    const std::string path = file_of_a_zone();
    setenv("TZ", path.c_str(), 1);
    EXPECT_EQ(shown_in(nullptr, "2026-07-01 06:00"), "2026-07-01 11:00") << "of the process";
    unsetenv("TZ");

    EXPECT_EQ(shown_in((":" + path).c_str(), "2026-07-01 06:00"), "2026-07-01 06:00");
    EXPECT_EQ(shown_in(path.c_str(), "2026-07-01 06:00"), "2026-07-01 06:00");
    unlink(path.c_str());
}

TEST(LocalTimes, KnowTheDayOfTheWeek)
{
    EXPECT_EQ(local_weekday(instant("2026-11-23 00:00") / day_seconds), 0);
    EXPECT_EQ(local_weekday(0), 3);
    EXPECT_EQ(local_weekday(-5), 5);
}

TEST(TimesOfTheDay, HaveTwoDigitsEach)
{
    for (const char *text : {"00:00", "23:59", "06:30"})
        EXPECT_TRUE(hours_is_time(text)) << text;
    for (const char *text : {"", "24:00", "6:00", "06:60", "06:0", "06:000", "06-00", " 6:00",
                             "0600", "ab:cd", "-1:00"})
        EXPECT_FALSE(hours_is_time(text)) << text;
}

} // namespace
