/* SPDX-License-Identifier: MIT */
/* Two firmwares on one device: each starts with what it wrote, whatever the other has done. */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <iterator>
#include <string>

#include "vornctl_device.h"

namespace {

using testing::AllOf;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

class Slots : public vorn::tests::VornctlDevice {
protected:
    void SetUp() override
    {
        VornctlDevice::SetUp();
        install_plugin("history.vorn");
        install_plugin("plugins.vorn");
        install_plugin("versions.vorn");
        std::filesystem::copy_file(in_plugins("versions"), versions);
        std::filesystem::remove(in_plugins("versions"));
    }

    /* The firmware with that version of the plugin. */
    void boot_slot(int version)
    {
        if (daemon_pid() > 0) shut_down();
        insert_slot(version);
        boot();
    }

    static void insert_slot(int version)
    {
        for (int each = 1; each <= 3; each++)
            std::filesystem::remove(in_plugins("wlan-" + std::to_string(each)));
        std::filesystem::copy_file(versions, in_plugins("wlan-" + std::to_string(version)));
    }

    static std::string in_plugins(const std::string &name)
    {
        return "/usr/lib/vorn/plugins/" + name + ".vorn";
    }

    static std::string saved() { return read_file(startup); }
    static std::string upgrade() { return shell("vornctl show history upgrade -q"); }
    static std::string taken() { return shell("vornctl show history taken -q"); }

    /* The first slot has saved channel 6, the second one 11. */
    void use_both()
    {
        boot_slot(1);
        vornctl("add Wlan w0 chan=6");
        of_first_ = saved();
        boot_slot(2);
        vornctl("set Wlan w0 channel=11");
        of_second_ = saved();
    }

    std::string of_first_;
    std::string of_second_;
    static constexpr char versions[] = "/tmp/versions.vorn";
};

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
    vornctl("set Wlan w0 channel=9");
    EXPECT_EQ(vornctl("show generation 2"), "[5]\nvornctl: there is no generation \"2\"\n");
    EXPECT_EQ(vornctl("confirm --upgrade"), "[5]\nvornctl: this firmware is confirmed\n");

    boot_slot(2);
    EXPECT_EQ(upgrade(), "none\n");
    boot_slot(1);
    EXPECT_EQ(upgrade(), "pending\n");
    EXPECT_THAT(taken(), StartsWith("the saved configuration is of a newer firmware and is read as "
                                    "it is: there is none that this one wrote"));
}

/* What is on trial goes with the next reset, and so would have to what was confirmed in it. */
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

    EXPECT_EQ(shell("for i in $(seq 100); do vornctl show history upgrade -q | grep confirmed && "
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

TEST_F(Slots, HearThatTheNewestIsWantedFromTheirSettingsAlone)
{
    use_both();
    boot_slot(1);
    shell("sed -i 's|</config>|<X><other-slot>newest</other-slot></X></config>|' " +
          std::string(startup));
    boot_slot(2);
    EXPECT_EQ(saved(), of_second_);
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

/* No plugin tells a version: nothing but the schemas tells one firmware from another. */
class Others : public Slots {
protected:
    /* One that has the plugin, one that has not. */
    void boot_other(bool has_plugin)
    {
        if (daemon_pid() > 0) shut_down();
        std::filesystem::remove(in_plugins("plugins"));
        if (has_plugin) install_plugin("plugins.vorn");
        boot();
    }

    static std::string of_generation(const std::string &number, const std::string &property)
    {
        return shell("vornctl show generation " + number + " " + property + " -q 2>&1");
    }
};

TEST_F(Others, KeepWhatTheFirstOneRanOnBeforeTheyFirstSave)
{
    const std::string delivered = read_file(startup);
    boot_other(false);
    boot_other(true);
    vornctl("set Radio r0 channel=1");

    EXPECT_EQ(shell("zcat /etc/config/history/00000001.gz | tail -n1"), delivered + "\n");
    EXPECT_EQ(of_generation("1", "pinned"), "yes\n");
    EXPECT_EQ("ran " + of_generation("1", "schema"),
              shell("sed -n 's/^\\(ran [^ ]*\\).*/\\1/p' /etc/config/history/upgrades"));
    EXPECT_THAT(of_generation("3", "schema"), HasSubstr("there is no generation"));
}

/* There is room for five. */
TEST_F(Others, KeepWhatTheConfirmedOneSavedHoweverManyThereAre)
{
    const std::string names[] = {"plugins", "trial", "commits"};
    for (unsigned int firmware = 0; firmware < 7; firmware++) {
        if (daemon_pid() > 0) shut_down();
        for (unsigned int i = 0; i < std::size(names); i++) {
            std::filesystem::remove(in_plugins(names[i]));
            if ((firmware >> i & 1) != 0) install_plugin(names[i] + ".vorn");
        }
        boot();
        if (firmware < 6) vornctl("set Radio r0 channel=" + std::to_string(firmware + 1));
    }

    EXPECT_EQ(of_generation("2", "pinned"), "yes\n");
    EXPECT_EQ(of_generation("3", "pinned"), "no\n");
    EXPECT_EQ(of_generation("4", "pinned"), "yes\n");
}

/* As a power cut in a save leaves it: a configuration of either, whose generation is missing. */
TEST_F(Others, AreNotTakenForWhoWroteWhatMayBeTheirOwn)
{
    boot_other(true);
    vornctl("set Radio r0 channel=1");
    boot_other(false);
    vornctl("set Radio r0 channel=2");
    std::filesystem::remove("/etc/config/history/00000003.gz");

    boot_other(false);

    EXPECT_EQ(of_generation("3", "schema"), "unknown\n");
    EXPECT_EQ(of_generation("3", "pinned"), "yes\n");
    EXPECT_EQ(of_generation("2", "pinned"), "yes\n");
}

TEST_F(Others, KeepNothingOfTheirOwnThatSomebodyHasEdited)
{
    boot_other(true);
    vornctl("set Radio r0 channel=1");
    boot_other(false);
    vornctl("set Radio r0 channel=2");
    shell("sed -i 's/>2</>3</' /etc/config/config.xml");

    boot_other(false);

    EXPECT_THAT(of_generation("4", "schema"), HasSubstr("there is no generation"));
}

/* While it is open which firmware stays: each content once, however often the device starts. */
TEST_F(Others, KeepWhatSomebodyEditsOncePerContent)
{
    boot_other(false);
    boot_other(true);
    const auto boot_with = [&](const char *channel) {
        shell("sed -i 's|<channel>[0-9]*<|<channel>" + std::string(channel) + "<|' " + startup);
        boot_other(true);
        return shell("ls /etc/config/history | grep -c gz");
    };
    EXPECT_EQ(boot_with("3"), "2\n");
    EXPECT_EQ(boot_with("3"), "2\n");
    EXPECT_EQ(boot_with("4"), "3\n");
    EXPECT_EQ(boot_with("3"), "3\n");
    EXPECT_EQ(upgrade(), "pending\n");
}

/* The flash wears out. */
TEST_F(Others, NoteNothingThatTheHistoryTellsAnyway)
{
    boot_other(true);
    vornctl("set Radio r0 channel=1");
    const std::string noted = read_file("/etc/config/history/upgrades");

    boot_other(true);

    EXPECT_EQ(read_file("/etc/config/history/upgrades"), noted);
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
