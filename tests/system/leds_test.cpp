/* SPDX-License-Identifier: MIT */
/* What LEDs are told to show, what is written for it, and what is left alone. */
#include "support/device.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include <sys/mount.h>

namespace {

using testing::HasSubstr;
using testing::Not;

constexpr char lan_folder[] = "/sys/class/leds/green:lan/";

/* The kernel's files, without the kernel: what is written stays as it was written. */
class Leds : public vorn::tests::Device {
protected:
    void SetUp() override
    {
        Device::SetUp();
        for (const char *plugin : {"leds.vorn", "save.vorn", "trial.vorn"})
            install_plugin(plugin);
        ASSERT_EQ(mount("tmpfs", "/sys/class", "tmpfs", 0, nullptr), 0);
        for (const char *name : {"green:lan", "red:power"})
            make_led(std::string("/sys/class/leds/") + name + "/");
    }

    void TearDown() override
    {
        Device::TearDown();
        umount("/sys/class");
    }

    static void make_led(const std::string &folder)
    {
        shell("mkdir -p " + folder);
        write_file(folder + "trigger", "[none] timer heartbeat netdev\n");
        write_file(folder + "brightness", "0\n");
        write_file(folder + "max_brightness", "200\n");
        for (const char *name : {"delay_on", "delay_off", "device_name", "link", "rx", "tx"})
            write_file(folder + name, "");
    }

    void boot_with(const std::string &instances)
    {
        write_file(vorn::test::startup_file, "<config>" + instances + "</config>");
        boot();
    }

    static std::string led(const std::string &name, const std::string &values)
    {
        return "<led name=\"" + name + "\">" + values + "</led>";
    }

    static std::string change(const std::string &operation)
    {
        return lsql("<lsql><write-transaction>" + operation + "</write-transaction></lsql>");
    }

    static std::string of_lan(const std::string &setting)
    {
        return read_file(lan_folder + setting);
    }

    static std::string state() { return lsql("<lsql><select><led><state/></led></select></lsql>"); }

    /* As the kernel tells of a trigger that somebody has chosen. */
    static void choose_for_lan(const std::string &trigger)
    {
        write_file(std::string(lan_folder) + "trigger", "none [" + trigger + "]\n");
    }

    /* Everything that is written from here on is told. */
    static void forget_writes() { shell("touch -d '1 hour ago' " + std::string(lan_folder) + "*"); }
    static std::string written()
    {
        return shell("find " + std::string(lan_folder) +
                     " -type f -mmin -30 -printf '%f\\n' | sort");
    }
};

TEST_F(Leds, AreAsBrightAsTheyCanBe)
{
    boot_with(led("green:lan", "<shows>on</shows>"));

    EXPECT_EQ(of_lan("brightness"), "200");
    EXPECT_THAT(state(), HasSubstr("<state>applied</state>"));
}

TEST_F(Leds, AreAsBrightAsIsSaid)
{
    boot_with(led("green:lan", "<shows>on</shows><brightness>20</brightness>"));
    EXPECT_EQ(of_lan("brightness"), "20");

    change("<update><led><brightness>255</brightness></led></update>");
    EXPECT_EQ(of_lan("brightness"), "200");
    change("<update><led><shows>off</shows></led></update>");
    EXPECT_EQ(of_lan("brightness"), "0");
}

TEST_F(Leds, Blink)
{
    boot_with(led("green:lan", "<shows>blinking</shows><on-time>50</on-time>"));

    EXPECT_EQ(of_lan("trigger"), "timer");
    EXPECT_EQ(of_lan("delay_on") + " " + of_lan("delay_off"), "50 500");
}

TEST_F(Leds, BeatLikeAHeart)
{
    boot_with(led("green:lan", "<shows>heartbeat</shows>"));

    EXPECT_EQ(of_lan("trigger"), "heartbeat");
}

TEST_F(Leds, ShowAnInterface)
{
    boot_with(led("green:lan", "<shows>interface</shows><interface>lo</interface>"));

    EXPECT_EQ(of_lan("trigger") + " " + of_lan("device_name"), "netdev lo");
    EXPECT_EQ(of_lan("link") + of_lan("rx") + of_lan("tx"), "111");
}

TEST_F(Leds, ShowThatAChangeIsOnTrial)
{
    boot_with(led("green:lan", "<shows>trial</shows>") + led("red:power", "<shows>on</shows>"));
    EXPECT_EQ(of_lan("brightness"), "0\n");
    ASSERT_EQ(shell("vornctl set led red:power brightness=7 --trial 600 >/dev/null; echo $?"),
              "0\n");

    EXPECT_TRUE(comes_true([] { return of_lan("delay_off") == "100"; }));
    EXPECT_EQ(of_lan("trigger") + of_lan("delay_on"), "timer100");
    choose_for_lan("timer");
    ASSERT_EQ(shell("vornctl confirm >/dev/null; echo $?"), "0\n");

    EXPECT_TRUE(comes_true([] { return of_lan("trigger") == "none"; }));
}

TEST_F(Leds, ShowThatATrialHasRunOut)
{
    boot_with(led("green:lan", "<shows>trial</shows>") + led("red:power", "<shows>on</shows>"));
    ASSERT_EQ(shell("vornctl set led red:power brightness=7 --trial 5 >/dev/null; echo $?"), "0\n");
    ASSERT_TRUE(comes_true([] { return of_lan("delay_off") == "100"; }));

    EXPECT_TRUE(comes_true([] { return of_lan("trigger") == "none"; }));
}

TEST_F(Leds, AreLeftAloneThatShowItAlready)
{
    boot_with(led("green:lan", "<shows>blinking</shows>"));
    choose_for_lan("timer");
    forget_writes();

    change("<update><led><on-time>500</on-time></led></update>");
    change("<insert>" + led("red:power", "<shows>on</shows>") + "</insert>");

    EXPECT_EQ(written(), "");
    change("<update><led name=\"green:lan\"><on-time>70</on-time></led></update>");
    EXPECT_EQ(written(), "delay_on\n");
}

TEST_F(Leds, ShowItAgainWhenSomebodyElseHasSetThem)
{
    boot_with(led("green:lan", "<shows>on</shows>"));
    write_file(std::string(lan_folder) + "brightness", "3\n");

    change("<insert>" + led("red:power", "<shows>on</shows>") + "</insert>");

    EXPECT_EQ(of_lan("brightness"), "200");
}

TEST_F(Leds, GoOutWithTheirInstances)
{
    boot_with(led("green:lan", "<shows>on</shows>"));

    change("<delete><led/></delete>");

    EXPECT_EQ(of_lan("brightness"), "0");
}

TEST_F(Leds, SayThatThereIsNone)
{
    boot_with(led("blue:wps", "<shows>on</shows>"));
    EXPECT_THAT(state(),
                HasSubstr("failed: there is no such LED; there are: green:lan, red:power</state>"));

    make_led("/sys/class/leds/blue:wps/");
    change("<update><led><brightness>9</brightness></led></update>");

    EXPECT_EQ(read_file("/sys/class/leds/blue:wps/brightness"), "9");
    EXPECT_THAT(state(), HasSubstr("<state>applied</state>"));
}

TEST_F(Leds, SayWhatTheKernelRefuses)
{
    shell("rm /sys/class/leds/green:lan/delay_off");

    boot_with(led("green:lan", "<shows>blinking</shows>"));

    EXPECT_THAT(state(), HasSubstr("failed: delay_off: No such file or directory"));
}

TEST_F(Leds, WaitForNobodyAtAFifo)
{
    shell("rm /sys/class/leds/green:lan/brightness && mkfifo /sys/class/leds/green:lan/brightness");

    boot_with(led("green:lan", "<shows>on</shows>"));

    EXPECT_THAT(state(), HasSubstr("failed: brightness: "));
}

TEST_F(Leds, AreNotFoundByAWayOutOfTheirFolder)
{
    shell("cp -r /sys/class/leds/green:lan /tmp/victim");
    boot_with("");

    for (const char *name : {"../../../tmp/victim", ".", "..", "", "a b", "a/b"}) {
        const std::string inserted = "<insert>" + led(name, "<shows>on</shows>") + "</insert>";
        EXPECT_THAT(change(inserted), HasSubstr("<rc>1</rc>")) << name;
        lsql("<lsql>" + inserted + "</lsql>");
    }

    EXPECT_EQ(read_file("/tmp/victim/brightness"), "0\n");
}

TEST_F(Leds, RefuseWhatNoneCanShow)
{
    boot_with("");

    for (const char *values :
         {"<shows>green</shows>", "<shows>interface</shows>", "<brightness>0</brightness>",
          "<brightness>256</brightness>", "<on-time>9</on-time>", "<off-time>60001</off-time>",
          "<interface>a b</interface>"}) {
        EXPECT_THAT(change("<insert>" + led("green:lan", values) + "</insert>"),
                    HasSubstr("<rc>1</rc>"))
            << values;
    }
}

TEST_F(Leds, AreExplained)
{
    boot_with(led("green:lan", "<shows>on</shows>"));
    const auto explained = [](const std::string &values) {
        return lsql("<explain><update><led>" + values + "</led></update></explain>");
    };

    EXPECT_THAT(explained("<brightness>7</brightness>"),
                HasSubstr("weight=\"live\">the LED green:lan changes<"));
    EXPECT_THAT(explained("<on-time>70</on-time>"), Not(HasSubstr("the LED")));
    EXPECT_EQ(of_lan("brightness"), "200");
}

} // namespace
