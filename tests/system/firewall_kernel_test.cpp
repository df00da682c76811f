/* SPDX-License-Identifier: MIT */
/* The kernel takes what nft is given, counts, filters, and says when somebody else was there. */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

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

    /* Another machine at the end of a cable, eth0, which the device has at 192.0.2.1. */
    static void join_a_neighbour()
    {
        shell("unshare -n sleep 1000 >/dev/null 2>&1 & echo $! >/tmp/neighbour");
        ASSERT_TRUE(comes_true([] {
            return shell("ip link add eth0 type veth peer name eth9 && "
                         "ip link set eth9 netns $(cat /tmp/neighbour) && echo yes") == "yes\n";
        }));
        shell("ip addr add 192.0.2.1/24 dev eth0 && ip link set eth0 up");
        neighbour("ip addr add 192.0.2.2/24 dev eth9 && ip link set eth9 up");
    }

    static std::string neighbour(const std::string &command)
    {
        return shell("nsenter -t $(cat /tmp/neighbour) -n sh -c '" + command + "' 2>&1");
    }

    /* Nobody listens on the device: who gets through is refused, others hear nothing. */
    static bool gets_through(const std::string &port)
    {
        return neighbour("timeout 1 bash -c \": </dev/tcp/192.0.2.1/" + port + "\"")
                   .find("refused") != std::string::npos;
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
    join_a_neighbour();

    EXPECT_TRUE(gets_through("22"));
    EXPECT_FALSE(gets_through("23"));
    EXPECT_EQ(value_of("firewall-rule", "ssh", "packets"), "1");
    EXPECT_EQ(value_of("firewall-rule", "ssh", "bytes"), "60");

    change("<insert><firewall-rule name=\"telnet\"><protocol>tcp</protocol><ports>23</ports>"
           "<action>accept</action></firewall-rule></insert>");

    EXPECT_TRUE(gets_through("23"));
    EXPECT_EQ(value_of("firewall-rule", "telnet", "packets"), "1");
    EXPECT_EQ(value_of("firewall-rule", "ssh", "packets"), "1") << "what it counted stays";
    change("<delete><firewall-rule name=\"telnet\"/></delete>");
    EXPECT_FALSE(gets_through("23"));
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
    shell("nft 'table ip mine { chain c { counter accept; }; }'");
    const std::string mine = rules();
    boot_and_settle();
    shell("nft add rule ip mine c drop");
    EXPECT_EQ(state_of(), "applied") << "that is not ours";
    shell("nft flush chain ip mine c; nft add rule ip mine c counter accept");

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
