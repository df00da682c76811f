/* SPDX-License-Identifier: MIT */
/* What the client says when what was asked for is recorded, but is not what runs or is saved. */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "vornctl_states.h"

namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;
using testing::StartsWith;

using Effects = vorn::tests::VornctlStates;
using FullDevices = vorn::tests::VornctlDevice;

TEST_F(Effects, ThatAreThereEndWithZero)
{
    EXPECT_EQ(vornctl("set Program p arguments=x"), "[0]\n");
}

TEST_F(Effects, ThatFailAreNamedWithTheReason)
{
    EXPECT_EQ(vornctl("set Program p arguments=fail"),
              "[7]\nvornctl: recorded, but not applied: Program \"p\": failed: no such file\n");
    EXPECT_EQ(vornctl("add Program q arguments=wait"),
              "[7]\nvornctl: recorded, but not applied: Program \"q\": waiting for wlan0\n");
    EXPECT_EQ(vornctl("show Program q arguments"), "Program q\n  arguments  wait\n[0]\n");
}

TEST_F(Effects, OfEarlierChangesAreNobodyElsesFault)
{
    vornctl("add Program q arguments=wait");

    EXPECT_EQ(vornctl("set Program p arguments=x"), "[0]\n");
    EXPECT_EQ(vornctl("set Radio r0 mode=g"), "[0]\n");
    EXPECT_EQ(vornctl("delete Program q"), "[0]\n");
}

TEST_F(Effects, ThatTakeAMomentAreWaitedFor)
{
    EXPECT_EQ(vornctl("set Program p arguments=slow"), "[0]\n");
    EXPECT_EQ(vornctl("show Program p state -q"), "running\n[0]\n");
}

TEST_F(Effects, AreNotWaitedForWhenNobodyWantsTo)
{
    EXPECT_EQ(vornctl("set Program p arguments=hang --no-wait"),
              "[7]\nvornctl: recorded, but still in progress: Program \"p\": applying\n");
    EXPECT_EQ(vornctl("--no-wait set Program p arguments=fail"),
              "[7]\nvornctl: recorded, but not applied: Program \"p\": failed: no such file\n");
}

TEST_F(Effects, OfAFileAreLookedAtTogether)
{
    EXPECT_EQ(shell("printf 'set Program p arguments=fail\\nset Radio r0 mode=g\\n' | vornctl "
                    "batch - 2>&1; echo $?"),
              "vornctl: recorded, but not applied: Program \"p\": failed: no such file\n7\n");
}

/* Of nothing to change; what was changed before may not be there all the same. */
TEST_F(Effects, OfNothingToChangeAreLookedAtToo)
{
    EXPECT_EQ(vornctl("batch /dev/null"), "[0]\n");
    EXPECT_EQ(vornctl("add --or-set Program p"), "[0]\n");

    vornctl("set Program p arguments=fail");
    EXPECT_EQ(vornctl("add --or-set Program p"),
              "[7]\nvornctl: recorded, but not applied: Program \"p\": failed: no such file\n");
    EXPECT_EQ(vornctl("add --or-set Address lan kind=Static"), "[0]\n");

    vornctl("inform save action=fill");
    EXPECT_EQ(vornctl("batch /dev/null"),
              "[6]\nvornctl: applied, but not saved: No space left on device\n");
}

TEST_F(Effects, ThatAreNotSavedAreNoSuccess)
{
    vornctl("inform save action=fill");

    EXPECT_EQ(vornctl("set Program p arguments=x"),
              "[6]\nvornctl: applied, but not saved: No space left on device\n");
    EXPECT_EQ(vornctl("set Program p arguments=fail"),
              "[7]\nvornctl: recorded, but not applied: Program \"p\": failed: no such file\n"
              "vornctl: recorded, but not saved: No space left on device\n");
    EXPECT_EQ(vornctl("show Radio r0 channel -q"), "6\n[0]\n");
}

TEST_F(Effects, OfWhichAPartIsNotSavedAreNoSuccess)
{
    constexpr char not_saved[] = "but not saved: Program \"p\": its key: too many\n";

    EXPECT_EQ(vornctl("set Program p arguments=lose"),
              std::string("[6]\nvornctl: applied, ") + not_saved);
    EXPECT_EQ(vornctl("set Radio r0 mode=g"), "[0]\n");
    EXPECT_EQ(shell("printf 'set Program p arguments=lose\nadd Program q arguments=fail\n' | "
                    "vornctl batch - 2>&1; echo $?"),
              std::string("vornctl: recorded, ") + not_saved +
                  "vornctl: recorded, but not applied: Program \"q\": failed: no such file\n7\n");
}

TEST_F(Effects, OfAnUnreadableConfigurationAreToldUntilSomebodyDealsWithIt)
{
    vornctl("inform save action=break");
    const char *warning =
        "\\[0\\]\nvornctl: warning: this device runs without its configuration, "
        "which .* kept as /etc/config/config.xml.broken; .*forget-broken\" ends this warning\n";

    EXPECT_THAT(vornctl("set Radio r0 mode=g"), MatchesRegex(warning));
    EXPECT_THAT(vornctl("ping"), MatchesRegex(std::string("the daemon answers.*") + warning));
    EXPECT_EQ(vornctl("forget-broken"), "[0]\n");

    EXPECT_EQ(vornctl("set Radio r0 mode=g"), "[0]\n");
    EXPECT_EQ(vornctl("forget-broken"),
              "[5]\nvornctl: nothing is kept: the configuration could be read\n");
}

/* With the plugin that saves, and a file system that has no room for it. */
TEST_F(FullDevices, SayThatTheChangeIsNotSaved)
{
    boot();
    shell("mount -t tmpfs -o size=8k none /etc/config; "
          "head -c 8192 /dev/zero >/etc/config/full 2>/dev/null");

    EXPECT_EQ(vornctl("set Radio r0 mode=g"),
              "[6]\nvornctl: applied, but not saved: No space left on device\n");

    EXPECT_EQ(vornctl("export /tmp/same.xml"), "[0]\n");
    EXPECT_EQ(vornctl("import /tmp/same.xml"),
              "[6]\nvornctl: applied, but not saved: No space left on device\n");

    unlink("/etc/config/full");
    EXPECT_EQ(vornctl("set Radio r0 mode=b"), "[0]\n");
    EXPECT_EQ(vornctl("import --force /tmp/same.xml"), "[0]\n");
}

class DeviceCommands : public vorn::tests::VornctlStates {};

TEST_F(DeviceCommands, ReachThePluginsThatDoThem)
{
    EXPECT_EQ(vornctl("reboot"), "[0]\n");
    vornctl("add station mac=02:00:00:00:00:01");
    EXPECT_EQ(vornctl("kick 02:00:00:00:00:01"), "[0]\n");
    EXPECT_THAT(console(), testing::AllOf(HasSubstr("states: reboot\n"),
                                          HasSubstr("states: kick 02:00:00:00:00:01\n")));
    EXPECT_THAT(vornctl("ping"), MatchesRegex("the daemon answers after [0-9.]+ ms\n\\[0\\]\n"));
}

TEST_F(DeviceCommands, ThatNobodyDoesSaySo)
{
    shut_down();
    unlink("/usr/lib/vorn/plugins/states.vorn");
    boot();

    EXPECT_EQ(vornctl("reboot"), "[5]\nvornctl: this device can't reboot\n");
    EXPECT_EQ(vornctl("kick 02:00:00:00:00:01"),
              "[5]\nvornctl: this device can't send that station away\n");
    EXPECT_EQ(vornctl("log"), "[5]\nvornctl: this device does not tell where its log is\n");
}

TEST_F(DeviceCommands, ThatForgetEverythingAskFirst)
{
    EXPECT_EQ(vornctl("factory-reset </dev/null"),
              "[2]\nvornctl: nobody to ask: --yes says that you mean it\n");
    const auto answered = [](const std::string &answer) {
        return shell("echo " + answer +
                     " | script -qec 'vornctl factory-reset; echo $?' /dev/null");
    };

    EXPECT_THAT(answered("no"), HasSubstr("nothing was done\r\n2\r\n"));
    EXPECT_THAT(console(), Not(HasSubstr("factory reset")));

    EXPECT_THAT(answered("yes"), EndsWith("0\r\n"));
    EXPECT_TRUE(console_shows("states: factory reset"));
    EXPECT_EQ(vornctl("factory-reset --yes"), "[0]\n");
}

TEST_F(DeviceCommands, ShowTheLastLinesOfTheLog)
{
    shell("for i in $(seq 30); do echo \"Jan  1 00:00:$i vorn: line $i\"; done >/tmp/messages");

    EXPECT_EQ(vornctl("log 2"), "Jan  1 00:00:29 vorn: line 29\nJan  1 00:00:30 vorn: line 30\n"
                                "[0]\n");
    EXPECT_THAT(vornctl("log"), StartsWith("Jan  1 00:00:11 vorn: line 11\n"));
    EXPECT_THAT(vornctl("log none"), StartsWith("[2]\nLINES: Value none not in range"));
    unlink("/tmp/messages");
    EXPECT_EQ(vornctl("log"), "[2]\nvornctl: /tmp/messages: No such file or directory\n");
}

/* A door that opens late: the daemon of a device takes its time over a first configuration. */
TEST_F(DeviceCommands, WaitAMomentForADaemonThatIsStarting)
{
    shut_down();
    const std::string start = "cp /bin/sleep /tmp/vorn && { /tmp/vorn 20 & } ; starting=$!; "
                              "{ sleep 0.3; kill $starting; } & ";

    EXPECT_EQ(shell(start + "vornctl list 2>&1; echo $?"),
              "vornctl: no daemon is listening on this machine (Connection refused)\n3\n");

    boot();
    EXPECT_THAT(vornctl("ping"), EndsWith("[0]\n"));
}

class Secrets : public vorn::tests::VornctlStates {
protected:
    static std::string on_terminal(const std::string &arguments)
    {
        return shell("script -qec 'vornctl " + arguments +
                     "' /dev/null | tr -d '\\r'; cat /tmp/err 2>/dev/null");
    }
    void SetUp() override
    {
        VornctlStates::SetUp();
        EXPECT_EQ(vornctl("set Program p key=open123"), "[0]\n");
    }
};

TEST_F(Secrets, AreNotShownByADifference)
{
    write_file("/tmp/none.xml",
               "<config><Program name=\"p\"><respawn>on</respawn></Program></config>");
    write_file("/tmp/old.xml", "<config><Program name=\"p\"><key>other</key></Program></config>");
    for (const char *form : {"", "--json ", "--xml "}) {
        EXPECT_THAT(vornctl(std::string(form) + "diff /tmp/none.xml"), HasSubstr("(secret)"));
        const std::string shown = vornctl(std::string(form) + "diff /tmp/old.xml");
        EXPECT_THAT(shown, Not(HasSubstr("key"))) << "which secret it is, nobody is told";
        EXPECT_THAT(shown, Not(HasSubstr("open123")));
        EXPECT_THAT(shown, Not(HasSubstr(">other")));
    }
    EXPECT_THAT(vornctl("import --dry-run --merge /tmp/old.xml"),
                StartsWith("  Program \"p\"\n-   key = (secret)\n+   key = (another secret)\n[5]"));
}

TEST_F(Secrets, GoWithAnInstanceThatGetsAnotherName)
{
    EXPECT_EQ(vornctl("rename Program p q"), "[0]\n");
    EXPECT_THAT(vornctl("commits"), Not(HasSubstr("open123")));

    EXPECT_EQ(vornctl("show Program - key -q"), "********\n[0]\n");
}

TEST_F(Secrets, StayWhatTheyAreWhenAnExportIsImported)
{
    EXPECT_THAT(vornctl("export"), HasSubstr("<key>********</key>"));
    vornctl("export /tmp/export.xml");
    vornctl("set Program p respawn=off");

    EXPECT_EQ(vornctl("import --force /tmp/export.xml"), "[0]\n");
    EXPECT_THAT(vornctl("show Program p"), HasSubstr("********"));

    vornctl("unset Program p key");
    EXPECT_EQ(vornctl("import --force /tmp/export.xml"),
              "[0]\nvornctl: the file only says of some secrets that they were set; they are not "
              "set now\n");
}

TEST_F(Secrets, AreToldByTheDeviceToBeThereAndNoMore)
{
    EXPECT_THAT(vornctl("show Program p key"), HasSubstr("********"));

    EXPECT_THAT(on_terminal("export"), Not(HasSubstr("open123")));
    EXPECT_THAT(on_terminal("export"), HasSubstr("secrets are left out on a terminal"));
    EXPECT_THAT(on_terminal("show Program p"), HasSubstr("key        (secret)"));
    EXPECT_THAT(on_terminal("show Program p key -q"), HasSubstr("********"));
    EXPECT_THAT(on_terminal("startup --xml"), Not(HasSubstr("open123")));
}

/* Each line of it, whichever of the changes the secret came with. */
TEST_F(Secrets, AreInNoRefusalOfAWholeTransaction)
{
    const std::string said = shell("printf 'set Program p key=weak1\nadd Program q key=weak22\n' | "
                                   "vornctl batch - 2>&1; echo $?");

    EXPECT_THAT(said, Not(HasSubstr("weak")));
    EXPECT_THAT(said, HasSubstr("\"p\""));
    EXPECT_THAT(said, HasSubstr("\"q\""));
    EXPECT_THAT(said, HasSubstr("vornctl: "));
    EXPECT_THAT(said, HasSubstr("\"(secret)\" is too easy"));
    EXPECT_THAT(said, EndsWith("\n1\n"));
}

TEST_F(Secrets, AreInNoError)
{
    EXPECT_EQ(vornctl("set Program p key=far-too-long"),
              "[1]\nvornctl: set Program \"p\": Value \"********\" is not valid for property "
              "\"key\" of class \"Program\".\n");
    EXPECT_THAT(vornctl("set Program p key=" + std::string(200, 'k')), Not(HasSubstr("kkk")));
    constexpr char unquoted[] =
        "[2]\nvornctl: what follows a secret is not PROPERTY=VALUE; a value "
        "with blanks needs quotes\n";
    EXPECT_EQ(vornctl("set Program p respawn=on key=my opensesame"), unquoted);
    EXPECT_EQ(vornctl("add Program q key=my opensesame"), unquoted);
    EXPECT_EQ(vornctl("unset Program p key=opensesame"), "[2]\nvornctl: unset takes no values\n");
    EXPECT_THAT(shell("echo 'set Program p key=my opensesame' | vornctl batch - 2>&1"),
                HasSubstr("-:1: what follows a secret"));
    EXPECT_THAT(vornctl("set Program p \"key=abc$(printf '\\001')\""), Not(HasSubstr("abc")));
}

} // namespace
