/* SPDX-License-Identifier: MIT */
/* What was saved before: kept, shown, compared, gone back to. */

#include "core/base/file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include <sys/inotify.h>
#include <unistd.h>

#include "vornctl_device.h"

namespace {

using testing::AllOf;
using testing::ContainsRegex;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

constexpr char folder[] = "/etc/config/history";

class History : public vorn::tests::VornctlDevice {
protected:
    void SetUp() override
    {
        VornctlDevice::SetUp();
        install_plugin("history.vorn");
        boot();
    }

    static std::string files() { return shell(std::string("cd ") + folder + " && ls *.gz 2>&1"); }
    static std::string channel() { return vornctl("show Radio r0 channel -q"); }
};

TEST_F(History, BeginsWithWhatTheFirstChangeReplaced)
{
    EXPECT_EQ(vornctl("history"), "[5]\nvornctl: there is no generation yet\n");
    EXPECT_THAT(vornctl("explain set Radio r0 channel=11"), HasSubstr("as the first generation"));

    vornctl("set Radio r0 channel=11");
    EXPECT_THAT(vornctl("explain set Radio r0 channel=3"),
                Not(HasSubstr("as the first generation")));

    EXPECT_EQ(files(), "00000001.gz\n00000002.gz\n");
    EXPECT_EQ(vornctl("diff 1 2"), "  Radio \"r0\"\n-   channel = 6\n+   channel = 11\n[5]\n");
    EXPECT_EQ(shell(std::string("zcat ") + folder + "/00000002.gz | tail -n +17"),
              "\n" + shell("cat /etc/config/config.xml") + "\n");
}

TEST_F(History, TellsWhoSavedWhatAndWhy)
{
    vornctl("set Radio r0 channel=11 --comment 'less <noise>'");
    vornctl("--origin console set Radio r0 channel=1");

    EXPECT_THAT(
        vornctl("history"),
        AllOf(StartsWith("GENERATION  TIME"),
              ContainsRegex("\n2 +20[^ ]+Z +root +vornctl +vornctl +[0-9]+ +less <noise>\n"),
              ContainsRegex("\n3 +20[^ ]+Z +root +vornctl +console +[0-9]+ *\n")));
    EXPECT_THAT(vornctl("history 3"),
                AllOf(ContainsRegex("^by: root .vornctl, process [0-9]+.\nresult: done\nproviders: "
                                    "([a-z]+ 1 [0-9]+(, )?)+\n  Radio"),
                      EndsWith("  Radio \"r0\"\n-   channel = 11\n+   channel = 1\n[0]\n")));
    EXPECT_THAT(vornctl("show generation 2 commit schema state process"),
                AllOf(ContainsRegex("commit +1\n"), ContainsRegex("schema +[0-9a-f]{16}\n"),
                      ContainsRegex("state +good\n"), ContainsRegex("process +[0-9]+\n")));
    EXPECT_EQ(vornctl("show history comment -q"), "\n[0]\n");
}

TEST_F(History, KeepsWhatFailedAndHowATrialEnded)
{
    shut_down();
    install_plugin("trial.vorn");
    install_plugin("log.vorn");
    stand_in("syslogd", "echo not today >&2; exit 1");
    boot();
    vornctl("set log enabled=on --trial 60");
    ASSERT_TRUE(console_shows("not today"));
    vornctl("confirm");
    EXPECT_THAT(vornctl("history 2"),
                HasSubstr("\nresult: confirmed\nfailures: syslogd: not today\nproviders: "));

    vornctl("rollback 1");
    EXPECT_THAT(vornctl("history 3"), HasSubstr("\nresult: rolled back to generation 1\n"));
}

/* As an earlier version wrote it, without the words that there were not. */
TEST_F(History, ReadsWhatKnowsOfNoRecord)
{
    vornctl("set Radio r0 channel=11");
    shell(std::string("cd ") + folder +
          " && zcat 00000002.gz | grep -v '^result \\|^providers \\|^failures ' >/tmp/old"
          " && gzip -c /tmp/old >00000002.gz");

    EXPECT_THAT(vornctl("history 2"),
                AllOf(Not(HasSubstr("result:")),
                      EndsWith("  Radio \"r0\"\n-   channel = 6\n+   channel = 11\n[0]\n")));
    EXPECT_EQ(vornctl("show generation 2 state -q"), "good\n[0]\n");
}

TEST_F(History, SaysWhatCannotBeToldForADamagedNeighbour)
{
    vornctl("set Radio r0 channel=11");
    write_file(std::string(folder) + "/00000001.gz", "garbage");

    EXPECT_THAT(
        vornctl("history 2"),
        AllOf(HasSubstr("result: done\n"),
              HasSubstr("[1]\nvornctl: what it changed can't be told: generation 1, the one "
                        "before, is damaged: ")));
}

TEST_F(History, IsCompleted)
{
    vornctl("set Radio r0 channel=11");

    for (const char *command :
         {"history", "rollback", "explain rollback", "diff", "diff 2", "export --generation"}) {
        EXPECT_EQ(shell("vornctl complete 'vornctl " + std::string(command) + " '"), "1\n2\n")
            << command;
    }
    EXPECT_EQ(shell("vornctl complete 'vornctl rollback 1 '"), "");
}

TEST_F(History, TakesNoNoteOfASaveThatChangesNothing)
{
    vornctl("set Radio r0 channel=11");
    vornctl("set Radio r0 channel=11");
    vornctl("set history comment=nothing");

    EXPECT_EQ(files(), "00000001.gz\n00000002.gz\n");
}

TEST_F(History, IsGoneBackToInOneTransaction)
{
    vornctl("set Radio r0 channel=11");
    vornctl("add Radio r7 channel=3");
    const std::string before = shell("cat /etc/config/config.xml");
    vornctl("delete Radio r7");
    vornctl("delete Radio r0");

    EXPECT_THAT(vornctl("explain rollback 3"), HasSubstr("r7"));
    EXPECT_EQ(vornctl("show Radio r7"), "[5]\nvornctl: there is no Radio \"r7\"\n");
    EXPECT_EQ(vornctl("rollback 3"), "[0]\n");

    EXPECT_EQ(channel(), "11\n[0]\n");
    EXPECT_EQ(vornctl("diff 3"), "[0]\n");
    EXPECT_EQ(vornctl("show history rollback -q"), "\n[0]\n");
    EXPECT_EQ(files().substr(files().size() - 12), "00000006.gz\n")
        << "which is saved like any other";
}

TEST_F(History, IsGoneBackToWhateverChecksSay)
{
    vornctl("add Radio r1 channel=6");
    vornctl("set Radio r1 channel=11");
    shut_down();
    install_plugin("checks.vorn");
    boot();

    EXPECT_EQ(vornctl("rollback 2"), "[0]\n");

    EXPECT_EQ(vornctl("show Radio r1 channel -q"), "6\n[0]\n");
    EXPECT_THAT(console(), HasSubstr("Loaded in spite of this: "));
    EXPECT_THAT(console(), HasSubstr("channel 6 is taken by"));
}

TEST_F(History, RefusesWhatIsGoneOrDamaged)
{
    vornctl("set Radio r0 channel=11");
    vornctl("set Radio r0 channel=1");
    shell(std::string("printf x | dd conv=notrunc bs=1 seek=40 of=") + folder +
          "/00000002.gz 2>/dev/null");

    EXPECT_THAT(vornctl("rollback 2"), AllOf(StartsWith("[1]\n"), HasSubstr("generation 2: ")));
    EXPECT_THAT(vornctl("rollback 9"),
                AllOf(StartsWith("[1]\n"), HasSubstr("generation 9: it is not there.")));
    EXPECT_EQ(vornctl("explain rollback 9"),
              "Nothing changes.\n[1]\nvornctl: Property \"rollback\" of class \"history\": "
              "generation 9: it is not there.\n");
    EXPECT_THAT(vornctl("rollback none"), StartsWith("[2]\n"));
    EXPECT_THAT(vornctl("history"), ContainsRegex("\n2 +[0-9]* +damaged: "));
    EXPECT_THAT(vornctl("diff 2 3"), AllOf(StartsWith("[1]\n"), HasSubstr("damaged")));
    EXPECT_EQ(channel(), "1\n[0]\n");
    EXPECT_EQ(vornctl("rollback 1"), "[0]\n") << "the others stay usable";
    EXPECT_EQ(channel(), "6\n[0]\n");
}

TEST_F(History, KeepsAsManyAsItIsTold)
{
    vornctl("set history keep=2");
    for (int i = 1; i <= 5; i++)
        vornctl("set Radio r0 channel=" + std::to_string(i));

    EXPECT_EQ(files(), "00000006.gz\n00000007.gz\n");
    vornctl("set history keep=");
    vornctl("set history bytes=4096");
    for (int i = 1; i <= 3; i++)
        vornctl("set Radio r0 channel=" + std::to_string(i));
    EXPECT_EQ(files(), "00000006.gz\n00000007.gz\n00000008.gz\n00000009.gz\n00000010.gz\n"
                       "00000011.gz\n00000012.gz\n");
    EXPECT_THAT(vornctl("set history keep=1001"), StartsWith("[1]\n"));
}

TEST_F(History, KeepsThirtyTwoInAMebibyteWhenItIsToldNothing)
{
    constexpr std::size_t large = 1 << 17;
    std::string commands;
    for (int i = 0; i < 34; i++)
        commands += "vornctl set Radio r0 channel=" + std::to_string(1 + i % 2) + "; ";
    shell(commands);
    EXPECT_EQ(shell(std::string("ls ") + folder + " | grep -c gz"), "32\n");
    EXPECT_TRUE(exists(std::string(folder) + "/00000035.gz"));

    for (int i = 5; i <= 12; i++)
        write_file(std::string(folder) + "/" + std::to_string(i + 10000000).replace(0, 1, "0") +
                       ".gz",
                   std::string(large, 'x'));
    vornctl("set Radio r0 channel=3");
    EXPECT_FALSE(exists(std::string(folder) + "/00000005.gz"));
    EXPECT_TRUE(exists(std::string(folder) + "/00000006.gz"));
}

/* Beside the startup file; and what the folder is told is told once. */
TEST_F(History, WritesOneFileForEachSave)
{
    vornctl("set Radio r0 channel=11");
    const vorn::Fd watch(inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
    ASSERT_GE(inotify_add_watch(watch.get(), folder, IN_CLOSE_WRITE | IN_MOVED_TO), 0);

    vornctl("set Radio r0 channel=3");

    alignas(inotify_event) char events[4096];
    const ssize_t length = read(watch.get(), events, sizeof events);
    std::string told;
    for (ssize_t at = 0; at < length;) {
        const auto *event = reinterpret_cast<const inotify_event *>(events + at);
        told += std::string(event->name) + (event->mask == IN_MOVED_TO ? " moved\n" : " written\n");
        at += static_cast<ssize_t>(sizeof *event + event->len);
    }
    EXPECT_EQ(told, "00000003.gz.new written\n00000003.gz moved\n");
    vornctl("set Radio r0 channel=3");
    EXPECT_EQ(read(watch.get(), events, sizeof events), -1);
}

/* A comment is of the transaction that says it, and of no later save. */
TEST_F(History, GivesNoCommentToWhatWasSavedLater)
{
    write_file(startup, "<config><Radio name=\"r0\"/><Toaster/></config>");
    shut_down();
    boot();
    vornctl("set history comment=nothing");
    vornctl("set Radio r0 channel=11");
    vornctl("set Radio r0 channel=3 --comment why");
    vornctl("forget");

    EXPECT_EQ(vornctl("show generation 2 comment -q"), "\n[0]\n");
    EXPECT_EQ(vornctl("show generation 3 comment -q"), "why\n[0]\n");
    EXPECT_EQ(vornctl("show generation 4 comment -q"), "\n[0]\n");
    EXPECT_EQ(vornctl("show generation 3 commit -q"), "3\n[0]\n");
    EXPECT_EQ(vornctl("show generation 4 commit -q"), "4\n[0]\n") << "it is a deed of its own";
}

/* It speaks of a change, and goes with the first save that holds it, unless another change came. */
TEST_F(History, GivesACommentToTheSaveThatWasDoneInTheEnd)
{
    const std::string in_the_way = std::string(startup) + ".new";
    write_file(startup, "<config><Radio name=\"r0\"/><Toaster/></config>");
    shut_down();
    boot();
    std::filesystem::create_directory(in_the_way);
    EXPECT_THAT(vornctl("set Radio r0 channel=11 --comment lost"), HasSubstr("not saved"));
    std::filesystem::remove(in_the_way);
    vornctl("set Radio r0 channel=3");
    std::filesystem::create_directory(in_the_way);
    EXPECT_THAT(vornctl("set Radio r0 channel=6 --comment why"), HasSubstr("not saved"));
    std::filesystem::remove(in_the_way);
    vornctl("forget");

    EXPECT_EQ(files(), "00000001.gz\n00000002.gz\n00000003.gz\n");
    EXPECT_EQ(vornctl("show generation 2 comment -q"), "\n[0]\n");
    EXPECT_EQ(vornctl("show generation 3 comment -q"), "why\n[0]\n");
    EXPECT_THAT(vornctl("export --generation 3"), HasSubstr("<channel>6</channel>"));
}

TEST_F(History, TakesCommentsOfTwoHundredCharacters)
{
    std::string comment;
    for (int i = 0; i < 200; i++)
        comment += "\u6771";

    EXPECT_EQ(vornctl("set Radio r0 channel=11 --comment " + comment), "[0]\n");
    EXPECT_EQ(vornctl("show generation 2 comment -q"), comment + "\n[0]\n");
    EXPECT_THAT(vornctl("set Radio r0 channel=3 --comment " + comment + "a"), StartsWith("[1]\n"));
    EXPECT_THAT(vornctl("set Radio r0 channel=3 --comment " + std::string(201, 'a')),
                StartsWith("[1]\n"));
}

TEST_F(History, IsExportedWithoutTheDevice)
{
    vornctl("set Radio r0 channel=11");
    vornctl("set Radio r0 channel=1");

    EXPECT_THAT(vornctl("export --generation 2"), HasSubstr("<channel>11</channel>"));
    vornctl("export --generation 2 /tmp/two.xml");
    EXPECT_EQ(vornctl("import /tmp/two.xml"), "[0]\n");
    EXPECT_EQ(channel(), "11\n[0]\n");
    EXPECT_THAT(vornctl("export --generation 99"),
                AllOf(StartsWith("[5]\n"), HasSubstr("there is no generation 99")));
}

/* Asked for as a whole, a class shows what somebody looks at. */
TEST_F(History, TellsTheDocumentOnlyToWhoNamesIt)
{
    vornctl("set Radio r0 channel=11");
    EXPECT_THAT(lsql("<lsql><select><generation properties=\"all\"/></select></lsql>"),
                HasSubstr("<document/>"));
    EXPECT_THAT(
        lsql("<lsql><select><generation name=\"2\"><document/></generation></select></lsql>"),
        HasSubstr("&lt;channel&gt;11&lt;/channel&gt;"));
    EXPECT_THAT(lsql("<lsql><select><generation properties=\"all\"/></select></lsql>"),
                Not(HasSubstr("&lt;channel")));
}

/* It may be a secret of a plugin that is away. */
TEST_F(History, HidesWhatNobodyKnows)
{
    shut_down();
    write_file(startup, "<config><Radio name=\"r0\"><channel>6</channel><pin>1234</pin></Radio>"
                        "<Toaster name=\"t\"><pin>5678</pin></Toaster></config>");
    boot();
    vornctl("set Radio r0 channel=11");

    EXPECT_THAT(vornctl("show generation 2 document -q"),
                AllOf(HasSubstr("<channel>11</channel>"), HasSubstr("<pin>********</pin>"),
                      HasSubstr("Toaster"), Not(HasSubstr("1234")), Not(HasSubstr("5678"))));
}

/* Neither what is proven meanwhile nor what is not to be kept any longer. */
TEST_F(History, LeavesTheDiskAloneWhileSomethingIsOnTrial)
{
    install_plugin("trial.vorn");
    vornctl("set history proven-after=8");
    vornctl("set Radio r0 channel=11");
    shut_down();
    boot();
    const auto disk = [] { return shell("find /etc -type f -printf '%p %T@ %i\\n' | sort"); };
    const auto is_proven = [] {
        return shell(std::string("grep -c ^proven ") + folder + "/boots");
    };

    vornctl("set history keep=1 --trial 600");
    const std::string before = disk();
    ASSERT_TRUE(comes_true([] { return vornctl("show trial remaining -q") < "590"; }));
    EXPECT_EQ(disk(), before);
    EXPECT_EQ(is_proven(), "0\n");

    vornctl("revert");
    EXPECT_EQ(files(), "00000001.gz\n00000002.gz\n00000003.gz\n");
    EXPECT_TRUE(comes_true([&] { return is_proven() == "1\n"; }));
}

TEST_F(History, BeginsWithWhatTheFirstTrialReplaced)
{
    install_plugin("trial.vorn");
    shut_down();
    std::filesystem::remove_all("/etc/config/history"); /* which firmware ran is told there */
    boot();
    vornctl("set Radio r0 channel=11 --trial 600");
    vornctl("add Radio r7 channel=3 --join \"$(vornctl show trial id -q)\"");
    EXPECT_EQ(vornctl("history"), "[5]\nvornctl: there is no generation yet\n");
    EXPECT_THAT(vornctl("explain confirm"), Not(HasSubstr("as the first generation")));

    vornctl("confirm");

    EXPECT_EQ(files(), "00000001.gz\n00000002.gz\n");
    EXPECT_EQ(vornctl("rollback 1"), "[0]\n");
    EXPECT_EQ(channel(), "6\n[0]\n");
    EXPECT_EQ(vornctl("show Radio r7"), "[5]\nvornctl: there is no Radio \"r7\"\n");
}

TEST_F(History, SurvivesARestart)
{
    vornctl("set Radio r0 channel=11");
    shut_down();
    boot();
    vornctl("set Radio r0 channel=11");
    vornctl("set Radio r0 channel=2");

    EXPECT_EQ(files(), "00000001.gz\n00000002.gz\n00000003.gz\n");
    EXPECT_EQ(vornctl("rollback 1"), "[0]\n");
    EXPECT_EQ(channel(), "6\n[0]\n");
}

TEST_F(History, SaysWhyItCannotBeKept)
{
    install_plugin("commits.vorn");
    shut_down();
    boot();
    shell(std::string("rm -r ") + folder + "; echo in the way >" + folder);

    EXPECT_EQ(vornctl("set Radio r0 channel=11"), "[0]\n");

    EXPECT_EQ(vornctl("show history result -q"), "failed: Not a directory\n[0]\n");
    EXPECT_EQ(vornctl("show commit 1 failures -q"), "history: Not a directory\n[0]\n");
    EXPECT_THAT(shell("cat /etc/config/config.xml"), HasSubstr("<channel>11</channel>"));
}

} // namespace
