/* SPDX-License-Identifier: MIT */
/* Addresses for others: what dnsmasq is told, when it is restarted and when it only reads again. */
#include "support/device.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include <sys/stat.h>

#include "address_pools.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using vorn::tests::AddressPools;
using vorn::tests::pools_file;

constexpr char hosts_file[] = "/var/run/vorn-dnsmasq.hosts";
constexpr char lease_file[] = "/var/run/vorn-dnsmasq.leases";
constexpr char server_command[] = "dnsmasq --no-daemon --conf-file=/var/run/vorn-dnsmasq.conf";

TEST_F(AddressPools, AreWrittenAndServedAtBoot)
{
    EXPECT_THAT(commands_run(), ElementsAre(server_command));
    EXPECT_EQ(read_file(pools_file),
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
    EXPECT_THAT(read_file(pools_file),
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

    EXPECT_TRUE(comes_true([] { return !read_file("/tmp/again").empty(); }));
    EXPECT_EQ(read_file("/tmp/again"), "again\n");
    EXPECT_THAT(commands_run(), IsEmpty());
}

TEST_F(AddressPools, AreServedAgainAtOnceWithAFixedLease)
{
    stand_in("dnsmasq", "exit 1");
    ASSERT_TRUE(kill_program("cat /tmp/ready"));
    ASSERT_TRUE(console_shows("dnsmasq has ended; it is started again in 4 s."));

    change("<update><dhcp-host><address>192.168.1.21</address></dhcp-host></update>");

    EXPECT_TRUE(console_shows("dnsmasq has ended; it is started again in 1 s.", 2));
    EXPECT_EQ(read_file(hosts_file), "00:11:22:33:44:55,192.168.1.21\n");
}

TEST_F(AddressPools, EndTheirServerWhenNothingIsLeftToServe)
{
    forget_runs();

    change("<delete><dhcp-pool/></delete>");
    EXPECT_TRUE(comes_true([] { return status().find(">stopped<") != std::string::npos; }));
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
          "<update><dhcp-pool><netmask>255.0.255.0</netmask></dhcp-pool></update>",
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

    const std::string config = read_file(pools_file);
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
    EXPECT_THAT(read_file(pools_file), HasSubstr(",600\n"));
    EXPECT_THAT(status(), HasSubstr("<status>can't write dnsmasq's files</status>"));
}

TEST_F(AddressPools, AreTriedAgainWithTheNextCommitWhenTheirFilesCouldNotBeWritten)
{
    shell("mkdir /var/run/vorn-dnsmasq.conf.new");
    change("<update><dhcp-pool><lease-time>700</lease-time></dhcp-pool></update>");
    shell("rmdir /var/run/vorn-dnsmasq.conf.new");
    forget_runs();

    change("<delete><dhcp-host/></delete>");

    EXPECT_THAT(read_file(pools_file), HasSubstr(",700\n"));
    EXPECT_TRUE(comes_true([] { return commands_run().size() == 1; }));
    EXPECT_THAT(status(), HasSubstr("<status>running</status>"));
}

/* Refuses the range that no check knows to be wrong. */
constexpr char picky_server[] =
    "trap 'echo again >>/tmp/again' HUP; trap 'exit 0' TERM\n"
    "line=$(grep -n ,10.9.9.9, /var/run/vorn-dnsmasq.conf | cut -d: -f1)\n"
    "[ -z \"$line\" ] || { echo \"dnsmasq: bad dhcp-range at line $line of"
    " /var/run/vorn-dnsmasq.conf\" >&2; exit 1; }\n"
    "while :; do sleep 0.02; done";

constexpr char pool_that_is_refused[] =
    "<insert><dhcp-pool name=\"bad\"><first>10.9.9.1</first><last>10.9.9.9</last></dhcp-pool>"
    "</insert>";

TEST_F(AddressPools, ThatTheServerRefusesAreLeftOutAndTellItsWords)
{
    stand_in("dnsmasq", picky_server);

    change(std::string(pool_that_is_refused) +
           "<insert><dhcp-pool name=\"good\"><first>10.0.0.2</first><last>10.0.0.9</last>"
           "</dhcp-pool></insert>");

    EXPECT_TRUE(state_becomes("dhcp-pool", "good", "running"));
    EXPECT_THAT(state_of("dhcp-pool", "bad"),
                testing::StartsWith("failed: dnsmasq: bad dhcp-range at line "));
    EXPECT_THAT(status(), HasSubstr("<status>running</status>"));
    EXPECT_THAT(read_file(pools_file),
                testing::AllOf(HasSubstr("set:pool0,192.168.1.100"), HasSubstr("set:pool2,10.0"),
                               Not(HasSubstr("pool1"))));
    EXPECT_TRUE(console_shows("dhcp: the pool \"bad\" is left out."));

    change("<update><dhcp-pool name=\"bad\"><last>10.9.9.8</last></dhcp-pool></update>");
    EXPECT_TRUE(state_becomes("dhcp-pool", "bad", "running"));
    EXPECT_THAT(read_file(pools_file), HasSubstr("set:pool1,10.9.9.1,10.9.9.8"));
}

/* dnsmasq lets go of standard error once it has read its files, unless it is told not to. */
TEST_F(AddressPools, TellWhatTheirServerSaysWhileItServes)
{
    stand_in("dnsmasq", "case \"$*\" in *--no-daemon*) ;; *) exec 2>/dev/null ;; esac\n"
                        "echo 'dnsmasq: failed to change group-id' >&2; exit 5");

    change("<update><dhcp-pool><lease-time>700</lease-time></dhcp-pool></update>");

    EXPECT_TRUE(comes_true([] {
        return lsql("<lsql><select><dhcp><state/></dhcp></select></lsql>")
                   .find("<state>failed: dnsmasq: failed to change group-id</state>") !=
               std::string::npos;
    }));
}

TEST_F(AddressPools, NameTheirServersProcessWhileItRuns)
{
    constexpr char pid_file[] = "/var/run/vorn-dnsmasq.pid";
    EXPECT_EQ(read_file(pid_file), read_file("/tmp/ready"));

    change("<update><dhcp><enabled>off</enabled></dhcp></update>");
    EXPECT_TRUE(comes_true([&] { return !exists(pid_file); }));

    change("<update><dhcp><enabled>on</enabled></dhcp></update>");
    EXPECT_TRUE(comes_true([&] { return exists(pid_file); }));
    shut_down();
    EXPECT_FALSE(exists(pid_file));
}

TEST_F(AddressPools, WaitForTheirInterface)
{
    EXPECT_EQ(state_of("dhcp-pool", "lan"), "waiting for br0");

    shell("ip link add br0 type bridge");

    EXPECT_TRUE(state_becomes("dhcp-pool", "lan", "running"));
}

/* Attack. */
class PipedAddressPools : public AddressPools {
protected:
    void prepare() override
    {
        for (const char *path : {pools_file, hosts_file, lease_file})
            ASSERT_EQ(mkfifo(path, 0600), 0) << path;
    }
};

TEST_F(PipedAddressPools, WaitForNoPipeInThePlaceOfAFile)
{
    EXPECT_THAT(lsql("<lsql><select><dhcp-lease/></select></lsql>"), HasSubstr("<rc>0</rc>"));
    EXPECT_THAT(read_file(pools_file), HasSubstr("dhcp-leasefile="));
}
TEST_F(AddressPools, LetNobodyWaitForAServerThatHangs)
{
    ASSERT_TRUE(hang_program("cat /tmp/ready"));
    EXPECT_THAT(
        answer_right_after(
            "<lsql><write-transaction><update><dhcp-pool><lease-time>700</lease-time></dhcp-pool>"
            "</update></write-transaction></lsql>",
            "<lsql><select><dhcp><state/></dhcp></select></lsql>"),
        HasSubstr("<state>starting: its process from before has not ended yet</state>"));

    EXPECT_TRUE(console_shows("dnsmasq does not end; it is killed."));
    EXPECT_TRUE(comes_true([] { return commands_run().size() == 2; }));
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
