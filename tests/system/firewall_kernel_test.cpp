/* SPDX-License-Identifier: MIT */
/* The kernel takes what nft is given, counts, filters, and says when somebody else was there. */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include <signal.h>

#include "firewalls.h"

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using vorn::tests::house_firewall;

class KernelFirewalls : public vorn::tests::FirewallDevice {
protected:
    void SetUp() override
    {
        FirewallDevice::SetUp();
        if (shell("nft -c 'add table inet vorn' && echo yes") != "yes\n")
            GTEST_SKIP() << "there is no nft, or the kernel has no tables for it";
        configure(house_firewall);
    }

    void boot_and_settle()
    {
        boot();
        ASSERT_TRUE(state_becomes("applied"));
    }

    static std::string rules() { return shell("nft list ruleset"); }

    /* Another machine at the end of a cable, whose addresses it is given; the device's end. */
    static void join(const std::string &machine, const std::string &link, const char *addresses)
    {
        const std::string pid = "$(cat /tmp/" + machine + ")";
        shell("unshare -n sleep 1000 >/dev/null 2>&1 & echo $! >/tmp/" + machine);
        ASSERT_TRUE(comes_true([&] {
            return shell("test \"$(readlink /proc/" + pid +
                         "/ns/net)\" != \"$(readlink /proc/self/ns/net)\" && echo yes") == "yes\n";
        }));
        shell("ip link add " + link + " type veth peer name cable && ip link set cable netns " +
              pid + " && ip link set " + link + " up");
        on(machine, "ip link set cable up");
        std::istringstream words(addresses);
        for (std::string address; words >> address;)
            on(machine, "ip addr add " + address + " dev cable nodad");
    }

    static std::string on(const std::string &machine, const std::string &command)
    {
        return shell("nsenter -t $(cat /tmp/" + machine + ") -n sh -c '" + command + "' 2>&1");
    }

    /* Nobody listens anywhere: who gets there is refused, others hear nothing. */
    static std::string knock(const std::string &machine, const std::string &address,
                             const std::string &port, const std::string &seconds)
    {
        return on(machine, "timeout " + seconds + " bash -c \": </dev/tcp/" + address + "/" + port +
                               "\" || echo $?");
    }

    static testing::AssertionResult reaches(const std::string &machine, const std::string &address,
                                            const std::string &port)
    {
        const std::string said = knock(machine, address, port, "10");
        if (said.find("refused") != std::string::npos) return testing::AssertionSuccess();
        return testing::AssertionFailure() << said;
    }

    static testing::AssertionResult
    hears_nothing(const std::string &machine, const std::string &address, const std::string &port)
    {
        const std::string said = knock(machine, address, port, "0.3");
        if (said == "124\n") return testing::AssertionSuccess();
        return testing::AssertionFailure() << said;
    }

    static void join_the_neighbour()
    {
        join("neighbour", "eth0", "192.0.2.2/24 2001:db8::2/64");
        shell("ip addr add 192.0.2.1/24 dev eth0; ip addr add 2001:db8::1/64 dev eth0 nodad");
    }
};

TEST_F(KernelFirewalls, HaveTheRulesThatAreConfigured)
{
    boot_and_settle();

    EXPECT_THAT(rules(),
                AllOf(HasSubstr("type filter hook input priority filter; policy drop;"),
                      HasSubstr("iifname \"eth0\" ip saddr 192.0.2.0/24 tcp dport 22 counter name "
                                "\"rule-ssh\" accept comment \"from the office\""),
                      HasSubstr("iifname { \"br0\", \"wlan*\" } oifname \"eth0\" accept"),
                      HasSubstr("iifname \"eth0\" meta nfproto ipv4 tcp dport 8080 dnat ip to "
                                "192.168.1.20:80"),
                      HasSubstr("oifname \"eth0\" meta nfproto ipv4 masquerade")));
    change("<update><firewall><enabled>off</enabled></firewall></update>");
    EXPECT_EQ(rules(), "");
}

TEST_F(KernelFirewalls, TakeEveryRuleThatIsValid)
{
    boot_and_settle();
    int number = 0;
    for (const char *family : {"any", "ipv4", "ipv6"}) {
        for (const char *what :
             {"<protocol>any</protocol>", "<protocol>tcp</protocol><ports>80 80-90 443</ports>",
              "<protocol>udp</protocol>", "<protocol>tcp-udp</protocol><ports>53</ports>",
              "<protocol>tcp-udp</protocol>", "<protocol>icmp</protocol>",
              "<protocol>icmp</protocol><icmp-type>echo-reply</icmp-type>",
              "<protocol>icmp</protocol><icmp-type>destination-unreachable</icmp-type>",
              "<protocol>icmp</protocol><icmp-type>time-exceeded</icmp-type>",
              "<protocol>icmp</protocol><icmp-type>parameter-problem</icmp-type>",
              "<protocol>tcp</protocol><ports>  </ports><source> </source>",
              "<protocol>esp</protocol>", "<protocol>ah</protocol>", "<protocol>gre</protocol>",
              "<source>192.0.2.1 192.0.2.0/24 2001:db8::1 ::/0 0.0.0.0/0</source>",
              "<destination>192.0.2.9/24 ::ffff:192.0.2.1/96</destination>"}) {
            for (const char *rest :
                 {"<from>wan</from><action>accept</action>", "<to>any</to><action>reject</action>",
                  "<from>lan</from><to>wan</to><action>drop</action>"}) {
                const std::string answer = change(
                    "<insert><firewall-rule name=\"r" + std::to_string(number++) + "\"><family>" +
                    family + "</family>" + what + rest + "</firewall-rule></insert>");
                ASSERT_THAT(answer, Not(HasSubstr("<error>"))) << family << what << rest;
            }
        }
    }

    EXPECT_TRUE(state_becomes("applied"));
    EXPECT_EQ(shell("nft list table inet vorn | grep -c '^.counter'"),
              std::to_string(number + 2) + "\n");
}

/* A text that got out of its place would be a fault of the document, or another rule. */
TEST_F(KernelFirewalls, TakeAnyTextForNothingElse)
{
    boot_and_settle();
    const std::string count = shell("nft list table inet vorn | wc -l");
    for (const char *text :
         {"\"", "\\", "\\\"", "x\" drop", "} }", "# all", "$(id)", "@x", "/* x", "a &amp;&amp; b",
          "\" accept\ninclude \"/etc/passwd\"", "a&#9;b", "a&#127;b", "\xe2\x82\xac\"", "-f"}) {
        const std::string comment = "<comment>" + std::string(text) + "</comment>";
        change("<update><firewall-rule name=\"ssh\">" + comment + "</firewall-rule></update>");
        change("<update><port-forward name=\"web\">" + comment + "</port-forward></update>");
        for (const char *property : {"ports", "source", "destination", "from", "to"})
            change("<update><firewall-rule name=\"ssh\"><" + std::string(property) + ">" + text +
                   "</" + property + "></firewall-rule></update>");
        for (const char *property : {"interfaces", "input"})
            change("<update><zone name=\"wan\"><" + std::string(property) + ">" + text + "</" +
                   property + "></zone></update>");

        EXPECT_TRUE(state_becomes("applied")) << text;
        EXPECT_EQ(shell("nft list table inet vorn | wc -l"), count) << text << rules();
    }
}

TEST_F(KernelFirewalls, LetInWhomTheyAreToLetIn)
{
    boot_and_settle();
    join_the_neighbour();

    EXPECT_TRUE(reaches("neighbour", "192.0.2.1", "22"));
    EXPECT_TRUE(hears_nothing("neighbour", "192.0.2.1", "23"));
    EXPECT_EQ(value_of("firewall-rule", "ssh", "packets"), "1");
    EXPECT_EQ(value_of("firewall-rule", "ssh", "bytes"), "60");

    change("<insert><firewall-rule name=\"telnet\"><protocol>tcp</protocol><ports>23</ports>"
           "<action>accept</action></firewall-rule></insert>");

    EXPECT_TRUE(reaches("neighbour", "192.0.2.1", "23"));
    EXPECT_EQ(value_of("firewall-rule", "telnet", "packets"), "1");
    EXPECT_EQ(value_of("firewall-rule", "ssh", "packets"), "1") << "what it counted stays";
    EXPECT_TRUE(reaches("neighbour", "2001:db8::1", "22")) << "its address is found, too";
    EXPECT_EQ(value_of("firewall-rule", "ssh", "packets"), "2");
    change("<delete><firewall-rule name=\"telnet\"/></delete>");
    EXPECT_TRUE(hears_nothing("neighbour", "192.0.2.1", "23"));
}

/* The neighbour knows no way to the inside: it hears of nobody there but by the device's address.
 */
TEST_F(KernelFirewalls, LetThroughWhatIsForwarded)
{
    boot_and_settle();
    shell("echo 1 >/proc/sys/net/ipv4/ip_forward");
    join_the_neighbour();
    join("machine", "wlan0", "192.168.1.20/24");
    shell("ip addr add 192.168.1.1/24 dev wlan0");
    on("machine", "ip route add default via 192.168.1.1");

    EXPECT_TRUE(reaches("machine", "192.0.2.2", "9"));
    EXPECT_TRUE(reaches("neighbour", "192.0.2.1", "8080"));
    EXPECT_TRUE(hears_nothing("neighbour", "192.0.2.1", "8081"));

    change("<update><zone name=\"wan\"><masquerade>off</masquerade></zone></update>");
    EXPECT_TRUE(hears_nothing("machine", "192.0.2.2", "10"));

    on("neighbour", "ip route add default via 192.0.2.1");
    EXPECT_TRUE(reaches("machine", "192.0.2.2", "11"));
    EXPECT_TRUE(hears_nothing("neighbour", "192.168.1.20", "80")) << "only by the port";
    change("<delete><port-forward name=\"web\"/></delete>"
           "<update><forwarding name=\"out\"><enabled>off</enabled></forwarding></update>");
    EXPECT_TRUE(hears_nothing("neighbour", "192.0.2.1", "8080"));
    EXPECT_TRUE(hears_nothing("machine", "192.0.2.2", "12"));
}

TEST_F(KernelFirewalls, SayThatSomebodyElseWasThere)
{
    constexpr char differs[] = "differs: somebody else has changed the rules";
    boot_and_settle();
    const std::string before = rules();
    for (const char *command : {"nft flush chain inet vorn input", "nft delete table inet vorn",
                                "nft insert rule inet vorn input accept",
                                "nft 'add chain inet vorn input { type filter hook input priority "
                                "0; policy accept; }'"}) {
        shell(command);
        EXPECT_EQ(state_of(), differs) << command;
        EXPECT_NE(rules(), before) << command;

        change("<update><save/></update>");

        EXPECT_TRUE(state_becomes("applied")) << command;
        EXPECT_EQ(rules(), before) << command;
    }
}

TEST_F(KernelFirewalls, LeaveTheTablesOfOthersAlone)
{
    shell("nft 'table inet mine { chain c { counter accept; }; }'");
    const std::string mine = rules();
    boot_and_settle();
    shell("nft add rule inet mine c drop");
    EXPECT_EQ(state_of(), "applied") << "that is not ours";
    shell("nft flush chain inet mine c; nft add rule inet mine c counter accept");

    change("<update><firewall><enabled>off</enabled></firewall></update>");

    EXPECT_EQ(rules(), mine);
}

TEST_F(KernelFirewalls, AreThereBetweenTwoDaemons)
{
    boot_and_settle();
    const std::string before = rules();
    kill(daemon_pid(), SIGKILL);
    ASSERT_EQ(exit_status(), -SIGKILL);
    EXPECT_EQ(rules(), before);

    configure("<firewall><enabled>off</enabled></firewall>");
    boot();

    EXPECT_TRUE(state_becomes("stopped"));
    EXPECT_EQ(rules(), "");
}

} // namespace
