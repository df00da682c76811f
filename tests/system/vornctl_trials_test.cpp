/* SPDX-License-Identifier: MIT */
/* How people and scripts put a change on trial. */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <string>

#include <poll.h>
#include <pty.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include "vornctl_device.h"

namespace {

using testing::AllOf;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;
using namespace vorn::tests;

/* A vornctl on a terminal of its own. */
class Terminal {
public:
    explicit Terminal(const char *command)
    {
        child_ = forkpty(&master_, nullptr, nullptr, nullptr);
        if (child_ != 0) return;
        execl("/bin/sh", "sh", "-c", command, nullptr);
        _exit(126);
    }
    Terminal(const Terminal &) = delete;
    ~Terminal() { hang_up(); }

    bool shows(const std::string &wanted)
    {
        constexpr int patience_ms = 10000;
        while (shown_.find(wanted) == std::string::npos) {
            if (master_ < 0) return false;
            pollfd ready = {master_, POLLIN, 0};
            char piece[256];
            if (poll(&ready, 1, patience_ms) <= 0) return false;
            const ssize_t count = read(master_, piece, sizeof piece);
            if (count <= 0) return false;
            shown_.append(piece, static_cast<std::size_t>(count));
        }
        return true;
    }
    void type(char key) const { EXPECT_EQ(write(master_, &key, 1), 1); }
    void hang_up()
    {
        if (master_ >= 0) close(master_);
        master_ = -1;
    }
    void interrupt(int signal) const { kill(child_, signal); }
    int status()
    {
        while (shows("\x01")) {
        }
        int status = -1;
        waitpid(child_, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    }
    const std::string &shown() const { return shown_; }

private:
    int master_ = -1;
    pid_t child_ = -1;
    std::string shown_;
};

class TrialsByVornctl : public VornctlDevice {
protected:
    void SetUp() override
    {
        VornctlDevice::SetUp();
        install_plugin("trial.vorn");
        boot();
    }

    static std::string channel() { return shell("vornctl show -q Radio r0 channel"); }
    static std::string saved() { return read_file(vorn::test::startup_file); }
    static std::string state() { return shell("vornctl show -q trial state"); }
};

TEST_F(TrialsByVornctl, TellScriptsTheirId)
{
    const std::string id = shell("vornctl set Radio r0 channel=7 --trial 600");

    EXPECT_THAT(id, MatchesRegex("[0-9a-f]{16}\n"));
    EXPECT_EQ(channel(), "7\n");
    EXPECT_EQ(saved(), vornctl_config);
    EXPECT_EQ(vornctl("confirm " + id.substr(0, 16)), "[0]\n");
    EXPECT_THAT(saved(), HasSubstr("<channel>7</channel>"));
}

TEST_F(TrialsByVornctl, AreShownWithoutTheWordsOfThePlugin)
{
    vornctl("set Radio r0 channel=7 --trial 60");

    EXPECT_THAT(vornctl("show trial"), AllOf(HasSubstr("state      pending\n"),
                                             Not(HasSubstr("seconds")), Not(HasSubstr("noted"))));
    EXPECT_THAT(vornctl("show trial seconds"), HasSubstr("seconds"));
}

TEST_F(TrialsByVornctl, ExplainWhatIsOnTrialOnlyForATime)
{
    EXPECT_THAT(vornctl("explain set Radio r0 channel=7 --trial 60"),
                AllOf(HasSubstr("nothing is saved until it is confirmed"),
                      Not(HasSubstr("save: the configuration is saved"))));
    EXPECT_EQ(state(), "none\n");
}

TEST_F(TrialsByVornctl, ArePossibleForEveryChange)
{
    write_file("/tmp/lines", "set Radio r0 channel=3\nadd Radio r2\n");
    shell("vornctl export /tmp/exported");
    shell("sed -i 's/6/9/' /tmp/exported");
    for (const char *command :
         {"add Radio r1 channel=1", "delete Radio r0", "unset Radio r0 channel",
          "rename Radio r0 r9", "batch /tmp/lines", "import --force /tmp/exported"}) {
        EXPECT_THAT(vornctl(std::string(command) + " --trial 600"),
                    MatchesRegex("[0-9a-f]{16}\n\\[0\\]\n"))
            << command;
        EXPECT_EQ(state(), "pending\n");
        EXPECT_EQ(vornctl("revert"), "[0]\n");
        EXPECT_EQ(channel(), "6\n");
        EXPECT_EQ(shell("vornctl list Radio >/dev/null; vornctl show Radio | grep -c r0"), "1\n");
    }
}

TEST_F(TrialsByVornctl, AreConfirmedOrRevertedWithoutAnIdByAPerson)
{
    vornctl("set Radio r0 channel=7 --trial 600");
    EXPECT_EQ(vornctl("revert"), "[0]\n");
    EXPECT_EQ(channel(), "6\n");

    vornctl("set Radio r0 channel=8 --trial 600");
    EXPECT_EQ(vornctl("confirm"), "[0]\n");
    EXPECT_THAT(saved(), HasSubstr("<channel>8</channel>"));

    EXPECT_EQ(vornctl("confirm"), "[5]\nvornctl: nothing is on trial\n");
    EXPECT_EQ(vornctl("revert"), "[5]\nvornctl: nothing is on trial\n");
}

TEST_F(TrialsByVornctl, AreExplainedBeforeTheyEnd)
{
    EXPECT_EQ(vornctl("explain confirm"), "[5]\nvornctl: nothing is on trial\n");
    vornctl("set Radio r0 channel=7 --trial 600");

    EXPECT_EQ(vornctl("explain confirm"), "Nothing changes.\nWhat it does:\n"
                                          "  nothing  trial: what is on trial is saved, and stays\n"
                                          "Who is told, in this order:\n"
                                          "  trial  update trial\n"
                                          "  save   update trial\n"
                                          "  board  update trial\n"
                                          "[0]\n");
    EXPECT_THAT(vornctl("revert --explain"),
                AllOf(HasSubstr("  Radio \"r0\"\n-   channel = 7\n+   channel = 6\n"),
                      HasSubstr("the trial ends; nothing has to be saved\n"),
                      Not(HasSubstr("the configuration is"))));
    EXPECT_THAT(vornctl("explain revert 0123456789abcdef"), HasSubstr("[0]\n")) << "for a root";
    EXPECT_THAT(vornctl("explain confirm 0123456789abcdef"), HasSubstr("has another id"));

    EXPECT_EQ(state(), "pending\n");
    EXPECT_EQ(channel(), "7\n");
}

TEST_F(TrialsByVornctl, AreJoinedByTheirId)
{
    const std::string id = shell("vornctl set Radio r0 channel=7 --trial 60 | tr -d '\\n'");

    EXPECT_THAT(vornctl("add Radio r1"), AllOf(HasSubstr("[1]\n"), HasSubstr("is on trial")));
    EXPECT_EQ(vornctl("add Radio r1 --trial 900 --join " + id), id + "\n[0]\n");

    EXPECT_GT(std::stoi(shell("vornctl show -q trial remaining")), 800);
    vornctl("revert");
    EXPECT_EQ(shell("vornctl show Radio | grep -c r1"), "0\n");
}

TEST_F(TrialsByVornctl, AreRefusedWithAReason)
{
    for (const char *seconds : {"0", "4", "86401", "31536000", "x", "-5"})
        EXPECT_THAT(vornctl(std::string("set Radio r0 channel=7 --trial=") + seconds),
                    AllOf(HasSubstr("[2]\n"), HasSubstr("not in range 5 to 86400")));
    EXPECT_THAT(vornctl("set Radio r0 channel=7 --ask"), HasSubstr("--ask needs --trial"));
    EXPECT_THAT(vornctl("set Radio r0 channel=7 --trial 60 --ask"), HasSubstr("nobody to ask"));
    write_file("/tmp/lines", "set Radio r0 channel=3 --trial 60\n");
    EXPECT_THAT(vornctl("batch /tmp/lines"), HasSubstr("for all changes of a file together"));
    EXPECT_EQ(channel(), "6\n");
    EXPECT_EQ(state(), "none\n");
}

/* The configuration is back all the same, and the record tells what is not. */
TEST_F(TrialsByVornctl, EndThoughAPluginFailsOnTheWayBack)
{
    shut_down();
    install_plugin("log.vorn");
    install_plugin("commits.vorn");
    stand_in("syslogd", "while :; do sleep 0.02; done");
    boot();
    vornctl("set log enabled=on");
    const std::string before = saved();
    vornctl("set log enabled=off --trial 600");
    stand_in("syslogd", "echo not today >&2; exit 1");

    EXPECT_EQ(vornctl("revert"),
              "[7]\nvornctl: recorded, but not applied: log: failed: not today\n");

    EXPECT_EQ(state(), "none\n");
    EXPECT_EQ(shell("vornctl show -q log enabled"), "on\n");
    EXPECT_EQ(saved(), before);
    EXPECT_EQ(vornctl("show commit 3 failures -q"), "syslogd: not today\n[0]\n");
    EXPECT_EQ(vornctl("set Radio r0 channel=7 --trial 600").substr(17), "[0]\n");
}

TEST_F(TrialsByVornctl, ThatTheDiskRefusesTellSoInTheirStatus)
{
    vornctl("set Radio r0 channel=7 --trial 600");
    shell("mount --bind /etc/config /etc/config && mount -o remount,bind,ro /etc/config");

    EXPECT_THAT(vornctl("confirm"), AllOf(HasSubstr("[6]\n"), HasSubstr("it can't be saved: ")));

    EXPECT_EQ(state(), "pending\n");
    shell("umount /etc/config");
}

class RollbacksOnTrial : public TrialsByVornctl {
protected:
    void SetUp() override
    {
        VornctlDevice::SetUp();
        install_plugin("trial.vorn");
        install_plugin("history.vorn");
        boot();
        vornctl("set Radio r0 channel=7");
        vornctl("set Radio r0 channel=8");
    }
};

TEST_F(RollbacksOnTrial, GoBackTwice)
{
    EXPECT_THAT(vornctl("rollback 1 --trial 600"), HasSubstr("[0]\n"));
    EXPECT_EQ(channel(), "6\n");
    EXPECT_THAT(saved(), HasSubstr("<channel>8</channel>"));

    vornctl("revert");
    EXPECT_EQ(channel(), "8\n");
}

TEST_F(RollbacksOnTrial, KeepTheCommentOfTheirBeginning)
{
    const std::string id = vornctl("rollback 1 --trial 600 --comment why").substr(0, 16);
    vornctl("add Radio r5 --join " + id);

    EXPECT_EQ(vornctl("confirm"), "[0]\n");

    EXPECT_THAT(vornctl("history"), ContainsRegex("\n4 .* why\n"));
}

TEST_F(RollbacksOnTrial, AreRefusedWhileSomethingElseIsOnTrial)
{
    vornctl("set Radio r0 channel=9 --trial 600");

    EXPECT_THAT(vornctl("rollback 1"), AllOf(HasSubstr("[1]\n"), HasSubstr("is on trial")));

    EXPECT_EQ(channel(), "9\n");
}

constexpr char ask[] = "exec vornctl set Radio r0 channel=7 --trial 600 --ask";

TEST_F(TrialsByVornctl, AreKeptByAYes)
{
    Terminal terminal(ask);
    ASSERT_TRUE(terminal.shows("Keep these changes? [y/N] 600 s"));
    EXPECT_EQ(channel(), "7\n");
    ASSERT_TRUE(terminal.shows("[y/N] 599 s"));

    terminal.type('y');

    EXPECT_EQ(terminal.status(), 0);
    EXPECT_THAT(saved(), HasSubstr("<channel>7</channel>"));
}

struct Departure {
    const char *name;
    std::function<void(Terminal &)> go;
};

class UnansweredTrials : public TrialsByVornctl, public testing::WithParamInterface<Departure> {};

TEST_P(UnansweredTrials, AreTakenBackAtOnce)
{
    Terminal terminal(ask);
    ASSERT_TRUE(terminal.shows("Keep these changes? [y/N] "));

    GetParam().go(terminal);

    EXPECT_EQ(terminal.status(), 1);
    EXPECT_EQ(channel(), "6\n");
    EXPECT_EQ(state(), "none\n");
    EXPECT_EQ(saved().find("<channel>7"), std::string::npos);
}

INSTANTIATE_TEST_SUITE_P(
    After, UnansweredTrials,
    testing::Values(Departure{"No", [](Terminal &terminal) { terminal.type('N'); }},
                    Departure{"Enter", [](Terminal &terminal) { terminal.type('\n'); }},
                    Departure{"TheEnd", [](Terminal &terminal) { terminal.type('\x04'); }},
                    Departure{"ABreak", [](Terminal &terminal) { terminal.type('\x03'); }},
                    Departure{"TheHangUp", [](Terminal &terminal) { terminal.hang_up(); }},
                    Departure{"ASignal", [](Terminal &terminal) { terminal.interrupt(SIGTERM); }}),
    [](const auto &tested) { return tested.param.name; });

TEST_F(TrialsByVornctl, EndForWhoDoesNotAnswerInTime)
{
    Terminal terminal("exec vornctl set Radio r0 channel=7 --trial 5 --ask");

    EXPECT_EQ(terminal.status(), 1);

    EXPECT_THAT(terminal.shown(), HasSubstr("it was taken back"));
    ASSERT_TRUE(console_shows("trial: taken back.\n"));
    EXPECT_EQ(channel(), "6\n");
}

} // namespace
