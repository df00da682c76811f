/* SPDX-License-Identifier: MIT */
/* The boot loader is told that a firmware is good once it is proven and confirmed, never before. */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "vornctl_device.h"

namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::Not;

constexpr char at_once[] = "<proven-after>0</proven-after>";

class Firmware : public vorn::tests::VornctlDevice {
protected:
    void SetUp() override
    {
        VornctlDevice::SetUp();
        for (const char *name : {"firmware.vorn", "history.vorn"})
            install_plugin(name);
        stand_in("rauc",
                 "test \"$2\" = mark-good && exec cat /tmp/refusal\n"
                 "cat <<'EOF'\n"
                 "RAUC_SYSTEM_COMPATIBLE='board'\nRAUC_SYSTEM_BOOTED_BOOTNAME='B'\n"
                 "RAUC_SLOT_STATE_1='inactive'\nRAUC_SLOT_STATUS_BUNDLE_VERSION_1='7.0'\n"
                 "RAUC_SLOT_STATE_2='booted'\nRAUC_SLOT_STATUS_BUNDLE_VERSION_2='7.1'\nEOF");
        stand_in("fw_printenv", "cat /tmp/env 2>/dev/null");
        stand_in("fw_setenv", "cat >/tmp/set && echo >/tmp/env");
        stand_in("swupdate", "echo /dev/mmcblk0p3");
        write_file("/tmp/refusal", "");
    }

    void boot_with(const std::string &method, const std::string &settings = "",
                   const std::vector<std::string> &options = {"-f"})
    {
        write_file(startup, "<config><history>" + settings + "</history><firmware><method>" +
                                method + "</method></firmware></config>");
        boot(options);
    }

    void expect_good_with(const std::string &method)
    {
        boot_with(method, at_once);
        EXPECT_EQ(wait_for_state("good"), "good\n");
    }

    static std::string told(const std::string &property)
    {
        return shell("vornctl show firmware " + property + " -q");
    }

    static std::string wait_for_state(const std::string &begin)
    {
        return shell("for i in $(seq 1000); do vornctl show firmware state -q | grep '^" + begin +
                     "' && break; sleep 0.05; done");
    }
};

TEST_F(Firmware, IsMarkedGoodByRauc)
{
    expect_good_with("rauc");
    EXPECT_EQ(told("slot"), "B\n");
    EXPECT_EQ(told("version"), "7.1\n");
    EXPECT_EQ(told("good"), "yes\n");
    EXPECT_THAT(commands_run(), Contains(HasSubstr("rauc status mark-good booted")));
}

TEST_F(Firmware, IsNotMarkedBeforeItIsProven)
{
    boot_with("rauc", "<proven-after>12</proven-after>");

    shell("while ! vornctl show firmware slot -q | grep B; do :; done");
    for (int look = 0; look < 3; look++)
        ASSERT_EQ(told("state"), "waiting to be proven\n");
    EXPECT_EQ(told("good"), "no\n");
    EXPECT_THAT(commands_run(), Not(Contains(HasSubstr("mark-good"))));
    vornctl("set Radio r0 channel=3");
    EXPECT_EQ(wait_for_state("good"), "good\n") << "a change does not make it another firmware";
}

TEST_F(Firmware, IsNotMarkedBeforeItIsConfirmed)
{
    boot_with("rauc", at_once);
    vornctl("add Radio r0");
    shut_down();
    install_plugin("plugins.vorn");
    forget_runs();
    boot();

    EXPECT_EQ(wait_for_state("waiting to be conf"), "waiting to be confirmed\n");
    EXPECT_THAT(commands_run(), Not(Contains(HasSubstr("mark-good"))));

    EXPECT_EQ(vornctl("confirm --upgrade"), "[0]\n");
    EXPECT_EQ(wait_for_state("good"), "good\n");
}

/* It may be one on trial that has come without what it needs. */
TEST_F(Firmware, IsNotMarkedWhileAPluginCannotBeLoaded)
{
    install_plugin("old_version.vorn");
    boot_with("rauc", at_once);

    EXPECT_EQ(wait_for_state("waiting for the plugin"),
              "waiting for the plugin old_version.vorn, which does not run\n");
    EXPECT_EQ(shell("vornctl show history proven -q"), "yes\n");
    EXPECT_THAT(commands_run(), Not(Contains(HasSubstr("mark-good"))));
}

TEST_F(Firmware, IsMarkedGoodInTheBootLoadersEnvironment)
{
    write_file("/tmp/env", "upgrade_available=1\n");
    expect_good_with("u-boot");
    EXPECT_EQ(read_file("/tmp/set"), "upgrade_available=0\nbootcount=0\n");
    EXPECT_THAT(commands_run(), Contains(HasSubstr("fw_setenv -s -")));
}

/* The environment lies in flash. */
TEST_F(Firmware, ThatIsGoodAlreadyIsNotWrittenAgain)
{
    write_file("/tmp/env", "upgrade_available=0\n");
    expect_good_with("u-boot");
    EXPECT_EQ(told("good"), "yes\n");
    EXPECT_FALSE(exists("/tmp/set"));
}

TEST_F(Firmware, IsMarkedGoodForSwupdate)
{
    write_file("/tmp/env", "ustate=1\n");
    expect_good_with("swupdate");
    EXPECT_EQ(told("slot"), "/dev/mmcblk0p3\n");
    EXPECT_EQ(read_file("/tmp/set"), "ustate=0\nbootcount=0\n");
}

TEST_F(Firmware, SaysWhyItCannotBeMarked)
{
    stand_in("rauc", "echo 'No such slot' >&2; exit 1");
    boot_with("rauc", at_once);

    EXPECT_EQ(wait_for_state("failed"), "failed: No such slot\n");
    EXPECT_EQ(told("good"), "no\n");
    EXPECT_THAT(vornctl("status"), HasSubstr("! firmware: failed: No such slot"));
}

TEST_F(Firmware, LogsOnceWhyItCannotBeMarkedHoweverOftenItTries)
{
    write_file("/tmp/reason", "No such slot");
    stand_in("rauc", "cat /tmp/reason >&2; exit 1");
    boot_with("rauc", at_once);
    for (int i = 0; i < 2; i++) {
        EXPECT_EQ(wait_for_state("failed"), "failed: No such slot\n");
        vornctl("set firmware method=none");
        vornctl("set firmware method=rauc --no-wait");
    }
    EXPECT_EQ(wait_for_state("failed"), "failed: No such slot\n");
    const std::string once = "firmware: can't be marked good: No such slot.\n";
    EXPECT_EQ(console().find(once), console().rfind(once));
    EXPECT_THAT(console(), HasSubstr(once));

    write_file("/tmp/reason", "No bus");
    vornctl("set firmware method=none");
    vornctl("set firmware method=rauc --no-wait");
    EXPECT_EQ(wait_for_state("failed"), "failed: No bus\n");
    EXPECT_THAT(console(), HasSubstr("firmware: can't be marked good: No bus.\n"));
}

TEST_F(Firmware, LooksAtTheHistoryWithoutAWordInTheLog)
{
    boot_with("rauc", at_once, {"-f", "-d"});

    EXPECT_EQ(wait_for_state("good"), "good\n");
    EXPECT_THAT(console(), Not(HasSubstr("<proven/>")));
}

TEST_F(Firmware, SaysThatNothingIsProvenWithoutTheHistory)
{
    std::filesystem::remove("/usr/lib/vorn/plugins/history.vorn");
    boot_with("rauc");

    EXPECT_EQ(wait_for_state("waiting for"), "waiting for the plugin history\n");
    EXPECT_THAT(vornctl("status"), HasSubstr("! firmware: waiting for the plugin history"));
    EXPECT_THAT(commands_run(), Not(Contains(HasSubstr("mark-good"))));
}

TEST_F(Firmware, KeepsNobodyWaitingForAProgramThatHangs)
{
    stand_in("rauc", "echo $$ >/tmp/rauc; exec sleep 100");
    boot_with("none", at_once);

    /* It is ended after ten seconds: a busy machine that asks later than that asks again. */
    EXPECT_TRUE(comes_true([] {
        vornctl("set firmware method=none");
        std::filesystem::remove("/tmp/rauc");
        vornctl("set firmware method=rauc --no-wait");
        return comes_true([] { return !read_file("/tmp/rauc").empty(); }) &&
               shell("pid=$(cat /tmp/rauc); vornctl ping >/dev/null && "
                     "ps -o stat= -p $pid | grep -v Z") != "";
    }));
    EXPECT_EQ(told("good"), "no\n");
}

TEST_F(Firmware, IsNobodysBusinessWithoutAMethod)
{
    boot_with("", at_once);
    EXPECT_EQ(told("state"), "off\n");
    EXPECT_THAT(vornctl("set firmware method=grub"), HasSubstr("[1]"));
    EXPECT_THAT(commands_run(), Not(Contains(HasSubstr("rauc"))));

    vornctl("set firmware method=rauc");
    EXPECT_EQ(wait_for_state("good"), "good\n");
    vornctl("set firmware method=none");
    EXPECT_EQ(told("state"), "off\n");
}

} // namespace
