/* SPDX-License-Identifier: MIT */
/* Plugins that keep a program running: what each change does to it, and what its end does. */
#include "support/device.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <string>

#include <sys/mount.h>

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

class SupervisedPlugins : public vorn::tests::Device {
protected:
    void SetUp() override
    {
        Device::SetUp();
        for (const char *plugin : {"time.vorn", "log.vorn", "save.vorn"})
            install_plugin(plugin);
        stand_in("ntpd", "exec sleep 1000");
        stand_in("syslogd", "exec sleep 1000");
        write_file(vorn::test::startup_file,
                   "<config><time><enabled>on</enabled></time>"
                   "<ntp-server name=\"a\"><address>192.0.2.1</address></ntp-server>"
                   "<log><enabled>on</enabled></log></config>");
    }

    /* Children run their scripts a little later than they are started. */
    static testing::AssertionResult runs(const std::vector<std::string> &wanted)
    {
        return comes_true([&] { return commands_run() == wanted; });
    }

    static std::string change(const std::string &operation)
    {
        return lsql("<lsql><write-transaction>" + operation + "</write-transaction></lsql>");
    }

    static std::string value_of(const std::string &klass, const std::string &property)
    {
        const std::string answer = lsql("<lsql><select><" + klass + "><" + property + "/></" +
                                        klass + "></select></lsql>");
        const auto begin = answer.find("<" + property + ">") + property.size() + 2;
        return answer.substr(begin, answer.find("</" + property + ">") - begin);
    }

    static std::string status_of(const std::string &klass) { return value_of(klass, "status"); }

    static testing::AssertionResult state_becomes(const std::string &klass,
                                                  const std::string &wanted)
    {
        return comes_true([&] { return value_of(klass, "state") == wanted; })
               << klass << " is " << value_of(klass, "state");
    }

    /* What another client is told right after a change. */
    static std::string told_right_after(const std::string &operation, const std::string &klass)
    {
        return answer_right_after(
            "<lsql><write-transaction>" + operation + "</write-transaction></lsql>",
            "<lsql><select><" + klass + "><state/><status/></" + klass + "></select></lsql>");
    }

    void boot_and_forget()
    {
        boot();
        ASSERT_TRUE(comes_true([] { return commands_run().size() == 2; }));
        forget_runs();
    }
};

TEST_F(SupervisedPlugins, StartTheirProgramsAtBoot)
{
    boot();

    EXPECT_TRUE(comes_true([] { return commands_run().size() == 2; }));
    EXPECT_THAT(commands_run(),
                testing::UnorderedElementsAre("ntpd -n -p 192.0.2.1", "syslogd -n"));
    EXPECT_EQ(status_of("time"), "running");
    EXPECT_EQ(status_of("log"), "running");
}

TEST_F(SupervisedPlugins, StartOnlyWhatAChangeConcerns)
{
    boot_and_forget();

    change("<insert><ntp-server name=\"b\"><address>time.example</address></ntp-server></insert>");

    EXPECT_TRUE(runs({"ntpd -n -p 192.0.2.1 -p time.example"}));
    EXPECT_TRUE(comes_true([] { return shell("pgrep -c sleep") == "2\n"; }));
}

TEST_F(SupervisedPlugins, LeaveAProgramAloneThatWouldBeRunTheSame)
{
    boot_and_forget();

    change("<update><ntp-server name=\"a\"><address>192.0.2.1</address></ntp-server></update>");
    change("<update><log><remote-port>99</remote-port></log></update>");
    change("<update><log><remote>192.0.2.9</remote></log></update>");

    EXPECT_TRUE(runs({"syslogd -n -L -R 192.0.2.9:99"}));
}

TEST_F(SupervisedPlugins, EndAProgramThatIsSwitchedOff)
{
    boot_and_forget();

    change("<update><time><enabled>off</enabled></time></update>");
    EXPECT_TRUE(state_becomes("time", "stopped"));
    EXPECT_EQ(status_of("time"), "stopped");
    change("<update><log><enabled>off</enabled></log></update>");

    EXPECT_TRUE(state_becomes("log", "stopped"));
    EXPECT_EQ(status_of("log"), "stopped");
    EXPECT_TRUE(comes_true([] { return shell("pgrep -c sleep") == "0\n"; }));
    EXPECT_THAT(commands_run(), IsEmpty());
}

TEST_F(SupervisedPlugins, EndTheClockWithoutServers)
{
    boot_and_forget();

    change("<delete><ntp-server/></delete>");

    EXPECT_TRUE(state_becomes("time", "stopped"));
    EXPECT_EQ(status_of("time"), "stopped");
}

TEST_F(SupervisedPlugins, TellOthersTheTime)
{
    boot_and_forget();

    change("<update><time><serve>on</serve></time></update>");
    EXPECT_TRUE(runs({"ntpd -n -l -p 192.0.2.1"}));
    change("<update><time><serve-interface>br0</serve-interface></time></update>");
    EXPECT_TRUE(runs({"ntpd -n -l -p 192.0.2.1", "ntpd -n -l -I br0 -p 192.0.2.1"}));
    forget_runs();
    change("<update><time><serve>on</serve><serve-interface>br0</serve-interface></time></update>");
    change("<update><time><serve>off</serve></time></update>");
    EXPECT_TRUE(runs({"ntpd -n -p 192.0.2.1"}));
    forget_runs();
    change("<update><time><serve-interface/></time></update>");
    change("<delete><ntp-server/></delete>");
    EXPECT_TRUE(state_becomes("time", "stopped"));
    change("<update><time><serve>on</serve></time></update>");

    EXPECT_TRUE(runs({"ntpd -n -l"}));
}

TEST_F(SupervisedPlugins, TellNobodyTheTimeOnAnInterfaceThatIsNone)
{
    install_plugin("network.vorn");
    boot();

    EXPECT_THAT(change("<update><time><serve-interface>br-gest</serve-interface></time></update>"),
                HasSubstr("Property \"serve-interface\" of class \"time\": there is no interface"
                          " \"br-gest\""));
    EXPECT_THAT(change("<insert><interface name=\"br-guest\"><kind>bridge</kind></interface>"
                       "</insert><update><time><serve-interface>br-guest</serve-interface></time>"
                       "</update>"),
                HasSubstr("<rc>0</rc>"));
}

TEST_F(SupervisedPlugins, PassEverySettingOn)
{
    boot_and_forget();

    change("<update><log><level>5</level><remote>log.example</remote></log></update>");

    EXPECT_TRUE(runs({"syslogd -n -l 5 -L -R log.example:514"}));
}

TEST_F(SupervisedPlugins, StartAProgramAgainThatEnded)
{
    boot_and_forget();

    ASSERT_TRUE(kill_program("pgrep -x sleep | head -n 1"));

    EXPECT_TRUE(comes_true([] { return commands_run().size() == 1; }));
    EXPECT_THAT(console(), HasSubstr("has ended; it is started again in 1 s."));
    EXPECT_TRUE(
        comes_true([] { return status_of("time") + status_of("log") == "runningrunning"; }));
}

TEST_F(SupervisedPlugins, WaitLongerEachTimeAProgramFails)
{
    stand_in("ntpd", "exit 1");

    boot();

    EXPECT_TRUE(console_shows("ntpd has ended; it is started again in 1 s."));
    EXPECT_TRUE(console_shows("ntpd has ended; it is started again in 2 s."));
    EXPECT_TRUE(comes_true([] { return status_of("time") == "failed"; }));
    EXPECT_EQ(status_of("log"), "running");
}

TEST_F(SupervisedPlugins, SayThatAProgramIsMissing)
{
    set_environment("PATH", "/nowhere");

    boot();

    EXPECT_TRUE(console_shows("ntpd has ended; it is started again in 2 s."));
    EXPECT_TRUE(console_shows("syslogd has ended; it is started again in 2 s."));
    EXPECT_TRUE(comes_true([] { return status_of("time") + status_of("log") == "failedfailed"; }));
}

TEST_F(SupervisedPlugins, TryAtOnceWithAnyCommit)
{
    stand_in("ntpd", "exit 1");
    boot();
    ASSERT_TRUE(console_shows("ntpd has ended; it is started again in 4 s."));
    forget_runs();

    change("<update><log><level>5</level></log></update>");

    EXPECT_TRUE(comes_true([] { return commands_run().size() == 2; }));
    EXPECT_THAT(commands_run(),
                testing::UnorderedElementsAre("syslogd -n -l 5", "ntpd -n -p 192.0.2.1"));
}

TEST_F(SupervisedPlugins, TryAtOnceWhenTheConfigurationChanges)
{
    stand_in("ntpd", "exit 1");
    boot();
    ASSERT_TRUE(console_shows("ntpd has ended; it is started again in 2 s."));
    stand_in("ntpd", "exec sleep 1000");

    change("<update><time><enabled>on</enabled></time></update>");

    EXPECT_EQ(status_of("time"), "running");
}

TEST_F(SupervisedPlugins, TellHowTheirProgramsAreDoing)
{
    boot();

    EXPECT_THAT(value_of("log", "state"), testing::AnyOf("starting", "running"));
    EXPECT_TRUE(state_becomes("log", "running"));
    change("<update><log><enabled>off</enabled></log></update>");
    EXPECT_TRUE(state_becomes("log", "stopped"));
}

TEST_F(SupervisedPlugins, TellWhatAProgramSaidBeforeItEnded)
{
    stand_in("ntpd", "echo 'bad address'; printf 'a\\033[1m\\377<b>\\n  usage' >&2; exit 1");

    boot();

    EXPECT_TRUE(state_becomes("time", "failed: bad address; a?[1m?&lt;b&gt;; usage"));
    EXPECT_TRUE(comes_true([] { return status_of("time") == "failed"; }));
    EXPECT_THAT(console(), HasSubstr("vorn: ntpd: bad address; a?[1m?<b>; usage\n"));
}

/* Not in the one of a change that came between, and had nothing to do with it. */
TEST_F(SupervisedPlugins, TellTheRecordOfTheChangeThatStartedAProgramWhichFailed)
{
    install_plugin("commits.vorn");
    boot();
    ASSERT_TRUE(state_becomes("time", "running"));
    stand_in("ntpd", "echo 'bad address' >&2; exit 1");

    change("<update><ntp-server name=\"a\"><address>192.0.2.9</address></ntp-server></update>");

    ASSERT_TRUE(console_shows("ntpd has ended; it is started again in 1 s."));
    const auto failures_of = [](const std::string &commit) {
        return lsql("<lsql><select><commit name=\"" + commit +
                    "\"><failures/></commit></select></lsql>");
    };
    EXPECT_THAT(failures_of("1"), HasSubstr("<failures>ntpd: bad address</failures>"));
    change("<update><log><enabled>off</enabled></log></update>");
    ASSERT_TRUE(console_shows("ntpd has ended; it is started again in 2 s."));
    EXPECT_THAT(failures_of("2"), Not(HasSubstr("ntpd")));
}

TEST_F(SupervisedPlugins, NoticeAtOnceThatAProgramHasEnded)
{
    using namespace std::chrono_literals;
    stand_in("ntpd", "exit 1");

    /* It would take as long as to the first tick each time, which a busy machine does not. */
    auto quickest = std::chrono::steady_clock::duration::max();
    for (int tries = 0; tries < 5 && quickest >= 1s; tries++) {
        if (tries > 0) shut_down();
        boot();
        const auto begin = std::chrono::steady_clock::now();
        ASSERT_TRUE(console_shows("ntpd has ended; it is started again in 1 s."));
        quickest = std::min(quickest, std::chrono::steady_clock::now() - begin);
    }

    EXPECT_LT(quickest, 1s);
}

TEST_F(SupervisedPlugins, TellTheBeginningOfMuchThatAProgramSaid)
{
    stand_in("ntpd", "i=0; while [ $i -lt 3000 ]; do echo it is the line $i of many; i=$((i+1));"
                     " done; exit 1");

    boot();

    EXPECT_TRUE(comes_true([] {
        return value_of("time", "state")
            .starts_with("failed: it is the line 0 of many; it is the line 1 of many; ");
    }));
    EXPECT_LT(value_of("time", "state").size(), 300u);
}

TEST_F(SupervisedPlugins, TellWhyAProgramIsMissing)
{
    set_environment("PATH", "/nowhere");

    boot();

    EXPECT_TRUE(comes_true([] {
        return value_of("time", "state").starts_with("failed: vorn: Unable to execute \"ntpd\"");
    })) << value_of("time", "state");
}

TEST_F(SupervisedPlugins, LetNobodyWaitForAProgramThatHangs)
{
    stand_in("ntpd", "echo $$ >/tmp/ntpd; exec sleep 1000");
    boot_and_forget();
    ASSERT_TRUE(hang_program("cat /tmp/ntpd"));

    EXPECT_THAT(
        told_right_after("<update><ntp-server><address>192.0.2.7</address></ntp-server></update>",
                         "time"),
        HasSubstr("<state>starting: its process from before has not ended yet</state>"
                  "<status>stopping</status>"));

    EXPECT_TRUE(console_shows("ntpd does not end; it is killed."));
    EXPECT_TRUE(runs({"ntpd -n -p 192.0.2.7"}));
    EXPECT_TRUE(state_becomes("time", "running"));
}

TEST_F(SupervisedPlugins, EndAProgramThatHangsBesideEverythingElse)
{
    boot_and_forget();
    ASSERT_TRUE(comes_true([] { return shell("pgrep -cx sleep") == "2\n"; }));
    ASSERT_TRUE(hang_program("pgrep -x sleep"));

    EXPECT_THAT(told_right_after("<update><time><enabled>off</enabled></time></update>"
                                 "<update><log><enabled>off</enabled></log></update>",
                                 "log"),
                HasSubstr("<state>applying: it has not ended yet</state>"));

    EXPECT_TRUE(state_becomes("log", "stopped"));
    EXPECT_TRUE(state_becomes("time", "stopped"));
    EXPECT_TRUE(comes_true([] { return shell("pgrep -c sleep") == "0\n"; }));
    EXPECT_THAT(commands_run(), IsEmpty());
}

TEST_F(SupervisedPlugins, LeaveNothingBehindThatHangsWhenTheDaemonEnds)
{
    boot_and_forget();
    ASSERT_TRUE(comes_true([] { return shell("pgrep -cx sleep") == "2\n"; }));
    ASSERT_TRUE(hang_program("pgrep -x sleep"));
    change("<update><time><enabled>off</enabled></time></update>"
           "<update><log><enabled>off</enabled></log></update>");

    shut_down();

    EXPECT_TRUE(comes_true([] { return shell("pgrep -c -r S,T,R sleep") == "0\n"; }));
}

TEST_F(SupervisedPlugins, TakeTheFileThatTheLogIsWrittenTo)
{
    boot_and_forget();

    change("<update><log><file>/var/log/every thing</file></log></update>");

    EXPECT_TRUE(runs({"syslogd -n -O /var/log/every thing"}));
}

/* With a syslogd that writes to where it does by itself, or is told. */
TEST_F(SupervisedPlugins, TellWhereTheLogIs)
{
    stand_in("syslogd", "[ $# -gt 1 ] || set -- -n -O /var/log/messages; "
                        "echo \"written to $3\" >\"$3\"; exec sleep 1000");
    const auto shows = [](const std::string &text) {
        return [text] { return shell("vornctl log 2>&1") == text; };
    };
    ASSERT_EQ(mount("tmpfs", "/var/log", "tmpfs", 0, nullptr), 0);
    boot_and_forget();
    EXPECT_EQ(value_of("log", "written-to"), "/var/log/messages");
    EXPECT_TRUE(comes_true(shows("written to /var/log/messages\n")));

    change("<update><log><file>/tmp/messages</file></log></update>");

    EXPECT_EQ(value_of("log", "written-to"), "/tmp/messages");
    EXPECT_TRUE(comes_true(shows("written to /tmp/messages\n")));

    change("<update><log><enabled>off</enabled><file>/tmp/none</file></log></update>");
    EXPECT_TRUE(state_becomes("log", "stopped"));
    EXPECT_EQ(shell("vornctl log 2>&1; echo $?"),
              "vornctl: there is no log yet: \"vornctl set log enabled=on\" starts it\n5\n");
    stand_in("syslogd", "echo no disk >&2; exit 1");
    change("<update><log><enabled>on</enabled></log></update>");
    EXPECT_TRUE(comes_true(shows("vornctl: there is no log yet: failed: no disk\n")));
    shut_down();
    umount("/var/log");
}

TEST_F(SupervisedPlugins, RefuseWhatNoProgramCouldUse)
{
    boot();

    for (const char *operation :
         {"<insert><ntp-server name=\"b\"><address>a b</address></ntp-server></insert>",
          "<insert><ntp-server name=\"b\"/></insert>",
          "<update><log><level>9</level></log></update>",
          "<update><log><remote-port>0</remote-port></log></update>",
          "<update><log><level>+5</level></log></update>",
          "<update><log><remote-port>&#10;514</remote-port></log></update>",
          "<update><log><remote>&#10;10.0.0.1</remote></log></update>",
          "<insert><ntp-server name=\"b\"><address>+1.2.3.4</address></ntp-server></insert>",
          "<update><log><remote>-x</remote></log></update>",
          "<update><log><remote>256.1.1.1</remote></log></update>",
          "<insert><ntp-server name=\"b\"><address>1.2.3</address></ntp-server></insert>",
          "<update><log><file>messages</file></log></update>",
          "<update><log><file>/var/log/</file></log></update>",
          "<update><log><file>/a&#10;b</file></log></update>",
          "<update><time><serve>yes</serve></time></update>",
          "<update><time><serve-interface>-l</serve-interface></time></update>",
          "<update><time><serve-interface>a b</serve-interface></time></update>",
          "<update><time><enabled>yes</enabled></time></update>"}) {
        EXPECT_THAT(change(operation), HasSubstr("<rc>1</rc>")) << operation;
    }
}

} // namespace
