/* SPDX-License-Identifier: MIT */
/* Addresses for others: what dnsmasq is told, when it is restarted and when it only reads again.
 */
#include "support/device.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include <sys/stat.h>

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

constexpr char config_file[] = "/var/run/vorn-dnsmasq.conf";
constexpr char hosts_file[] = "/var/run/vorn-dnsmasq.hosts";
constexpr char lease_file[] = "/var/run/vorn-dnsmasq.leases";
constexpr char server_command[] = "dnsmasq --no-daemon --conf-file=/var/run/vorn-dnsmasq.conf";

class AddressPools : public vorn::tests::Device {
protected:
    void SetUp() override
    {
        Device::SetUp();
        install_plugin("dhcp.vorn");
        install_plugin("save.vorn");
        /* Notes when it is told to read its files again. */
        stand_in("dnsmasq", "trap 'echo again >>/tmp/again' HUP\n"
                            "echo $$ >/tmp/ready\n"
                            "while :; do sleep 0.02; done");
        write_file(vorn::test::startup_file,
                   "<config><dhcp><enabled>on</enabled></dhcp><dhcp-pool name=\"lan\">"
                   "<interface>br0</interface><first>192.168.1.100</first>"
                   "<last>192.168.1.199</last><netmask>255.255.255.0</netmask>"
                   "<gateway>192.168.1.1</gateway><dns-server>192.168.1.2</dns-server>"
                   "<lease-time>600</lease-time></dhcp-pool><dhcp-host name=\"printer\">"
                   "<mac>00:11:22:33:44:55</mac><address>192.168.1.20</address></dhcp-host>"
                   "</config>");
        prepare();
        boot();
        ASSERT_TRUE(comes_true([] { return exists("/tmp/ready"); }));
    }

    static std::string change(const std::string &operation)
    {
        return lsql("<lsql><write-transaction>" + operation + "</write-transaction></lsql>");
    }

    /* What a test has before the device boots. */
    virtual void prepare() {}

    static std::string state_of(const std::string &klass, const std::string &name)
    {
        const std::string answer = lsql("<lsql><select><" + klass + " name=\"" + name +
                                        "\"><state/></" + klass + "></select></lsql>");
        const auto begin = answer.find("<state>") + 7;
        return answer.substr(begin, answer.find("</state>") - begin);
    }

    static testing::AssertionResult state_becomes(const std::string &klass, const std::string &name,
                                                  const std::string &wanted)
    {
        return comes_true([&] { return state_of(klass, name) == wanted; })
               << name << " is " << state_of(klass, name);
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
    EXPECT_THAT(read_file(config_file),
                testing::AllOf(HasSubstr("set:pool0,192.168.1.100"), HasSubstr("set:pool2,10.0"),
                               Not(HasSubstr("pool1"))));
    EXPECT_TRUE(console_shows("dhcp: the pool \"bad\" is left out."));

    change("<update><dhcp-pool name=\"bad\"><last>10.9.9.8</last></dhcp-pool></update>");
    EXPECT_TRUE(state_becomes("dhcp-pool", "bad", "running"));
    EXPECT_THAT(read_file(config_file), HasSubstr("set:pool1,10.9.9.1,10.9.9.8"));
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
        for (const char *path : {config_file, hosts_file, lease_file})
            ASSERT_EQ(mkfifo(path, 0600), 0) << path;
    }
};

TEST_F(PipedAddressPools, WaitForNoPipeInThePlaceOfAFile)
{
    EXPECT_THAT(lsql("<lsql><select><dhcp-lease/></select></lsql>"), HasSubstr("<rc>0</rc>"));
    EXPECT_THAT(read_file(config_file), HasSubstr("dhcp-leasefile="));
}

struct PoolFault {
    const char *name;
    const char *operation;
    const char *reason;
};

constexpr PoolFault pool_faults[] = {
    {"ThatEndBeforeTheyBegin",
     "<update><dhcp-pool name=\"lan\"><last>192.168.1.99</last></dhcp-pool></update>",
     "Property \"last\" of instance \"lan\" of class \"dhcp-pool\": the last address is before the"
     " first"},
    {"InTwoNetworks",
     "<update><dhcp-pool name=\"lan\"><last>192.168.2.9</last></dhcp-pool></update>",
     "Property \"last\" of instance \"lan\" of class \"dhcp-pool\": the first and the last address"
     " are in two networks"},
    {"ThatOverlap",
     "<insert><dhcp-pool name=\"more\"><first>192.168.1.199</first><last>192.168.1.210</last>"
     "</dhcp-pool></insert>",
     "Property \"first\" of instance \"more\" of class \"dhcp-pool\": the pool \"lan\" has some of "
     "its"
     " addresses"},
    {"OutsideTheNetworkOfTheirInterface",
     "<insert><address "
     "name=\"lan\"><kind>static-address</kind><interface>br0</interface><address>10.0.0.1</address>"
     "<prefix>24</prefix></address></insert>",
     "Property \"first\" of instance \"lan\" of class \"dhcp-pool\": no address of the interface "
     "br0"
     " is in its network"},
    {"WithOneStationTwice",
     "<insert><dhcp-host name=\"nas\"><mac>00:11:22:33:44:55</mac><address>192.168.1.21</address>"
     "</dhcp-host></insert>",
     "Property \"mac\" of instance \"nas\" of class \"dhcp-host\": the fixed lease \"printer\" is "
     "this"
     " station's"},
    {"WithOneAddressTwice",
     "<insert><dhcp-host name=\"nas\"><mac>00:11:22:33:44:66</mac><address>192.168.1.20</address>"
     "</dhcp-host></insert>",
     "Property \"address\" of instance \"nas\" of class \"dhcp-host\": the fixed lease \"printer\" "
     "has"
     " this address"},
    {"WithALeaseOfTheDevicesOwnAddress",
     "<insert><address "
     "name=\"lan\"><kind>static-address</kind><interface>br0</interface><address>192.168.1.1"
     "</address><prefix>24</prefix></address></insert>"
     "<insert><dhcp-host name=\"nas\"><mac>00:11:22:33:44:66</mac><address>192.168.1.1</address>"
     "</dhcp-host></insert>",
     "Property \"address\" of instance \"nas\" of class \"dhcp-host\": address \"lan\" of this "
     "device has it"},
    {"WithALeaseOutsideEveryNetwork",
     "<insert><dhcp-host name=\"nas\"><mac>00:11:22:33:44:66</mac><address>10.0.0.5</address>"
     "</dhcp-host></insert>",
     "Property \"address\" of instance \"nas\" of class \"dhcp-host\": it is in no network of a "
     "pool or of this device"},
    {"OfNothingButTheDevicesOwnAddress",
     "<insert><address "
     "name=\"lan\"><kind>static-address</kind><interface>br0</interface><address>192.168.1.1"
     "</address><prefix>24</prefix></address></insert>"
     "<update><dhcp-pool name=\"lan\"><first>192.168.1.1</first><last>192.168.1.1</last>"
     "</dhcp-pool></update>",
     "Property \"first\" of instance \"lan\" of class \"dhcp-pool\": this device has all of its "
     "addresses itself"},
    {"OnAnInterfaceThatIsNone",
     "<update><dhcp-pool name=\"lan\"><interface>br-gest</interface></dhcp-pool></update>",
     "Property \"interface\" of instance \"lan\" of class \"dhcp-pool\": there is no interface "
     "\"br-gest\""},
};

/* With a link for the pool, and somebody who knows of links and addresses. */
class AddressPoolsOfNetworks : public AddressPools {
protected:
    void prepare() override
    {
        shell("ip link add br0 type veth peer name cable");
        install_plugin("network.vorn");
    }
};

class AddressPoolFaults : public AddressPoolsOfNetworks,
                          public testing::WithParamInterface<PoolFault> {};

TEST_P(AddressPoolFaults, AreRefusedAndChangeNothing)
{
    const std::string before = read_file(config_file);

    EXPECT_THAT(change(GetParam().operation),
                testing::AllOf(HasSubstr("<rc>1</rc>"), HasSubstr(GetParam().reason)));

    EXPECT_EQ(read_file(config_file), before);
    EXPECT_THAT(change("<update><dhcp-pool><lease-time>700</lease-time></dhcp-pool></update>"),
                HasSubstr("<rc>0</rc>"));
}

INSTANTIATE_TEST_SUITE_P(Of, AddressPoolFaults, testing::ValuesIn(pool_faults),
                         [](const auto &each) { return std::string(each.param.name); });

TEST_F(AddressPoolsOfNetworks, KeepTheirInterface)
{
    install_plugin("schema.vorn");
    shut_down();
    boot();
    change("<insert><interface name=\"br0\"><kind>ethernet</kind></interface></insert>"
           "<insert><interface name=\"br-guest\"><kind>bridge</kind></interface></insert>");

    EXPECT_EQ(
        shell("vornctl delete interface br0 2>&1; echo $?"),
        "vornctl: Property \"interface\" of instance \"lan\" of class \"dhcp-pool\": there is "
        "no interface \"br0\".\n1\n");
    EXPECT_EQ(
        shell("vornctl set dhcp-pool lan interface=br-gest 2>&1; echo $?"),
        "vornctl: Property \"interface\" of instance \"lan\" of class \"dhcp-pool\": there is "
        "no interface \"br-gest\"; did you mean \"br-guest\"?\n1\n");
}

TEST_F(AddressPoolsOfNetworks, HaveNothingToDoWithAddressesOfTheOtherFamily)
{
    constexpr char elsewhere[] = "<insert><dhcp-host name=\"nas\"><mac>00:11:22:33:44:66</mac>"
                                 "<address>10.0.0.5</address></dhcp-host></insert>";
    change("<insert><interface name=\"br0\"><kind>ethernet</kind></interface></insert>"
           "<insert><address name=\"lan\"><kind>static-address</kind><interface>br0</interface>"
           "<address>192.168.1.1</address><prefix>24</prefix></address></insert>");

    EXPECT_THAT(change("<insert><address name=\"six\"><kind>static-ipv6-address</kind>"
                       "<interface>br0</interface><address>2001:db8::1</address>"
                       "<prefix>64</prefix></address></insert>"),
                HasSubstr("<rc>0</rc>"));
    EXPECT_THAT(change("<update><dhcp-pool><lease-time>700</lease-time></dhcp-pool></update>"),
                HasSubstr("<rc>0</rc>"));
    EXPECT_THAT(change(elsewhere), HasSubstr("it is in no network"));
}

/* What can't be known is not held against a fixed lease. */
TEST_F(AddressPoolsOfNetworks, TakeAnyFixedLeaseWhileANetworkIsNotKnown)
{
    constexpr char elsewhere[] = "<insert><dhcp-host name=\"nas\"><mac>00:11:22:33:44:66</mac>"
                                 "<address>10.0.0.5</address></dhcp-host></insert>";
    change("<insert><dhcp-pool name=\"more\"><first>172.16.0.2</first><last>172.16.0.9</last>"
           "</dhcp-pool></insert>");
    EXPECT_THAT(change(elsewhere), HasSubstr("<rc>0</rc>"));
    change("<delete><dhcp-host name=\"nas\"/></delete>");

    change("<update><dhcp-pool name=\"more\"><netmask>255.255.255.0</netmask></dhcp-pool></update>"
           "<insert><address name=\"wan\"><kind>dhcp-address</kind><interface>br0</interface>"
           "</address></insert>");
    EXPECT_THAT(change(elsewhere), HasSubstr("<rc>0</rc>"));
    change("<delete><dhcp-host name=\"nas\"/></delete>");

    change("<delete><address name=\"wan\"/></delete>");
    EXPECT_THAT(change(elsewhere), HasSubstr("it is in no network"));
}

TEST_F(AddressPoolsOfNetworks, DoNotRunWhereNobodyIsServed)
{
    constexpr char nobody[] = "waiting for an address in its network";
    EXPECT_TRUE(state_becomes("dhcp-pool", "lan", nobody));

    change("<insert><interface name=\"br0\"><kind>ethernet</kind></interface></insert>"
           "<insert><address name=\"lan\"><kind>static-address</kind><interface>br0</interface>"
           "<address>192.168.1.1</address><prefix>24</prefix></address></insert>"
           "<insert><dhcp-pool name=\"other\"><first>10.0.0.2</first><last>10.0.0.9</last>"
           "</dhcp-pool></insert>");
    EXPECT_TRUE(state_becomes("dhcp-pool", "lan", "running"));
    EXPECT_EQ(state_of("dhcp-pool", "other"), nobody);

    change("<insert><address name=\"other\"><kind>static-address</kind><interface>br0</interface>"
           "<address>10.0.0.1</address><prefix>24</prefix></address></insert>");
    EXPECT_TRUE(state_becomes("dhcp-pool", "other", "running"));
}

TEST_F(AddressPools, ThatCameInWithoutACheckAreLeftOut)
{
    lsql("<lsql><insert><dhcp-pool name=\"bad\"><first>10.0.0.9</first><last>10.0.0.2</last>"
         "</dhcp-pool></insert></lsql>");

    EXPECT_EQ(state_of("dhcp-pool", "bad"), "failed: the last address is before the first");
    EXPECT_THAT(read_file(config_file), Not(HasSubstr("10.0.0.9")));
    EXPECT_THAT(change("<update><dhcp-pool name=\"lan\"><lease-time>700</lease-time></dhcp-pool>"
                       "</update>"),
                HasSubstr("<rc>0</rc>"));
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
