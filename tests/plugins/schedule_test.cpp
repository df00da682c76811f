/* SPDX-License-Identifier: MIT */
/* What happens by the time of the day, with a clock that shows what a test says. */
#include "api/query_fixture.h"
#include "core/base/file.h"
#include "vorn/plugin.h"

#include <gmock/gmock.h>

#include <ctime>

#include <sys/eventfd.h>
#include <sys/timerfd.h>

extern "C" {
#include "hours.h"
#include "local.h"
void vorn_plugin_init(void);
}

namespace {

std::int64_t now = 0;
std::int64_t uptime = 0;
std::int64_t wakes_at = 0;
int reboots = 0;
int is_held = 0;
int timer = -1;
void (*hears)(int, void *, void *) = nullptr;

} // namespace

extern "C" {
int __real_clock_gettime(clockid_t clock, struct timespec *time);
int __wrap_clock_gettime(clockid_t clock, struct timespec *time)
{
    const int result = __real_clock_gettime(clock, time);
    if (clock == CLOCK_REALTIME) *time = {static_cast<std::time_t>(now), 0};
    if (clock == CLOCK_BOOTTIME) *time = {static_cast<std::time_t>(uptime), 0};
    return result;
}
int __wrap_timerfd_create(int, int)
{
    return timer = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
}
int __wrap_timerfd_settime(int, int flags, const struct itimerspec *when, struct itimerspec *)
{
    EXPECT_EQ(flags, TFD_TIMER_ABSTIME | TFD_TIMER_CANCEL_ON_SET);
    wakes_at = when->it_value.tv_sec;
    return 0;
}
int __wrap_eloop_register_read_sock(int, void (*handler)(int, void *, void *), void *, void *)
{
    hears = handler;
    return 0;
}
void __wrap_vorn_util_reboot(void)
{
    reboots++;
}
int __wrap_vorn_config_is_held(void)
{
    return is_held;
}
}

namespace {

using testing::HasSubstr;

using vorn::tests::ClassBuilder;
using vorn::tests::QueryTest;
using vorn::tests::read_only;

std::int64_t instant(const char *utc)
{
    std::tm parts = {};
    EXPECT_NE(strptime(utc, "%Y-%m-%d %H:%M", &parts), nullptr) << utc;
    return timegm(&parts);
}

constexpr char berlin[] = "CET-1CEST,M3.5.0,M10.5.0/3";
constexpr std::int64_t day_seconds = 24 * 60 * 60;

/* When clocks in that zone show it, in UTC. */
std::string shown_in(const char *zone, const char *local)
{
    char text[32];
    const std::int64_t wanted = instant(local);
    local_enter(zone);
    const std::time_t found =
        local_instant(wanted / day_seconds, static_cast<int>(wanted % day_seconds / 60));
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
    shown_in(berlin, "2026-03-29 02:00");
    EXPECT_STREQ(getenv("TZ"), "JST-9");
    unsetenv("TZ");
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

/* The 23rd of November 2026 is a Monday. */
class Schedules : public QueryTest {
protected:
    Schedules() : QueryTest(add_plugin)
    {
        put("system", nullptr, {});
        put("radio", "wlan0", {{"status", "up"}});
        put("wireless-network", "home", {{"radio", "wlan0"}});
        put("wireless-network", "guests", {{"radio", "wlan0"}});
        put("wireless-network", "far", {{"radio", "wlan1"}});
        uptime = 100000;
        now = 0;
        wake();
        set_clock("2026-11-23 12:00");
        paused.clear();
        applied = reboots = is_held = 0;
    }
    ~Schedules() override
    {
        close(timer);
        paused.clear();
    }

    static void add_plugin()
    {
        ClassBuilder("system", VORN_CLASS_SINGLETON).with("time-zone").add_resolved();
        ClassBuilder("radio").with("status").add_resolved();
        ClassBuilder("wireless-network")
            .with("radio")
            .with("status")
            .with("state", read_only)
            .add_resolved();
        vorn_plugin_init();
        add_wireless();
        for (const char *name : {"wireless-schedule", "restart-schedule"})
            vorn_class_resolve(vorn_classes_get(name));
    }

    static void for_each_network(void (*call)(vorn_instance *network, const void *of),
                                 const vorn_instances *store, const void *of)
    {
        vorn_instances_iterator *walk =
            vorn_instances_new_class_iterator(store, "wireless-network");
        while (vorn_instances_iterator_has_next(walk))
            call(vorn_instances_iterator_next(walk), of);
        vorn_instances_delete_iterator(walk);
    }

    /* As the plugin wireless: it takes off the air what it is asked to. */
    static void add_wireless()
    {
        const auto apply = [](vorn_commit_info *info) {
            paused.clear();
            applied++;
            const auto note = [](vorn_instance *network, const void *of) {
                const auto *actions = static_cast<const vorn_actions *>(of);
                const char *name = vorn_instance_get_name(network);
                if (vorn_actions_exists(actions, "wireless", "pause", "wireless-network", name))
                    paused += std::string(name) + " ";
            };
            for_each_network(note, vorn_commit_info_get_after(info),
                             vorn_commit_info_get_actions(info));
        };
        const auto tell = [](vorn_refresh_info *info, void *) {
            const auto set = [](vorn_instance *network, const void *) {
                const std::string name = vorn_instance_get_name(network);
                const bool is_off = paused.find(name + " ") != std::string::npos;
                vorn_instance_set_value(network, "state", is_off ? "stopped" : "running");
            };
            for_each_network(set, vorn_refresh_info_get_instances(info), nullptr);
        };
        vorn_provider *wireless = vorn_provider_new("wireless");
        vorn_provider_set_commit_fn(wireless, apply, nullptr);
        vorn_provider_set_refresh_fn(wireless, tell, nullptr);
        vorn_providers_add(wireless);
    }

    void wake()
    {
        let([] { hears(timer, nullptr, nullptr); });
    }
    /* Somebody sets the clock, which wakes those who wait for a time. */
    void set_clock(const char *utc)
    {
        now = instant(utc);
        wake();
    }
    /* Time goes by, and the timer is heard as often as it was set. */
    void pass_until(const char *utc)
    {
        const std::int64_t then = instant(utc);
        for (int times = 0; wakes_at <= then && times < 1000; times++) {
            const std::int64_t next = std::max(wakes_at, now);
            uptime += next - now;
            now = next;
            wake();
        }
        uptime += then - now;
        now = then;
    }

    std::string change(const std::string &operations)
    {
        return ask("<lsql><write-transaction>" + operations + "</write-transaction></lsql>");
    }
    std::string add(const std::string &kind, const std::string &values)
    {
        const std::string answer = change("<insert><" + kind + "-schedule name=\"s\">" + values +
                                          "</" + kind + "-schedule></insert>");
        return answer;
    }
    std::string add_nights(const std::string &more = "")
    {
        return add("wireless", "<from>23:00</from><to>06:00</to>" + more);
    }
    std::string add_restart(const std::string &more = "")
    {
        return add("restart", "<time>04:00</time>" + more);
    }
    std::string told(const std::string &klass, const std::string &name)
    {
        const std::string answer = ask("<lsql><select><" + klass + " name=\"" + name +
                                       "\"><state/></" + klass + "></select></lsql>");
        const auto at = answer.find("<state>");
        if (at == std::string::npos) return answer;
        return answer.substr(at + 7, answer.find('<', at + 7) - at - 7);
    }
    std::string network() { return told("wireless-network", "guests"); }

    static inline std::string paused;
    static inline int applied = 0;
};

TEST_F(Schedules, TakeNetworksOffTheAirAndBringThemBack)
{
    add_nights("<network>guests</network>");
    EXPECT_EQ(paused, "");
    EXPECT_EQ(told("wireless-schedule", "s"), "next at 23:00");
    EXPECT_EQ(network(), "running");

    pass_until("2026-11-23 23:00");
    EXPECT_EQ(paused, "guests ");
    EXPECT_EQ(told("wireless-schedule", "s"), "active until 06:00");
    EXPECT_EQ(network(), "off by schedule until 06:00");

    pass_until("2026-11-24 05:59");
    EXPECT_EQ(paused, "guests ");
    pass_until("2026-11-24 06:00");
    EXPECT_EQ(paused, "");
    EXPECT_EQ(network(), "running");
}

TEST_F(Schedules, CommitOnlyWhenSomethingBeginsOrEnds)
{
    add_nights();
    applied = 0;

    pass_until("2026-11-23 22:59");
    EXPECT_EQ(applied, 0);
    pass_until("2026-11-24 05:59");
    EXPECT_EQ(applied, 1);
    pass_until("2026-11-30 22:59");
    EXPECT_EQ(applied, 14);
}

TEST_F(Schedules, ChangeNothingThatIsConfigured)
{
    add_nights();
    pass_until("2026-11-23 23:00");

    EXPECT_EQ(value("wireless-network", "guests", "status"), "(none)");
    EXPECT_EQ(commits.back(), "changed; deleted");
}

TEST_F(Schedules, OfARadioAreAboutAllOfItsNetworks)
{
    add_nights("<radio>wlan0</radio>");

    pass_until("2026-11-23 23:00");

    EXPECT_EQ(paused, "home guests ");
}

TEST_F(Schedules, OfNothingAreAboutEveryNetwork)
{
    add_nights();

    pass_until("2026-11-23 23:00");

    EXPECT_EQ(paused, "home guests far ");
}

TEST_F(Schedules, CountFromTheMomentInWhichTheyAreMade)
{
    set_clock("2026-11-24 01:00");

    add_nights();
    EXPECT_EQ(paused, "home guests far ");
    change("<update><wireless-schedule><enabled>off</enabled></wireless-schedule></update>");
    EXPECT_EQ(paused, "");
    EXPECT_EQ(told("wireless-schedule", "s"), "off");
    change("<update><wireless-schedule><enabled>on</enabled></wireless-schedule></update>");
    EXPECT_EQ(paused, "home guests far ");
    change("<delete><wireless-schedule/></delete>");
    EXPECT_EQ(paused, "");
}

TEST_F(Schedules, BeginOnTheirDaysAlone)
{
    add_nights("<days>fri sat</days><network>home</network>");

    pass_until("2026-11-27 22:59");
    EXPECT_EQ(paused, "");
    pass_until("2026-11-27 23:00");
    EXPECT_EQ(paused, "home ");
    pass_until("2026-11-28 23:00");
    EXPECT_EQ(paused, "home ");
    pass_until("2026-11-29 05:59");
    EXPECT_EQ(paused, "home ");
    pass_until("2026-11-29 23:30");
    EXPECT_EQ(paused, "");
    EXPECT_EQ(told("wireless-schedule", "s"), "next at 2026-12-04 23:00");
}

TEST_F(Schedules, ThatTurnOnLeaveNetworksOffOtherwise)
{
    add("wireless", "<network>guests</network><action>on</action><days>mon tue</days>"
                    "<from>11:00</from><to>13:00</to>");
    EXPECT_EQ(paused, "");
    EXPECT_EQ(told("wireless-schedule", "s"), "active until 13:00");

    pass_until("2026-11-23 13:00");
    EXPECT_EQ(network(), "off by schedule until 11:00");
    pass_until("2026-11-24 13:00");
    EXPECT_EQ(network(), "off by schedule until 2026-11-30 11:00");
}

TEST_F(Schedules, ThatAreOneAfterAnotherAreOneTime)
{
    change("<insert><wireless-schedule name=\"a\"><from>11:00</from><to>13:00</to>"
           "</wireless-schedule></insert><insert><wireless-schedule name=\"b\"><from>13:00</from>"
           "<to>15:00</to></wireless-schedule></insert>");
    applied = 0;

    EXPECT_EQ(network(), "off by schedule until 15:00");
    pass_until("2026-11-23 14:59");
    EXPECT_EQ(applied, 0);
}

TEST_F(Schedules, OfAWholeDayNeverEnd)
{
    add("wireless", "<from>00:00</from><to>00:00</to>");

    EXPECT_EQ(network(), "off by schedule");
    EXPECT_EQ(paused, "home guests far ");
}

TEST_F(Schedules, FollowTheZoneOfTheDevice)
{
    change(std::string("<update><system><time-zone>") + berlin + "</time-zone></system></update>");
    add_nights("<network>guests</network>");

    pass_until("2026-11-23 21:59");
    EXPECT_EQ(paused, "");
    pass_until("2026-11-23 22:00");
    EXPECT_EQ(network(), "off by schedule until 06:00");

    change("<update><system><time-zone/></system></update>");
    EXPECT_EQ(paused, "");
}

TEST_F(Schedules, AreAnHourLongerWhenClocksArePutBack)
{
    change(std::string("<update><system><time-zone>") + berlin + "</time-zone></system></update>");
    add_nights("<network>guests</network>");
    set_clock("2026-10-24 21:00"); /* 23:00 of the last summer night */

    EXPECT_EQ(paused, "guests ");
    pass_until("2026-10-25 04:59");
    EXPECT_EQ(paused, "guests ");
    pass_until("2026-10-25 05:00");
    EXPECT_EQ(paused, "");
}

TEST_F(Schedules, FollowAClockThatIsSet)
{
    add_nights("<network>guests</network>");

    set_clock("2026-11-23 23:30");
    EXPECT_EQ(paused, "guests ");
    set_clock("2026-11-23 20:00");
    EXPECT_EQ(paused, "");
}

TEST_F(Schedules, DoNothingBeforeTheClockIsSet)
{
    set_clock("1970-01-01 23:59");
    add_nights();
    add_restart();

    EXPECT_EQ(paused, "");
    EXPECT_EQ(network(), "running");
    EXPECT_EQ(told("wireless-schedule", "s"), "waiting for the clock to be set");
    EXPECT_EQ(told("restart-schedule", "s"), "waiting for the clock to be set");
    pass_until("1970-01-02 04:10");
    EXPECT_EQ(reboots, 0);

    set_clock("2026-11-24 04:00");
    EXPECT_EQ(paused, "home guests far ");
    EXPECT_EQ(reboots, 0);
}

TEST_F(Schedules, WakeOnceAnHourAtLeast)
{
    add_restart();

    EXPECT_EQ(wakes_at, now + 3600);
}

TEST_F(Schedules, RestartTheDevice)
{
    add_restart();
    EXPECT_EQ(told("restart-schedule", "s"), "next at 04:00");

    pass_until("2026-11-24 03:59");
    EXPECT_EQ(reboots, 0);
    pass_until("2026-11-24 04:00");
    EXPECT_EQ(reboots, 1);
}

TEST_F(Schedules, RestartItOnceForOneTime)
{
    add_restart();

    pass_until("2026-11-24 04:30");
    change("<update><system><time-zone/></system></update>");
    wake();

    EXPECT_EQ(reboots, 1);
}

TEST_F(Schedules, RestartItOnTheirDaysAlone)
{
    add_restart("<days>sun</days>");
    EXPECT_EQ(told("restart-schedule", "s"), "next at 2026-11-29 04:00");

    pass_until("2026-11-29 03:59");
    EXPECT_EQ(reboots, 0);
    pass_until("2026-11-29 04:00");
    EXPECT_EQ(reboots, 1);
}

TEST_F(Schedules, ThatAreOffDoNotRestartIt)
{
    add_restart("<enabled>off</enabled>");
    EXPECT_EQ(told("restart-schedule", "s"), "off");

    pass_until("2026-11-24 04:30");

    EXPECT_EQ(reboots, 0);
}

TEST_F(Schedules, DoNotRestartADeviceThatHasJustStarted)
{
    add_restart();
    set_clock(
        "2026-11-24 03:59"); /* it has restarted at four, and its clock is a little late now */
    uptime = 30;
    wake();

    pass_until("2026-11-24 04:00");
    EXPECT_EQ(reboots, 0);
    pass_until("2026-11-25 04:00");
    EXPECT_EQ(reboots, 1);
}

TEST_F(Schedules, DoNotMakeUpForATimeThatTheClockWasSetOver)
{
    add_restart();
    set_clock("2026-11-24 03:55");

    set_clock("2026-11-24 04:05");

    EXPECT_EQ(reboots, 0);
    EXPECT_EQ(told("restart-schedule", "s"), "next at 04:00");
}

TEST_F(Schedules, RestartItOnceWhereClocksShowTheTimeTwice)
{
    change(std::string("<update><system><time-zone>") + berlin + "</time-zone></system></update>");
    add("restart", "<time>02:30</time>");
    set_clock("2026-10-25 00:00");

    pass_until("2026-10-25 00:30");
    EXPECT_EQ(reboots, 1);
    pass_until("2026-10-25 02:30");
    EXPECT_EQ(reboots, 1);
}

TEST_F(Schedules, RestartItAsSoonAsATrialIsOver)
{
    add_restart();
    is_held = 1;

    pass_until("2026-11-24 04:05");
    EXPECT_EQ(reboots, 0);
    EXPECT_EQ(told("restart-schedule", "s"), "put off: a change is on trial");
    is_held = 0;
    change("<update><system><time-zone/></system></update>");
    pass_until("2026-11-24 04:05");

    EXPECT_EQ(reboots, 1);
}

TEST_F(Schedules, LookEveryMinuteWhetherAnythingStillHoldsARestart)
{
    add_restart();
    is_held = 1;

    pass_until("2026-11-24 04:01");
    is_held = 0;
    pass_until("2026-11-24 04:02");

    EXPECT_EQ(reboots, 1);
}

TEST_F(Schedules, GiveARestartUpAfterTenMinutesOfATrial)
{
    add_restart();
    is_held = 1;

    pass_until("2026-11-24 04:10");
    is_held = 0;
    pass_until("2026-11-24 23:00");

    EXPECT_EQ(reboots, 0);
}

TEST_F(Schedules, RefuseWhatIsNotThere)
{
    EXPECT_THAT(add_nights("<network>gests</network>"),
                HasSubstr("there is no wireless network \"gests\""));
    EXPECT_THAT(add_nights("<radio>wlan9</radio>"), HasSubstr("there is no radio \"wlan9\""));
    EXPECT_THAT(add_nights("<network>guests</network><radio>wlan0</radio>"),
                HasSubstr("a network or a radio, not both"));
    add_nights("<network>guests</network>");
    EXPECT_THAT(change("<delete><wireless-network name=\"guests\"/></delete>"),
                HasSubstr("there is no wireless network \"guests\""));
}

TEST_F(Schedules, ThatCameInWithoutACheckSayWhatIsWrong)
{
    ask("<lsql><insert><wireless-schedule name=\"s\"><network>gests</network><from>11:00</from>"
        "<to>13:00</to></wireless-schedule></insert></lsql>");

    EXPECT_EQ(told("wireless-schedule", "s"), "failed: there is no wireless network \"gests\"");
}

TEST_F(Schedules, RefuseWhatIsNoTimeAndNoDay)
{
    for (const char *values :
         {"<from>23:00</from>", "<to>06:00</to>", "<from>24:00</from><to>06:00</to>",
          "<from>23:00</from><to></to>", "<from>23:00</from><to>06:00</to><days>monday</days>",
          "<from>23:00</from><to>06:00</to><action>maybe</action>",
          "<from>23:00</from><to>06:00</to><radio>a b</radio>"})
        EXPECT_THAT(add("wireless", values), HasSubstr("<rc>1</rc>")) << values;
    EXPECT_THAT(add("restart", ""), HasSubstr("<rc>1</rc>"));
    EXPECT_THAT(add("restart", "<time>4:00</time>"), HasSubstr("<rc>1</rc>"));
}

TEST_F(Schedules, AreExplained)
{
    const auto explained = [this](const std::string &kind, const std::string &values) {
        return ask("<explain><insert><" + kind + "-schedule name=\"s\">" + values + "</" + kind +
                   "-schedule></insert></explain>");
    };
    set_clock("2026-11-24 01:00");

    EXPECT_THAT(explained("wireless", "<from>23:00</from><to>06:00</to><radio>wlan0</radio>"),
                HasSubstr("weight=\"interrupts\">each network of wlan0 is not on the air from "
                          "23:00 to 06:00"));
    EXPECT_THAT(explained("restart", "<time>04:00</time>"),
                HasSubstr("the device is going to restart at 04:00"));
    EXPECT_EQ(paused, "");
    EXPECT_EQ(network(), "running");
}

} // namespace
