/* SPDX-License-Identifier: MIT */
/* What else is told to those who get an address: which lines that makes for dnsmasq. */
#include "support/device.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

constexpr char file_of_options[] = "/var/run/vorn-dnsmasq.conf";

class AddressOptions : public vorn::tests::Device {
protected:
    void SetUp() override
    {
        Device::SetUp();
        install_plugin("dhcp.vorn");
        install_plugin("save.vorn");
        stand_in("dnsmasq", "echo $$ >/tmp/ready\nexec sleep 1000");
        write_file(vorn::test::startup_file,
                   "<config><dhcp><enabled>on</enabled></dhcp><dhcp-pool name=\"lan\">"
                   "<first>192.168.1.100</first><last>192.168.1.199</last></dhcp-pool>"
                   "<dhcp-pool name=\"guests\"><first>10.0.0.2</first><last>10.0.0.9</last>"
                   "</dhcp-pool></config>");
        boot();
        ASSERT_TRUE(comes_true([] { return exists("/tmp/ready"); }));
        forget_runs();
    }

    static std::string change(const std::string &operations)
    {
        return lsql("<lsql><write-transaction>" + operations + "</write-transaction></lsql>");
    }

    static std::string option(const std::string &name, const std::string &code,
                              const std::string &kind, const std::string &value,
                              const std::string &pool = "")
    {
        return "<insert><dhcp-option name=\"" + name + "\"><pool>" + pool + "</pool><code>" + code +
               "</code><kind>" + kind + "</kind><value>" + value +
               "</value></dhcp-option></insert>";
    }

    static std::string state_of_option(const std::string &name)
    {
        const std::string answer = lsql("<lsql><select><dhcp-option name=\"" + name +
                                        "\"><state/></dhcp-option></select></lsql>");
        const auto begin = answer.find("<state>") + 7;
        return answer.substr(begin, answer.find("</state>") - begin);
    }
};

TEST_F(AddressOptions, AreLinesThatLeaveNoChoice)
{
    change(option("a", "42", "addresses", "192.168.1.1  192.168.1.2", "guests") +
           option("b", "15", "text", "a, b # 12") + option("c", "23", "number8", "64", "lan") +
           option("d", "26", "number16", "1400") + option("e", "24", "number32", "70000") +
           option("f", "43", "hexadecimal", "01:0A:ff"));

    EXPECT_THAT(read_file(file_of_options),
                HasSubstr("dhcp-option=tag:pool1,42,192.168.1.1,192.168.1.2 # option0\n"
                          "dhcp-option=15,\"a, b # 12\" # option1\n"
                          "dhcp-option=tag:pool0,23,64b # option2\n"
                          "dhcp-option=26,1400s # option3\n"
                          "dhcp-option=24,70000i # option4\n"
                          "dhcp-option=43,01:0A:ff # option5\n"));
    EXPECT_TRUE(comes_true([] { return commands_run().size() == 1; }));
    EXPECT_EQ(state_of_option("a"), "applied");
}

TEST_F(AddressOptions, AreTakenByTheRealServer)
{
    if (!exists("/usr/sbin/dnsmasq")) GTEST_SKIP() << "dnsmasq is not installed";
    change(option("a", "42", "addresses", "192.168.1.1 192.168.1.2", "guests") +
           option("b", "15", "text", "12") + option("c", "23", "number8", "64", "lan") +
           option("d", "26", "number16", "1400") + option("e", "24", "number32", "4294967295") +
           option("f", "43", "hexadecimal", "01:0A:ff") +
           option("g", "119", "text", "home.example"));

    EXPECT_THAT(shell("/usr/sbin/dnsmasq --test -C /var/run/vorn-dnsmasq.conf 2>&1"),
                HasSubstr("syntax check OK"));
}

TEST_F(AddressOptions, StartTheServerAnewOnlyWhenTheyChange)
{
    change(option("a", "26", "number16", "1400"));
    ASSERT_TRUE(comes_true([] { return commands_run().size() == 1; }));
    forget_runs();

    change("<update><dhcp-option name=\"a\"><value>1400</value></dhcp-option></update>");
    change("<update><dhcp-option name=\"a\"><value>1300</value></dhcp-option></update>");
    ASSERT_TRUE(comes_true([] { return commands_run().size() == 1; }));
    EXPECT_THAT(lsql("<explain><delete><dhcp-option name=\"a\"/></delete></explain>"),
                HasSubstr("<effect weight=\"interrupts\">dnsmasq starts anew: "));
    change("<delete><dhcp-option name=\"a\"/></delete>");

    EXPECT_TRUE(comes_true([] { return commands_run().size() == 2; }));
    EXPECT_THAT(read_file(file_of_options), Not(HasSubstr("dhcp-option")));
}

TEST_F(AddressOptions, AreRefusedWhenTheyCannotBeTold)
{
    const std::string before = read_file(file_of_options);
    const std::pair<std::string, const char *> wrong[] = {
        {option("a", "42", "addresses", "192.168.1"), "it is no list of IP addresses"},
        {option("a", "42", "addresses", " "), "it is no list of IP addresses"},
        {option("a", "42", "text", "pool.ntp.org"), "option 42 has addresses"},
        {option("a", "15", "text", "a\"b"), "it is no text without quotation marks"},
        {option("a", "15", "text", "a\\b"), "it is no text without quotation marks"},
        {option("a", "15", "text", "a&#10;dhcp-script=/bin/sh"), "<rc>1</rc>"},
        {option("a", "15", "text", ""), "<rc>1</rc>"},
        {option("a", "23", "number8", "256"), "it is no number up to 255"},
        {option("a", "26", "number16", "+4"), "it is no number up to 65535"},
        {option("a", "26", "number16", "65536"), "it is no number up to 65535"},
        {option("a", "24", "number32", "4294967296"), "it is no number up to 4294967295"},
        {option("a", "43", "hexadecimal", "01"), "it is no two to 80 bytes"},
        {option("a", "43", "hexadecimal", "01:"), "it is no two to 80 bytes"},
        {option("a", "43", "hexadecimal", "01:0g"), "it is no two to 80 bytes"},
        {option("a", "26", "wide", "1"), "<rc>1</rc>"},
        {option("a", "0", "number8", "1"), "<rc>1</rc>"},
        {option("a", "255", "number8", "1"), "<rc>1</rc>"},
        {option("a", "3", "addresses", "192.168.1.1"), "it is set by the pool's gateway"},
        {option("a", "54", "addresses", "192.168.1.1"), "it is set by the protocol"},
        {option("a", "26", "number16", "1400", "attic"), "there is no dhcp-pool \"attic\""},
        {option("a", "26", "number16", "1400") + option("b", "26", "number16", "1300"),
         "instance \"b\" of class \"dhcp-option\": the option \"a\" tells it to the same ones"},
        {"<insert><dhcp-option name=\"a\"><code>26</code><kind>number16</kind></dhcp-option>"
         "</insert>",
         "<rc>1</rc>"},
    };
    for (const auto &[operations, reason] : wrong)
        EXPECT_THAT(change(operations), AllOf(HasSubstr("<rc>1</rc>"), HasSubstr(reason)))
            << operations;
    EXPECT_THAT(change(option("a", "26", "number16", "1400", "lan") +
                       "<delete><dhcp-pool name=\"lan\"/></delete>"),
                HasSubstr("there is no dhcp-pool \"lan\""));

    EXPECT_EQ(read_file(file_of_options), before);
    EXPECT_THAT(commands_run(), IsEmpty());
}

TEST_F(AddressOptions, OfOnePoolAndOfAllGoTogether)
{
    EXPECT_THAT(change(option("a", "26", "number16", "1400", "lan") +
                       option("b", "26", "number16", "1300", "guests") +
                       option("c", "26", "number16", "1200")),
                HasSubstr("<rc>0</rc>"));
}

TEST_F(AddressOptions, ThatCameInWithoutACheckAreLeftOut)
{
    lsql("<lsql>" + option("bad", "26", "number16", "many") + "</lsql>");

    EXPECT_EQ(state_of_option("bad"), "failed: it is no number up to 65535");
    EXPECT_THAT(read_file(file_of_options), Not(HasSubstr("many")));
}

/* With another server than the checks know of. */
TEST_F(AddressOptions, ThatTheServerRefusesAreLeftOutAndTellItsWords)
{
    stand_in("dnsmasq", "line=$(grep -n ,1300s /var/run/vorn-dnsmasq.conf | cut -d: -f1)\n"
                        "[ -z \"$line\" ] || { echo \"dnsmasq: bad dhcp-option at line $line of"
                        " /var/run/vorn-dnsmasq.conf\" >&2; exit 1; }\nexec sleep 1000");

    change(option("good", "23", "number8", "64", "lan") +
           option("bad", "26", "number16", "1300", "lan"));

    EXPECT_TRUE(console_shows("dhcp: the option \"bad\" is left out."));
    EXPECT_TRUE(comes_true([] {
        return state_of_option("bad").starts_with("failed: dnsmasq: bad dhcp-option at line ");
    })) << state_of_option("bad");
    EXPECT_EQ(state_of_option("good"), "applied");
    EXPECT_THAT(read_file(file_of_options),
                AllOf(HasSubstr("set:pool0,"), HasSubstr("64b"), Not(HasSubstr("1300"))));

    change("<update><dhcp-option name=\"bad\"><value>1200</value></dhcp-option></update>");
    EXPECT_TRUE(comes_true([] { return state_of_option("bad") == "applied"; }));
    EXPECT_THAT(read_file(file_of_options), HasSubstr("1200s"));
}

TEST_F(AddressOptions, LetNoNameIntoTheServersFile)
{
    change(option("x&#10;dhcp-script=/bin/sh", "26", "number16", "1400"));

    EXPECT_THAT(read_file(file_of_options),
                AllOf(HasSubstr("dhcp-option=26,1400s # option0\n"), Not(HasSubstr("script"))));
}

/* br0 and eth0 are links; br0 has an address whose network can be announced. */
class Announcements : public vorn::tests::Device {
protected:
    void SetUp() override
    {
        Device::SetUp();
        install_plugin("dhcp.vorn");
        install_plugin("save.vorn");
        stand_in("dnsmasq", "echo $$ >/tmp/ready\nexec sleep 1000");
        shell("ip link add br0 type bridge && ip link set br0 up && "
              "ip link add eth0 type veth peer name to-eth0 && ip link set eth0 up && "
              "ip addr add 2001:db8::1/64 dev br0 nodad");
        write_file(vorn::test::startup_file, "<config><dhcp><enabled>on</enabled></dhcp>" +
                                                 announced("lan", "br0") + "</config>");
        boot();
        ASSERT_TRUE(comes_true([] { return exists("/tmp/ready"); }));
        forget_runs();
    }

    static std::string announced(const std::string &name, const std::string &link,
                                 const std::string &values = "")
    {
        return "<ipv6-announcement name=\"" + name + "\"><interface>" + link + "</interface>" +
               values + "</ipv6-announcement>";
    }

    static std::string change(const std::string &operations)
    {
        return lsql("<lsql><write-transaction>" + operations + "</write-transaction></lsql>");
    }

    static std::string add(const std::string &values)
    {
        return change("<insert>" + announced("x", "eth0", values) + "</insert>");
    }

    static std::string set(const std::string &values)
    {
        return change("<update><ipv6-announcement name=\"lan\">" + values +
                      "</ipv6-announcement></update>");
    }

    static std::string state_of_announcement(const std::string &name)
    {
        const std::string answer = lsql("<lsql><select><ipv6-announcement name=\"" + name +
                                        "\"><state/></ipv6-announcement></select></lsql>");
        const auto begin = answer.find("<state>") + 7;
        return answer.substr(begin, answer.find("</state>") - begin);
    }
};

TEST_F(Announcements, AreServedWithoutAnyPool)
{
    EXPECT_THAT(read_file(file_of_options),
                HasSubstr("interface=br0\n"
                          "dhcp-range=::,constructor:br0,ra-only,64,3600 # announcement0\n"
                          "enable-ra\n"));
    EXPECT_TRUE(comes_true([] { return state_of_announcement("lan") == "running"; }));
}

TEST_F(Announcements, SayHowNeighboursComeByAddresses)
{
    set("<mode>stateless</mode><dns-servers>2001:db8::53 fd00::53</dns-servers>"
        "<lease-time>600</lease-time>");
    add("<mode>stateful</mode><first>::100</first><last>::1ff</last>");

    EXPECT_THAT(
        read_file(file_of_options),
        AllOf(HasSubstr("dhcp-range=::,constructor:br0,ra-stateless,64,600 # announcement0\n"
                        "dhcp-option=tag:br0,option6:dns-server,[2001:db8::53],[fd00::53] # "
                        "announcement0\n"),
              HasSubstr("interface=eth0\n"
                        "dhcp-range=::100,::1ff,constructor:eth0,64,3600 # announcement1\n")));
    EXPECT_TRUE(comes_true([] {
        return state_of_announcement("x") == "waiting for an IPv6 address there";
    })) << state_of_announcement("x");
    if (!exists("/usr/sbin/dnsmasq")) GTEST_SKIP() << "dnsmasq is not installed";
    EXPECT_THAT(shell("/usr/sbin/dnsmasq --test -C /var/run/vorn-dnsmasq.conf 2>&1"),
                HasSubstr("syntax check OK"));
}

TEST_F(Announcements, LeavePoolsWhereTheyAreServed)
{
    change(
        "<insert><dhcp-pool name=\"all\"><first>10.0.0.2</first><last>10.0.0.9</last></dhcp-pool>"
        "</insert>");
    EXPECT_THAT(read_file(file_of_options), Not(HasSubstr("interface=")));

    change("<update><dhcp-pool name=\"all\"><interface>eth0</interface></dhcp-pool></update>");
    EXPECT_THAT(read_file(file_of_options),
                AllOf(HasSubstr("interface=eth0\n"), HasSubstr("interface=br0\n")));
}

TEST_F(Announcements, StartTheServerAnewOnlyWhenTheyChange)
{
    set("<interface>br0</interface>");
    set("<lease-time>600</lease-time>");
    ASSERT_TRUE(comes_true([] { return commands_run().size() == 1; }));
    EXPECT_THAT(lsql("<explain><update><ipv6-announcement name=\"lan\"><mode>stateless</mode>"
                     "</ipv6-announcement></update></explain>"),
                HasSubstr("<effect weight=\"interrupts\">dnsmasq starts anew: "));

    change("<delete><ipv6-announcement/></delete>");

    EXPECT_TRUE(comes_true([] { return shell("pgrep -c -x sleep") == "0\n"; }));
    EXPECT_EQ(commands_run().size(), 1);
}

TEST_F(Announcements, AreRefusedWhenTheyCannotBeServed)
{
    std::string many;
    while (many.size() <= 255)
        many += "2001:db8::53 ";
    const std::pair<std::string, const char *> wrong[] = {
        {set("<interface>eth77</interface><mode>sla</mode>"), "<rc>1</rc>"},
        {set("<mode>stateful</mode>"), "addresses are given from there on"},
        {set("<mode>stateful</mode><first>::1</first>"), "addresses are given up to there"},
        {set("<mode>stateful</mode><first>::2</first><last>::1</last>"),
         "it comes before the first one"},
        {set("<first>2001:db8::1</first>"), "What follows the network is ::100"},
        {set("<first>::</first>"), "What follows the network is ::100"},
        {set("<dns-servers>192.0.2.1</dns-servers>"), "An IPv6 address is 2001:db8::1."},
        {set("<dns-servers>2001:db8::53&#10;dhcp-script=x</dns-servers>"), "<rc>1</rc>"},
        {set("<dns-servers>" + many + "</dns-servers>"), "<rc>1</rc>"},
        {set("<lease-time>119</lease-time>"), "<rc>1</rc>"},
        {change("<insert>" + announced("y", "br0") + "</insert>"),
         "\"lan\" announces its networks already"},
    };
    for (const auto &[answer, reason] : wrong)
        EXPECT_THAT(answer, AllOf(HasSubstr("<rc>1</rc>"), HasSubstr(reason)));
    EXPECT_THAT(commands_run(), IsEmpty());
}

TEST_F(Announcements, ThatCameInWithoutACheckAreLeftOut)
{
    lsql("<lsql><insert>" + announced("y", "br0") + "</insert></lsql>");

    EXPECT_EQ(state_of_announcement("y"), "failed: \"lan\" announces its networks already");
    EXPECT_THAT(read_file(file_of_options), Not(HasSubstr("announcement1")));
}

/* With another server than the checks know of. */
TEST_F(Announcements, ThatTheServerRefusesAreLeftOutAndTellItsWords)
{
    stand_in("dnsmasq",
             "line=$(grep -n constructor:eth0 /var/run/vorn-dnsmasq.conf | cut -d: -f1)\n"
             "[ -z \"$line\" ] || { echo \"dnsmasq: bad dhcp-range at line $line of"
             " /var/run/vorn-dnsmasq.conf\" >&2; exit 1; }\nexec sleep 1000");

    add("");

    EXPECT_TRUE(console_shows("dhcp: the announcement \"x\" is left out."));
    EXPECT_TRUE(comes_true([] {
        return state_of_announcement("x").starts_with("failed: dnsmasq: bad dhcp-range at line ");
    })) << state_of_announcement("x");
    EXPECT_TRUE(comes_true([] { return state_of_announcement("lan") == "running"; }));
}

TEST_F(Announcements, WaitForTheirLink)
{
    change("<update><ipv6-announcement name=\"lan\"><interface>eth0</interface>"
           "</ipv6-announcement></update>");
    shell("ip link del eth0");

    EXPECT_TRUE(comes_true([] { return state_of_announcement("lan") == "waiting for eth0"; }));
}

/* The real server, and a neighbour in a network of its own. */
TEST_F(Announcements, GiveANeighbourAnAddress)
{
    if (!exists("/usr/sbin/dnsmasq")) GTEST_SKIP() << "dnsmasq is not installed";
    shell("ip addr add 2001:db8:5::1/64 dev eth0 nodad; ip link set to-eth0 up; "
          "echo 1 >/proc/sys/net/ipv6/conf/to-eth0/accept_ra_from_local");
    stand_in("dnsmasq", "exec /usr/sbin/dnsmasq \"$@\"");

    add("");

    EXPECT_TRUE(comes_true([] {
        return shell("ip -6 addr show dev to-eth0 scope global").find("2001:db8:5:") !=
               std::string::npos;
    })) << shell("ip -6 addr; cat /var/run/vorn-dnsmasq.conf");
}

} // namespace
