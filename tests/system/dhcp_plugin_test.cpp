/* SPDX-License-Identifier: MIT */
/* Addresses for others: what dnsmasq is told, when it is started anew and when it only reads again.
 */
#include "support/device.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

constexpr char config_file[] = "/var/run/vorn-dnsmasq.conf";
constexpr char hosts_file[] = "/var/run/vorn-dnsmasq.hosts";
constexpr char lease_file[] = "/var/run/vorn-dnsmasq.leases";
constexpr char server_command[] =
    "dnsmasq --keep-in-foreground --conf-file=/var/run/vorn-dnsmasq.conf";

class AddressPools : public vorn::tests::Device {
protected:
    void SetUp() override
    {
        Device::SetUp();
        install_plugin("dhcp.vorn");
        install_plugin("save.vorn");
        /* Notes when it is told to read its files again. */
        stand_in("dnsmasq", "trap 'echo again >>/tmp/again' HUP\n"
                            "echo $$ >/var/run/vorn-dnsmasq.pid\n"
                            "while :; do sleep 0.02; done");
        write_file(vorn::test::startup_file,
                   "<config><dhcp><enabled>on</enabled></dhcp><dhcp-pool name=\"lan\">"
                   "<interface>br0</interface><first>192.168.1.100</first>"
                   "<last>192.168.1.199</last><netmask>255.255.255.0</netmask>"
                   "<gateway>192.168.1.1</gateway><dns-server>192.168.1.2</dns-server>"
                   "<lease-time>600</lease-time></dhcp-pool><dhcp-host name=\"printer\">"
                   "<mac>00:11:22:33:44:55</mac><address>192.168.1.20</address></dhcp-host>"
                   "</config>");
        boot();
        ASSERT_TRUE(comes_true([] { return exists("/var/run/vorn-dnsmasq.pid"); }));
    }

    static std::string change(const std::string &operation)
    {
        return lsql("<lsql><write-transaction>" + operation + "</write-transaction></lsql>");
    }

    static std::string status()
    {
        return lsql("<lsql><select><dhcp><status/></dhcp></select></lsql>");
    }
};

TEST_F(AddressPools, AreWrittenAndServedAtBoot)
{
    EXPECT_THAT(commands_run(), ElementsAre(server_command));
    EXPECT_EQ(read_file(config_file),
              "port=0\nbind-dynamic\nno-ping\nuser=root\n"
              "pid-file=/var/run/vorn-dnsmasq.pid\n"
              "dhcp-leasefile=/var/run/vorn-dnsmasq.leases\n"
              "dhcp-hostsfile=/var/run/vorn-dnsmasq.hosts\n"
              "interface=br0\n"
              "dhcp-range=set:pool0,192.168.1.100,192.168.1.199,255.255.255.0,600\n"
              "dhcp-option=tag:pool0,option:router,192.168.1.1\n"
              "dhcp-option=tag:pool0,option:dns-server,192.168.1.2\n");
    EXPECT_EQ(read_file(hosts_file), "00:11:22:33:44:55,192.168.1.20\n");
    EXPECT_THAT(status(), HasSubstr("<status>running</status>"));
}

TEST_F(AddressPools, StartTheirServerAnewWhenTheyChange)
{
    forget_runs();

    change("<insert><dhcp-pool name=\"guests\"><first>10.0.0.2</first><last>10.0.0.9</last>"
           "</dhcp-pool></insert>");

    EXPECT_TRUE(comes_true([] { return commands_run().size() == 1; }));
    EXPECT_THAT(read_file(config_file),
                HasSubstr("\ndhcp-range=set:pool1,10.0.0.2,10.0.0.9,3600\n"));
    EXPECT_FALSE(exists("/tmp/again"));
}

TEST_F(AddressPools, OnlyHaveFixedLeasesReadAgain)
{
    forget_runs();

    change("<insert><dhcp-host name=\"nas\"><mac>00:11:22:33:44:66</mac>"
           "<address>192.168.1.21</address></dhcp-host></insert>");

    EXPECT_TRUE(comes_true([] { return exists("/tmp/again"); }));
    EXPECT_EQ(read_file(hosts_file),
              "00:11:22:33:44:55,192.168.1.20\n00:11:22:33:44:66,192.168.1.21\n");
    EXPECT_THAT(commands_run(), IsEmpty());
}

TEST_F(AddressPools, RunNothingForValuesThatAreWrittenAgain)
{
    forget_runs();

    change("<update><dhcp><enabled>on</enabled></dhcp></update>");
    change("<update><dhcp-pool><lease-time>600</lease-time></dhcp-pool></update>");
    change("<update><dhcp-host><address>192.168.1.20</address></dhcp-host></update>");
    change("<update><dhcp-host><address>192.168.1.21</address></dhcp-host></update>");

    EXPECT_TRUE(comes_true([] { return exists("/tmp/again"); }));
    EXPECT_EQ(read_file("/tmp/again"), "again\n");
    EXPECT_THAT(commands_run(), IsEmpty());
}

TEST_F(AddressPools, AreServedAgainAtOnceWithAFixedLease)
{
    stand_in("dnsmasq", "exit 1");
    ASSERT_TRUE(kill_program("cat /var/run/vorn-dnsmasq.pid"));
    ASSERT_TRUE(console_shows("dnsmasq has ended; it is started again in 4 s."));

    change("<update><dhcp-host><address>192.168.1.21</address></dhcp-host></update>");

    EXPECT_TRUE(console_shows("dnsmasq has ended; it is started again in 1 s.", 2));
    EXPECT_EQ(read_file(hosts_file), "00:11:22:33:44:55,192.168.1.21\n");
}

TEST_F(AddressPools, EndTheirServerWhenNothingIsLeftToServe)
{
    forget_runs();

    change("<delete><dhcp-pool/></delete>");
    EXPECT_THAT(status(), HasSubstr("<status>stopped</status>"));
    change("<update><dhcp-host><address>192.168.1.22</address></dhcp-host></update>");

    EXPECT_THAT(commands_run(), IsEmpty());
    EXPECT_FALSE(exists("/tmp/again"));
}

TEST_F(AddressPools, ComeBackWhenTheyAreSwitchedOnAgain)
{
    change("<update><dhcp><enabled>off</enabled></dhcp></update>");
    change("<update><dhcp-host><address>192.168.1.22</address></dhcp-host></update>");
    forget_runs();

    change("<update><dhcp><enabled>on</enabled></dhcp></update>");

    EXPECT_TRUE(comes_true([] { return commands_run().size() == 1; }));
    EXPECT_EQ(read_file(hosts_file), "00:11:22:33:44:55,192.168.1.22\n");
}

TEST_F(AddressPools, RefuseWhatWouldBreakTheServersFiles)
{
    for (const char *operation :
         {"<insert><dhcp-pool name=\"x\"><first>10.0.0.2</first></dhcp-pool></insert>",
          "<update><dhcp-pool><first>10.0.0</first></dhcp-pool></update>",
          "<update><dhcp-pool><interface>a b</interface></dhcp-pool></update>",
          "<update><dhcp-pool><interface>a,b</interface></dhcp-pool></update>",
          "<update><dhcp-pool><lease-time>1</lease-time></dhcp-pool></update>",
          "<update><dhcp-pool><lease-time>&#10;600</lease-time></dhcp-pool></update>",
          "<update><dhcp-pool><first>&#10;10.0.0.2</first></dhcp-pool></update>",
          "<update><dhcp-host><mac>00:11</mac></dhcp-host></update>"}) {
        EXPECT_THAT(change(operation), HasSubstr("<rc>1</rc>")) << operation;
    }
}

TEST_F(AddressPools, LetNoNameIntoTheServersFiles)
{
    change("<insert><dhcp-pool name=\"x&#10;dhcp-script=/bin/sh\"><first>10.0.0.2</first>"
           "<last>10.0.0.9</last></dhcp-pool></insert>");

    const std::string config = read_file(config_file);
    EXPECT_THAT(config, HasSubstr("dhcp-range=set:pool1,10.0.0.2,10.0.0.9,3600\n"));
    EXPECT_THAT(config, Not(HasSubstr("dhcp-script")));
}

TEST_F(AddressPools, SayThatTheFilesCannotBeWritten)
{
    shell("mkdir /var/run/vorn-dnsmasq.conf.new");
    forget_runs();

    change("<update><dhcp-pool><lease-time>700</lease-time></dhcp-pool></update>");

    EXPECT_TRUE(console_shows("dhcp: can't write dnsmasq's files."));
    EXPECT_THAT(commands_run(), IsEmpty());
    EXPECT_THAT(read_file(config_file), HasSubstr(",600\n"));
    EXPECT_THAT(status(), HasSubstr("<status>can't write dnsmasq's files</status>"));
}

TEST_F(AddressPools, AreTriedAgainWithTheNextCommitWhenTheirFilesCouldNotBeWritten)
{
    shell("mkdir /var/run/vorn-dnsmasq.conf.new");
    change("<update><dhcp-pool><lease-time>700</lease-time></dhcp-pool></update>");
    shell("rmdir /var/run/vorn-dnsmasq.conf.new");
    forget_runs();

    change("<delete><dhcp-host/></delete>");

    EXPECT_THAT(read_file(config_file), HasSubstr(",700\n"));
    EXPECT_TRUE(comes_true([] { return commands_run().size() == 1; }));
    EXPECT_THAT(status(), HasSubstr("<status>running</status>"));
}

class Leases : public AddressPools {
protected:
    static std::string leases()
    {
        return lsql("<lsql><select><dhcp-lease properties=\"all\"/></select></lsql>");
    }
};

TEST_F(Leases, AreThoseThatTheServerHasNow)
{
    EXPECT_THAT(leases(), HasSubstr("<dataset/>"));

    write_file(lease_file, "1700000000 00:11:22:33:44:55 192.168.1.20 printer 01:00\n"
                           "1700000600 66:77:88:99:aa:bb 192.168.1.100 * *\n"
                           "no lease\n");
    EXPECT_THAT(leases(),
                HasSubstr("<dataset><dhcp-lease><mac>00:11:22:33:44:55</mac>"
                          "<address>192.168.1.20</address><host>printer</host>"
                          "<expires>1700000000</expires></dhcp-lease><dhcp-lease>"
                          "<mac>66:77:88:99:aa:bb</mac><address>192.168.1.100</address><host/>"
                          "<expires>1700000600</expires></dhcp-lease></dataset>"));

    write_file(lease_file, "1700000600 66:77:88:99:aa:bb 192.168.1.100 * *\n");
    EXPECT_THAT(leases(), HasSubstr("<counter>1</counter>"));
}

TEST_F(Leases, AreNotSaved)
{
    write_file(lease_file, "1700000000 00:11:22:33:44:55 192.168.1.20 printer 01:00\n");
    leases();

    change("<update><dhcp-host><address>192.168.1.22</address></dhcp-host></update>");

    const std::string saved = read_file(vorn::test::startup_file);
    EXPECT_THAT(saved, HasSubstr("192.168.1.22"));
    EXPECT_THAT(saved, Not(HasSubstr("dhcp-lease")));
}

} // namespace
