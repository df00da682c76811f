/* SPDX-License-Identifier: MIT */
/* Two firmwares on one device: each starts with what it wrote, whatever the other has done. */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <string>

#include "slots.h"

namespace {

using testing::AllOf;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

using vorn::tests::Slots;

TEST_F(Slots, StartWithWhatTheyWroteByteByByte)
{
    boot_slot(1);
    vornctl("add Wlan w0 chan=6");
    const std::string first = saved();
    EXPECT_EQ(upgrade(), "none\n");

    boot_slot(2);
    EXPECT_EQ(saved(), first);
    EXPECT_EQ(vornctl("show Wlan w0 channel -q"), "6\n[0]\n") << "it is migrated";
    EXPECT_EQ(upgrade(), "pending\n");
    vornctl("set Wlan w0 channel=11");
    const std::string second = saved();

    for (int i = 0; i < 2; i++) {
        boot_slot(1);
        EXPECT_EQ(saved(), first);
        EXPECT_EQ(vornctl("show Wlan w0 chan -q"), "6\n[0]\n");
        boot_slot(2);
        EXPECT_EQ(saved(), second);
        EXPECT_EQ(vornctl("show Wlan w0 channel -q"), "11\n[0]\n");
    }
}

TEST_F(Slots, SayWhatHasTakenItsPlace)
{
    use_both();
    boot_slot(1);

    const std::string sentence =
        "the saved configuration was of a newer firmware: generation 2, "
        "which this one wrote, has taken its place, and it is generation 3";
    EXPECT_EQ(taken(), sentence + "\n");
    EXPECT_TRUE(console_shows("history: " + sentence + ".\n"));
    EXPECT_THAT(vornctl("status -v"),
                AllOf(ContainsRegex("schema +[0-9a-f]{16}\n"), ContainsRegex("upgrade +pending\n"),
                      ContainsRegex("taken +the saved configuration was of a newer"),
                      ContainsRegex("plugin \"wlan-1.vorn\" +running, schema wlan 1\n")));
    EXPECT_THAT(vornctl("diff 2 3"), HasSubstr("+   channel = "));
}

TEST_F(Slots, KeepWhatTheOtherWroteUntilTheyAreConfirmed)
{
    use_both();
    vornctl("set history keep=1");
    for (int i = 1; i <= 3; i++)
        vornctl("set Wlan w0 channel=" + std::to_string(i));
    EXPECT_THAT(vornctl("history"), ContainsRegex("\n2 .*\\[pinned\\]\n"));
    EXPECT_EQ(vornctl("show generation 2 pinned -q"), "yes\n[0]\n");

    EXPECT_EQ(vornctl("confirm --upgrade"), "[0]\n");
    EXPECT_EQ(upgrade(), "confirmed\n");
    EXPECT_EQ(vornctl("confirm --upgrade"), "[5]\nvornctl: this firmware is confirmed\n");
    vornctl("set Wlan w0 channel=9");
    EXPECT_EQ(vornctl("show generation 2 pinned -q"), "yes\n[0]\n") << "it has yet to stay up";

    boot_slot(2);
    EXPECT_EQ(upgrade(), "none\n");
    vornctl("set history proven-after=0");
    EXPECT_EQ(vornctl("show generation 2 pinned -q"), "yes\n[0]\n");
    boot_slot(2);
    vornctl("set Wlan w0 channel=10");
    EXPECT_EQ(vornctl("show generation 2"), "[5]\nvornctl: there is no generation \"2\"\n");
    EXPECT_THAT(read_file("/etc/config/history/upgrades"), Not(HasSubstr("unproven")));
    boot_slot(1);
    EXPECT_EQ(upgrade(), "pending\n");
    EXPECT_THAT(taken(), StartsWith("the saved configuration is of a newer firmware and is read as "
                                    "it is: there is none that this one wrote"));
}

/* What is on trial goes with the next reset, and so would have to what was confirmed in it. */
TEST_F(Slots, KeepWhatTheOtherWroteThoughTheStartupFileIsGone)
{
    use_both();
    shut_down();
    std::filesystem::remove(startup);
    boot_slot(2);
    vornctl("set history keep=1");

    EXPECT_EQ(vornctl("show generation 2 pinned -q"), "yes\n[0]\n");
    EXPECT_EQ(vornctl("show generation 3"), "[5]\nvornctl: there is no generation \"3\"\n");
}

TEST_F(Slots, AreNotConfirmedWhileAChangeIsOnTrial)
{
    install_plugin("trial.vorn");
    use_both();
    vornctl("set Wlan w0 channel=3 --trial 60");
    const std::string before = read_file("/etc/config/history/upgrades");

    EXPECT_THAT(vornctl("confirm --upgrade"), HasSubstr("A change is on trial: held by root"));
    EXPECT_THAT(vornctl("set history upgrade=confirm --join $(vornctl show trial id -q)"),
                HasSubstr("Property \"upgrade\" of class \"history\": not while a change is on "
                          "trial"));

    EXPECT_EQ(upgrade(), "pending\n");
    EXPECT_EQ(read_file("/etc/config/history/upgrades"), before);
    vornctl("confirm");
    EXPECT_EQ(vornctl("confirm --upgrade"), "[0]\n");
}

/* One that was confirmed and did not stay up; it is this one's turn again. */
TEST_F(Slots, KeepWhatTheOtherWroteThoughThatOneDoesNotStayUp)
{
    use_both();
    vornctl("set history keep=1");
    vornctl("confirm --upgrade");
    boot_slot(1);
    vornctl("set history proven-after=0");
    vornctl("set history keep=1");
    boot_slot(1);
    EXPECT_EQ(upgrade(), "pending\n");
    for (int i = 1; i <= 3; i++)
        vornctl("set Wlan w0 chan=" + std::to_string(i));

    EXPECT_THAT(read_file("/etc/config/history/upgrades"), HasSubstr("unproven"));
    EXPECT_THAT(vornctl("history"), ContainsRegex("\n[0-9]+ .*\\[pinned\\]\n"));
}

TEST_F(Slots, NoteThatTheyStayUpOnceNothingIsOnTrial)
{
    install_plugin("trial.vorn");
    use_both();
    vornctl("confirm --upgrade");
    vornctl("set history proven-after=10");
    boot_slot(2);
    const auto noted = [] { return read_file("/etc/config/history/upgrades"); };
    const std::string before = noted();
    ASSERT_THAT(before, HasSubstr("unproven"));

    vornctl("set Wlan w0 channel=3 --trial 60");
    ASSERT_TRUE(comes_true([] { return shell("vornctl show history proven -q") == "yes\n"; }));
    EXPECT_EQ(noted(), before);

    vornctl("revert");
    EXPECT_TRUE(comes_true([&] { return noted().find("unproven") == std::string::npos; }));
}

TEST_F(Slots, KeepTheOthersConfigurationAfterTheirOwnHasTakenItsPlace)
{
    use_both();
    boot_slot(1);
    vornctl("set history keep=1");
    boot_slot(1);
    for (int i = 1; i <= 3; i++)
        vornctl("set Wlan w0 chan=" + std::to_string(i));

    boot_slot(2);
    EXPECT_EQ(saved(), of_second_);
}

TEST_F(Slots, AreConfirmedByThemselvesAfterATime)
{
    use_both();
    vornctl("set history upgrade-after=1");

    EXPECT_EQ(shell("for i in $(seq 1000); do vornctl show history upgrade -q | grep confirmed && "
                    "break; sleep 0.05; done"),
              "confirmed\n");
    boot_slot(2);
    EXPECT_EQ(upgrade(), "none\n");
}

TEST_F(Slots, StayConfirmedOnWhatTookThePlaceOfTheOthers)
{
    use_both();
    boot_slot(1);
    EXPECT_EQ(upgrade(), "pending\n");
    EXPECT_EQ(vornctl("confirm --upgrade"), "[0]\n");

    boot_slot(1);

    EXPECT_EQ(upgrade(), "none\n");
}

TEST_F(Slots, AreNotConfirmedByThemselvesWhenThatIsNotWanted)
{
    use_both();
    vornctl("set history upgrade-after=never");
    EXPECT_THAT(vornctl("set history upgrade-after=soon"), StartsWith("[1]\n"));
    boot_slot(2);

    EXPECT_EQ(upgrade(), "pending\n");
}

TEST_F(Slots, TakeTheNewestOfAnOlderOneWhenTheyAreToldTo)
{
    use_both();
    boot_slot(1);
    vornctl("batch /dev/stdin <<'EOF'\nset Wlan w0 chan=3\nset history other-slot=newest\nEOF\n");
    const std::string newest = saved();

    boot_slot(2);

    EXPECT_EQ(saved(), newest);
    EXPECT_EQ(vornctl("show Wlan w0 channel -q"), "3\n[0]\n");
}

/* What a newer one wrote can't be migrated back, whatever is wanted. */
TEST_F(Slots, TakeTheirOwnInPlaceOfANewerOnesWhateverTheyAreTold)
{
    use_both();
    vornctl("set history other-slot=newest");
    boot_slot(1);
    EXPECT_EQ(saved(), of_first_);
}

TEST_F(Slots, HearThatTheNewestIsWantedFromTheirSettingsAlone)
{
    use_both();
    boot_slot(1);
    shell("sed -i 's|</config>|<X><other-slot>newest</other-slot></X></config>|' " +
          std::string(startup));
    boot_slot(2);
    EXPECT_EQ(saved(), of_second_);
}

TEST_F(Slots, NameTheNewestOfGenerationsThatAreAlike)
{
    use_both();
    vornctl("set Wlan w0 channel=12");
    vornctl("set Wlan w0 channel=11");
    boot_slot(1);
    EXPECT_THAT(taken(), HasSubstr("has taken its place, and it is generation 5"));
}

TEST_F(Slots, OverwriteNoGenerationThatIsDamaged)
{
    use_both();
    write_file("/etc/config/history/00000003.gz", "damaged");
    boot_slot(1);
    EXPECT_EQ(read_file("/etc/config/history/00000003.gz"), "damaged");
    EXPECT_THAT(taken(), HasSubstr("has taken its place, and it is generation 4"));
}

TEST_F(Slots, AreHandedTheFilesThatBelongToWhatTheyStartWith)
{
    boot_slot(1);
    write_file("/etc/config/wlan-keys", "of the first");
    vornctl("add Wlan w0 chan=6");
    boot_slot(2);
    write_file("/etc/config/wlan-keys", "of the second");
    vornctl("set Wlan w0 channel=11");

    boot_slot(1);
    EXPECT_TRUE(console_shows("versions: handed of the first\n"));
    EXPECT_THAT(console(), Not(HasSubstr("of the second")));
}

TEST_F(Slots, HandNoFilesOverForWhatIsOnlyExplained)
{
    boot_slot(1);
    write_file("/etc/config/wlan-keys", "of the first");
    vornctl("add Wlan w0 chan=6");
    vornctl("set Wlan w0 chan=11");

    EXPECT_THAT(vornctl("explain rollback 2"), HasSubstr("chan = 6"));
    EXPECT_THAT(console(), Not(HasSubstr("handed")));

    vornctl("rollback 2");
    EXPECT_TRUE(console_shows("versions: handed of the first\n"));
}

/* A device that has never saved: what it was delivered with. */
TEST_F(Slots, StartWithWhatNoSaveHasKept)
{
    const std::string delivered = "<?xml version=\"1.0\"?>\n<?vorn-schema wlan=\"1\"?>\n<config>"
                                  "<Wlan name=\"w0\"><chan>1</chan></Wlan></config>\n";
    write_file(startup, delivered);
    boot_slot(1);
    boot_slot(2);
    vornctl("set Wlan w0 channel=11");

    boot_slot(1);

    EXPECT_EQ(saved(), delivered);
}

TEST_F(Slots, TakeNothingForTheBeginningOfAFileThatIsDamagedFurtherOn)
{
    use_both();
    shell("printf '\\0and more' >>/etc/config/config.xml");

    boot_slot(1);

    EXPECT_EQ(taken(), "\n");
}

/* One without a history was there before. */
TEST_F(Slots, AreNotConfirmedOnWhatSaysThatAnotherOneWroteIt)
{
    const std::string before = "<?xml version=\"1.0\"?><?vorn-schema wlan=\"1\"?><config>"
                               "<Wlan name=\"w0\"><chan>6</chan></Wlan></config>";
    write_file(startup, before);
    boot_slot(2);
    vornctl("batch /dev/stdin <<'EOF'\nset Wlan w0 channel=1\nset history keep=1\nEOF\n");
    boot_slot(2);
    vornctl("set Wlan w0 channel=2");

    EXPECT_EQ(upgrade(), "pending\n");
    EXPECT_EQ(shell("zcat /etc/config/history/00000001.gz | tail -n1"), before + "\n");
    vornctl("set history proven-after=0");
    boot_slot(2);
    EXPECT_EQ(vornctl("confirm --upgrade"), "[0]\n");
    vornctl("set Wlan w0 channel=3");
    EXPECT_THAT(vornctl("show generation 1"), StartsWith("[5]"));
}

/* The power was cut after the startup file was written and before the generation was. */
TEST_F(Slots, StartWithWhatAPowerCutKeptFromTheHistory)
{
    use_both();
    vornctl("set Wlan w0 channel=13");
    const std::string cut_off = saved();
    std::filesystem::remove("/etc/config/history/00000004.gz");

    boot_slot(1);
    EXPECT_EQ(saved(), of_first_);
    boot_slot(2);
    EXPECT_EQ(saved(), cut_off);
}

/* By the versions that it tells, whoever has saved last. */
TEST_F(Slots, KnowWhoWroteWhatAPowerCutKeptFromTheHistory)
{
    use_both();
    boot_slot(1);
    vornctl("set Wlan w0 chan=1");
    const std::string first = saved();
    boot_slot(2);
    vornctl("set Wlan w0 channel=13");
    const std::string cut_off = saved();
    std::filesystem::remove("/etc/config/history/00000005.gz");

    boot_slot(1);
    EXPECT_EQ(saved(), first);
    boot_slot(2);
    EXPECT_EQ(saved(), cut_off);
}

TEST_F(Slots, AreHandedTheFilesOfWhatNoSaveHasKept)
{
    write_file(startup, "<?xml version=\"1.0\"?>\n<?vorn-schema wlan=\"1\"?>\n<config/>\n");
    write_file("/etc/config/wlan-keys", "of the first");
    boot_slot(1);
    boot_slot(2);
    write_file("/etc/config/wlan-keys", "of the second");
    vornctl("add Wlan w0 channel=11");

    boot_slot(1);
    EXPECT_TRUE(console_shows("versions: handed of the first\n"));
}

/* A firmware without any version is no more like the one that wrote the file than none. */
TEST_F(Slots, AreNotTakenForOneThatSaysNothingOfVersions)
{
    boot_slot(1);
    vornctl("set Radio r0 channel=1");
    shut_down();
    std::filesystem::remove(in_plugins("wlan-1"));
    boot();
    vornctl("set Radio r0 channel=2");
    write_file(startup, "<?xml version=\"1.0\"?>\n<?vorn-schema wlan=\"2\"?>\n<config/>\n");

    boot_slot(1);

    EXPECT_EQ(vornctl("show generation 4 schema -q"), "unknown\n[0]\n");
}

TEST_F(Slots, AreNoOthersWhenAPluginCannotBeLoaded)
{
    use_both();
    install_plugin("old_version.vorn");
    boot_slot(1);

    EXPECT_EQ(saved(), of_second_);
    EXPECT_EQ(taken(), "\n");
}

TEST_F(Slots, LeaveTheStartupFileWhereNothingIsToBeDone)
{
    use_both();
    shut_down();
    insert_slot(1);
    boot({"-f", "-n"});

    EXPECT_EQ(saved(), of_second_);
}

/* Else the device would go to and fro for ever. */
TEST_F(Slots, DoNotTakeAgainWhatDidNotStayUp)
{
    boot_slot(1);
    vornctl("batch /dev/stdin <<'EOF'\nadd Wlan w0 chan=6\nset history proven-after=0\nEOF\n");
    boot_slot(1);
    const std::string proven = saved();
    boot_slot(2);
    vornctl("batch /dev/stdin <<'EOF'\nset Wlan w0 channel=11\nset history proven-after=\nEOF\n");
    boot_slot(2);
    for (int i = 0; i < 4; i++) {
        kill(daemon_pid(), SIGKILL);
        ASSERT_EQ(exit_status(), -SIGKILL);
        boot();
    }

    EXPECT_EQ(saved(), proven);
    EXPECT_EQ(vornctl("show Wlan w0 channel -q"), "6\n[0]\n");
}

/* Neither of what stays up, nor of the other's, with which this one never came up. */
TEST_F(Slots, CountNoBootThatSaysNothingOfAConfiguration)
{
    boot_slot(1);
    vornctl("batch /dev/stdin <<'EOF'\nadd Wlan w0 chan=6\nset history proven-after=0\nEOF\n");
    boot_slot(1);
    boot_slot(2);
    vornctl("batch /dev/stdin <<'EOF'\nset Wlan w0 channel=11\nset history proven-after=\nEOF\n");
    const std::string second = saved();

    for (int i = 0; i < 5; i++) {
        boot_slot(1);
        EXPECT_THAT(read_file("/etc/config/history/boots"), Not(HasSubstr("boots ")));
        boot_slot(2);
        ASSERT_EQ(saved(), second) << i;
    }
}

TEST_F(Slots, TakeAgainWhatStaysUpAfterAll)
{
    boot_slot(1);
    vornctl("batch /dev/stdin <<'EOF'\nadd Wlan w0 chan=6\nset history proven-after=0\nEOF\n");
    shut_down();
    shell("zcat /etc/config/history/00000002.gz | sed -n 's/^digest /failed /p' "
          ">>/etc/config/history/upgrades");
    ASSERT_THAT(read_file("/etc/config/history/upgrades"), HasSubstr("failed "));

    boot_slot(1);

    EXPECT_THAT(read_file("/etc/config/history/upgrades"), Not(HasSubstr("failed ")));
}

/* Attack. */
TEST_F(Slots, AreNotToldByAFileThatMakesNoSense)
{
    std::filesystem::create_directories("/etc/config/history");
    write_file("/etc/config/history/upgrades",
               "confirmed\nconfirmed " + std::string(300, 'x') + "\nran x\nfailed\nunsettled");
    boot_slot(1);

    EXPECT_EQ(vornctl("add Wlan w0 chan=6"), "[0]\n");
    EXPECT_THAT(vornctl("status"), HasSubstr("upgrade"));
}

} // namespace
