/* SPDX-License-Identifier: MIT */
#pragma once

#include "support/device.h"

#include <gtest/gtest.h>

#include <string>

namespace vorn::tests {

inline constexpr char house_firewall[] =
    "<firewall><enabled>on</enabled><input>reject</input></firewall>"
    "<zone name=\"lan\"><interfaces>br0 wlan*</interfaces><input>accept</input></zone>"
    "<zone name=\"wan\"><interfaces>eth0</interfaces><input>drop</input>"
    "<masquerade>on</masquerade></zone>"
    "<forwarding name=\"out\"><from>lan</from><to>wan</to></forwarding>"
    "<port-forward name=\"web\"><zone>wan</zone><protocol>tcp</protocol><port>8080</port>"
    "<address>192.168.1.20</address><to-port>80</to-port></port-forward>"
    "<firewall-rule name=\"ping\"><order>5</order><protocol>icmp</protocol>"
    "<icmp-type>echo-request</icmp-type><action>accept</action></firewall-rule>"
    "<firewall-rule name=\"ssh\"><order>1</order><from>wan</from><protocol>tcp</protocol>"
    "<ports>22</ports><source>192.0.2.0/24 2001:db8::/32</source><action>accept</action>"
    "<comment>from the office</comment></firewall-rule>";

inline constexpr char house_table[] =
    "table inet vorn {\n"
    "\tcounter rule-ssh {\n\t}\n"
    "\tcounter rule-ping {\n\t}\n"
    "\tchain input {\n"
    "\t\ttype filter hook input priority filter; policy drop;\n"
    "\t\tct state established,related accept\n"
    "\t\tiifname \"lo\" accept\n"
    "\t\ticmpv6 type { nd-router-solicit, nd-router-advert, nd-neighbor-solicit, "
    "nd-neighbor-advert } accept\n"
    "\t\tiifname { \"eth0\" } meta nfproto ipv4 ip saddr { 192.0.2.0/24 } tcp dport { 22 } "
    "counter name \"rule-ssh\" accept comment \"from the office\"\n"
    "\t\tiifname { \"eth0\" } meta nfproto ipv6 ip6 saddr { 2001:db8::/32 } tcp dport { 22 } "
    "counter name \"rule-ssh\" accept comment \"from the office\"\n"
    "\t\tmeta nfproto ipv4 icmp type echo-request counter name \"rule-ping\" accept\n"
    "\t\tmeta nfproto ipv6 icmpv6 type echo-request counter name \"rule-ping\" accept\n"
    "\t\tiifname { \"br0\", \"wlan*\" } accept\n"
    "\t\tiifname { \"eth0\" } drop\n"
    "\t\treject\n"
    "\t}\n"
    "\tchain forward {\n"
    "\t\ttype filter hook forward priority filter; policy drop;\n"
    "\t\tct state established,related accept\n"
    "\t\tiifname { \"eth0\" } ip daddr 192.168.1.20 tcp dport { 80 } ct status dnat accept\n"
    "\t\tiifname { \"br0\", \"wlan*\" } oifname { \"eth0\" } accept\n"
    "\t}\n"
    "\tchain prerouting {\n"
    "\t\ttype nat hook prerouting priority dstnat; policy accept;\n"
    "\t\tiifname { \"eth0\" } meta nfproto ipv4 tcp dport { 8080 } dnat ip to 192.168.1.20:80\n"
    "\t}\n"
    "\tchain postrouting {\n"
    "\t\ttype nat hook postrouting priority srcnat; policy accept;\n"
    "\t\toifname { \"eth0\" } meta nfproto ipv4 masquerade\n"
    "\t}\n"
    "}\n";

inline constexpr char new_table[] = "table inet vorn\ndelete table inet vorn\n";
inline constexpr char same_table[] = "table inet vorn\nflush table inet vorn\n";

class FirewallDevice : public Device {
protected:
    void SetUp() override
    {
        Device::SetUp();
        install_plugin("firewall.vorn");
        install_plugin("save.vorn");
        install_plugin("trial.vorn");
    }

    static void configure(const std::string &instances)
    {
        write_file(test::startup_file, "<config>" + instances + "</config>");
    }

    static std::string request(const std::string &operations)
    {
        return lsql("<lsql><write-transaction>" + operations + "</write-transaction></lsql>");
    }

    /* Waits for what goes on in the background. */
    static std::string change(const std::string &operations)
    {
        std::string answer = request(operations);
        EXPECT_TRUE(comes_true([] { return state_of() != "applying"; }));
        return answer;
    }

    static std::string explain(const std::string &operations)
    {
        return lsql("<explain>" + operations + "</explain>");
    }

    static std::string value_of(const std::string &klass, const std::string &name,
                                const std::string &property)
    {
        const std::string which = name.empty() ? klass : klass + " name=\"" + name + "\"";
        const std::string tag = "<" + property + ">";
        const std::string answer = lsql("<lsql><select><" + which + "><" + property + "/></" +
                                        klass + "></select></lsql>");
        const auto begin = answer.find(tag);
        if (begin == std::string::npos) return "";
        const auto text = begin + tag.size();
        return answer.substr(text, answer.find("</", text) - text);
    }

    static std::string state_of(const std::string &klass = "firewall", const std::string &name = "")
    {
        return value_of(klass, name, "state");
    }

    static testing::AssertionResult state_becomes(const std::string &wanted)
    {
        return comes_true([&] { return state_of() == wanted; }) << "it is " << state_of();
    }
};

} // namespace vorn::tests
