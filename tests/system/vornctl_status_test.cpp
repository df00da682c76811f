/* SPDX-License-Identifier: MIT */
/* How the device is doing, for people and for programs. */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <string>

#include "vornctl_device.h"

namespace {

using testing::AllOf;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

class VornctlStatus : public vorn::tests::VornctlDevice {
protected:
    void SetUp() override
    {
        VornctlDevice::SetUp();
        install_plugin("plugins.vorn");
        /* A sanitizer would make another end of each death. */
        set_environment("ASAN_OPTIONS", "handle_segv=0:detect_leaks=0");
    }

    void boot_without_a_deadly_plugin()
    {
        install_plugin("deadly.vorn");
        write_file(startup, "<config><Deadly name=\"d\"><value>1</value></Deadly></config>");
        write_file("/tmp/deadly", "commit crash");
        for (int i = 0; i < 3; i++) {
            start({"-f"});
            ASSERT_EQ(exit_status(), -SIGSEGV);
        }
        std::filesystem::remove("/tmp/deadly");
        boot();
    }
};

TEST_F(VornctlStatus, OfADeviceThatIsWell)
{
    boot();

    EXPECT_THAT(vornctl("status"),
                AllOf(StartsWith("healthy\nversion      "), HasSubstr("\nuptime       "),
                      HasSubstr("\nsave         none\n"), HasSubstr("\nclients      1\n"),
                      HasSubstr("\nleft-behind  "), Not(HasSubstr("! ")), HasSubstr("[0]\n")));
    EXPECT_THAT(vornctl("status -v"), HasSubstr("plugin \"board.vorn\"    running\n"));
}

TEST_F(VornctlStatus, TellsWhatTransactionsHaveLeftBehind)
{
    boot();
    EXPECT_THAT(vornctl("status"), ContainsRegex("\nleft-behind  [0-9]+ bytes of 0 instances\n"));

    vornctl("set Radio r0 channel=11");

    EXPECT_THAT(vornctl("status"),
                ContainsRegex("\nleft-behind  [1-9][0-9]+ bytes of 1 instances\n"));
    EXPECT_THAT(vornctl("--json status"), ContainsRegex("\"left-behind\": \"[1-9][0-9]+ bytes\",\n"
                                                        "  \"left-behind-instances\": \"1\"\n"));
}

TEST_F(VornctlStatus, IsJsonForPrograms)
{
    boot();

    EXPECT_THAT(
        vornctl("--json status"),
        AllOf(StartsWith("{\n  \"health\": \"good\",\n  \"problems\": [],\n  \"version\": \""),
              HasSubstr("\"clients\": \"1\""), HasSubstr("}\n[0]\n")));
}

TEST_F(VornctlStatus, NamesAPluginThatIsLeftOutAndWhatIsKeptOfIt)
{
    boot_without_a_deadly_plugin();
    const std::string problem = "plugin \"deadly.vorn\": left out: the daemon died 3 times in its "
                                "commit function of signal 11";

    EXPECT_THAT(vornctl("status"), AllOf(StartsWith("not healthy\n"),
                                         HasSubstr("! " + problem + "\n"), HasSubstr("[5]\n")));
    EXPECT_THAT(vornctl("--json status"), HasSubstr("\"health\": \"bad\""));
    EXPECT_THAT(vornctl("status -v"), HasSubstr("Deadly \"d\"\n"));
    EXPECT_EQ(shell("vornctl complete 'vornctl plugin '"), "retry\n");
    EXPECT_EQ(shell("vornctl complete 'vornctl plugin retry '"), "deadly.vorn\n");
}

TEST_F(VornctlStatus, IsGoodAgainAfterAnotherChance)
{
    boot_without_a_deadly_plugin();

    ASSERT_TRUE(exists("/etc/vorn-suspects"));
    EXPECT_EQ(vornctl("plugin retry deadly"), "[0]\n");
    EXPECT_FALSE(exists("/etc/vorn-suspects")) << "which outlives a reset";
    shut_down();
    boot();

    EXPECT_THAT(lsql("<lsql><select><Deadly/></select></lsql>"), HasSubstr("name=\"d\""));
    EXPECT_THAT(vornctl("status"), HasSubstr("[0]\n"));
}

TEST_F(VornctlStatus, TellsThatNothingSpeaksAgainstAPlugin)
{
    boot();

    EXPECT_EQ(vornctl("plugin retry board.vorn"),
              "[1]\nvornctl: the device refused to give a plugin another chance: nothing speaks "
              "against the plugin \"board.vorn\"\n");
    EXPECT_THAT(vornctl("plugin forget board"), HasSubstr("[2]\n"));
}

TEST_F(VornctlStatus, TellsOfASaveThatFailedAsTheChangeDoes)
{
    boot();
    std::filesystem::create_directories(std::string(startup) + ".new/x");

    EXPECT_THAT(vornctl("set Radio r0 channel=7"), HasSubstr("[6]\n"));
    EXPECT_THAT(vornctl("status"),
                AllOf(HasSubstr("! the configuration is not saved: "), HasSubstr("[5]\n")));

    std::filesystem::remove_all(std::string(startup) + ".new");
    EXPECT_THAT(vornctl("set Radio r0 channel=8"), HasSubstr("[0]\n"));
    EXPECT_THAT(vornctl("status"), HasSubstr("\nsave         saved, 2"));
}

TEST_F(VornctlStatus, TellsOfATrialAndOfTheNewestGeneration)
{
    install_plugin("history.vorn");
    install_plugin("trial.vorn");
    boot();
    vornctl("set Radio r0 channel=7");
    EXPECT_THAT(vornctl("status"),
                AllOf(HasSubstr("\ncommit       1-"), HasSubstr("\ngeneration   2, proven: no\n"),
                      HasSubstr("\ntrial        none\n")));

    vornctl("set Radio r0 channel=8 --trial 600");

    EXPECT_THAT(
        vornctl("status"),
        AllOf(HasSubstr("\ncommit       2-"), HasSubstr("\ngeneration   2,"),
              ContainsRegex(
                  "\ntrial        pending, of root .vornctl, process [0-9]+. for .vornctl., "
                  "(600|5[0-9][0-9]) s left\n"),
              HasSubstr("\nsave         held")));
}

TEST_F(VornctlStatus, NamesWhatIsNotApplied)
{
    install_plugin("states.vorn");
    boot();
    vornctl("add Program p arguments=fail");
    vornctl("add Program q arguments=x");

    EXPECT_THAT(vornctl("status"), AllOf(HasSubstr("not healthy\n"),
                                         HasSubstr("! Program \"p\": failed: no such file\n"),
                                         Not(HasSubstr("Program \"q\"")), HasSubstr("[5]\n")));
}

TEST_F(VornctlStatus, NamesAServiceThatKeepsEnding)
{
    install_plugin("deadly.vorn");
    boot();

    EXPECT_TRUE(comes_true([] {
        return vornctl("status").find("! services that keep ending: deadly\n") != std::string::npos;
    })) << vornctl("status");
}

/* Attack. */
TEST_F(VornctlStatus, IsTakenFromNobodyWhoCannotTell)
{
    std::filesystem::remove("/usr/lib/vorn/plugins/schema.vorn");
    boot();

    EXPECT_THAT(vornctl("status"), Not(HasSubstr("[0]")));
}

} // namespace
