/* SPDX-License-Identifier: MIT */
/* The log server over TLS: what rsyslogd is told, and what becomes of syslogd. */
#include "support/device.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

constexpr char forward_file[] = "/var/run/vorn-rsyslog.conf";
constexpr char forward_command[] =
    "setpriv --reuid=nobody --regid=nogroup --clear-groups --no-new-privs --bounding-set=-all "
    "rsyslogd -n -i NONE -f /var/run/vorn-rsyslog.conf";

class LogServers : public vorn::tests::Device {
protected:
    void SetUp() override
    {
        Device::SetUp();
        for (const char *plugin : {"log.vorn", "save.vorn", "system.vorn"})
            install_plugin(plugin);
        stand_in("syslogd", "exec sleep 1000");
        stand_in("setpriv", "echo $$ >/tmp/rsyslogd\nexec sleep 1000");
        write_file(vorn::test::startup_file, "<config><log><enabled>on</enabled></log></config>");
        boot();
        ASSERT_TRUE(is_run(1));
        forget_runs();
    }

    static std::string change(const std::string &operations)
    {
        return lsql("<lsql><write-transaction>" + operations + "</write-transaction></lsql>");
    }

    static std::string set_server(const std::string &values)
    {
        return "<update><log-server>" + values + "</log-server></update>";
    }

    static testing::AssertionResult is_run(std::size_t times)
    {
        return comes_true([=] { return commands_run().size() == times; })
               << commands_run().size() << " programs were run";
    }

    static std::string server_state()
    {
        const std::string answer =
            lsql("<lsql><select><log-server><state/></log-server></select></lsql>");
        const auto begin = answer.find("<state>") + 7;
        return answer.substr(begin, answer.find("</state>") - begin);
    }

    static testing::AssertionResult server_becomes(const std::string &wanted)
    {
        return comes_true([&] { return server_state() == wanted; }) << server_state();
    }
};

TEST_F(LogServers, GetEverythingThroughRsyslogd)
{
    EXPECT_EQ(server_state(), "stopped");
    EXPECT_THAT(lsql("<explain>" + set_server("<address>log.example</address>") + "</explain>"),
                AllOf(HasSubstr("<effect weight=\"live\">rsyslogd starts</effect>"),
                      HasSubstr(">syslogd starts anew: ")));

    change(set_server("<address>log.example</address>"));

    EXPECT_TRUE(is_run(2));
    EXPECT_THAT(commands_run(),
                UnorderedElementsAre("syslogd -n -L -R 127.0.0.1:5140", forward_command));
    EXPECT_THAT(read_file(forward_file),
                AllOf(HasSubstr("\naction(type=\"omfwd\" target=\"log.example\" port=\"6514\" "),
                      HasSubstr("StreamDriverPermittedPeers=\"log.example\"\n"),
                      HasSubstr("StreamDriver.CAFile=\"/etc/ssl/certs/ca-certificates.crt\""),
                      HasSubstr("StreamDriverAuthMode=\"x509/name\"")));
    EXPECT_TRUE(server_becomes("running"));
}

TEST_F(LogServers, StandBesideTheOneWithoutTls)
{
    change(set_server("<address>192.0.2.7</address><name>log.example</name>") +
           "<update><log><remote>192.0.2.9</remote></log></update>");

    EXPECT_TRUE(is_run(2));
    EXPECT_THAT(
        commands_run(),
        UnorderedElementsAre("syslogd -n -L -R 192.0.2.9:514 -R 127.0.0.1:5140", forward_command));
    EXPECT_THAT(read_file(forward_file),
                AllOf(HasSubstr("target=\"192.0.2.7\""),
                      HasSubstr("StreamDriverPermittedPeers=\"log.example\"")));
}

TEST_F(LogServers, StartOnlyRsyslogdAnewForTheirSettings)
{
    change(set_server("<address>log.example</address>"));
    ASSERT_TRUE(is_run(2));
    forget_runs();

    change(set_server("<address>log.example</address>"));
    change(set_server("<port>514</port><authorities>/etc/ssl/log server.pem</authorities>"));

    EXPECT_TRUE(is_run(1));
    EXPECT_THAT(commands_run(), ElementsAre(forward_command));
    EXPECT_THAT(read_file(forward_file),
                AllOf(HasSubstr("port=\"514\""),
                      HasSubstr("StreamDriver.CAFile=\"/etc/ssl/log server.pem\"")));
}

TEST_F(LogServers, AreToldTheNameOfTheDevice)
{
    change(set_server("<address>log.example</address>") +
           "<update><system><hostname>attic</hostname></system></update>");
    ASSERT_TRUE(is_run(2));
    EXPECT_THAT(read_file(forward_file), HasSubstr("global(localHostname=\"attic\")\n"));
    forget_runs();

    change("<update><system><hostname>cellar</hostname></system></update>");

    EXPECT_TRUE(is_run(1));
    EXPECT_THAT(commands_run(), ElementsAre(forward_command));
}

TEST_F(LogServers, GetNothingWhenTheyAreTakenAwayOrTheLogIsSwitchedOff)
{
    change(set_server("<address>log.example</address>"));
    ASSERT_TRUE(is_run(2));
    ASSERT_TRUE(server_becomes("running"));
    forget_runs();

    change("<update><log><enabled>off</enabled></log></update>");
    EXPECT_TRUE(server_becomes("stopped"));
    EXPECT_FALSE(exists(forward_file));
    change("<update><log><enabled>on</enabled></log></update>");
    EXPECT_TRUE(server_becomes("running"));
    EXPECT_TRUE(is_run(2));
    forget_runs();
    EXPECT_THAT(lsql("<explain>" + set_server("<address/>") + "</explain>"),
                HasSubstr("<effect weight=\"interrupts\">rsyslogd ends: "));
    change(set_server("<address/>"));

    EXPECT_TRUE(server_becomes("stopped"));
    EXPECT_TRUE(is_run(1));
    EXPECT_THAT(commands_run(), ElementsAre("syslogd -n"));
}

TEST_F(LogServers, SayWhatRsyslogdSaid)
{
    stand_in("setpriv", "echo 'rsyslogd: no gtls' >&2; exit 1");

    change(set_server("<address>log.example</address>"));

    EXPECT_TRUE(server_becomes("failed: rsyslogd: no gtls"));
}

TEST_F(LogServers, LetNobodyWaitForAnRsyslogdThatHangs)
{
    change(set_server("<address>log.example</address>"));
    ASSERT_TRUE(comes_true([] { return exists("/tmp/rsyslogd"); }));
    ASSERT_TRUE(server_becomes("running"));
    ASSERT_TRUE(hang_program("cat /tmp/rsyslogd"));

    change(set_server("<port>514</port>"));

    EXPECT_EQ(server_state(), "starting: its process from before has not ended yet");
    EXPECT_TRUE(server_becomes("running"));
}

TEST_F(LogServers, HaveTheirFileWrittenAgain)
{
    change(set_server("<address>log.example</address>"));
    ASSERT_TRUE(is_run(2));
    forget_runs();
    write_file(forward_file, "");

    change("<update><system><contact>me</contact></system></update>");

    EXPECT_TRUE(is_run(1));
    EXPECT_THAT(read_file(forward_file), HasSubstr("log.example"));
}

TEST_F(LogServers, SayThatTheirFileCannotBeWritten)
{
    shell("mkdir /var/run/vorn-rsyslog.conf.new");

    change(set_server("<address>log.example</address>"));

    EXPECT_TRUE(console_shows("log: can't write /var/run/vorn-rsyslog.conf."));
    EXPECT_EQ(server_state(), "failed: can't write /var/run/vorn-rsyslog.conf");
    shell("rmdir /var/run/vorn-rsyslog.conf.new");
    change("<update><system><contact>me</contact></system></update>");
    EXPECT_TRUE(server_becomes("running"));
}

TEST_F(LogServers, AreRefusedWhenTheyCannotBe)
{
    const std::pair<std::string, const char *> wrong[] = {
        {"<address>192.0.2.7</address>", "an address alone does not say whom its certificate"},
        {"<address>a\"b</address>", ""},
        {"<address>&#10;log.example</address>", ""},
        {"<port>0</port>", ""},
        {"<name>a b</name>", ""},
        {"<authorities>ca.pem</authorities>", ""},
        {"<authorities>/a\"b</authorities>", ""},
        {"<authorities>/a\\b</authorities>", ""},
        {"<authorities>/a`b`</authorities>", ""},
        {"<authorities>/a/</authorities>", ""},
        {"<authorities>/a&#10;b</authorities>", ""},
    };
    for (const auto &[values, reason] : wrong)
        EXPECT_THAT(change(set_server(values)), AllOf(HasSubstr("<rc>1</rc>"), HasSubstr(reason)))
            << values;

    EXPECT_THAT(commands_run(), IsEmpty());
    EXPECT_FALSE(exists(forward_file));
}

TEST_F(LogServers, GetNothingThatCameInWithoutACheck)
{
    lsql("<lsql>" + set_server("<address>192.0.2.7</address>") + "</lsql>");

    EXPECT_EQ(server_state(), "failed: an address alone does not say whom its certificate names");
    EXPECT_FALSE(exists(forward_file));
    EXPECT_THAT(commands_run(), IsEmpty());
}

} // namespace
