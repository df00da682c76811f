/* SPDX-License-Identifier: MIT */
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "settled_device.h"

namespace vorn::tests {

inline constexpr char bridged_network[] =
    "<config>"
    "<interface name=\"eth0\"><kind>ethernet</kind><status>up</status></interface>"
    "<interface name=\"br0\"><kind>bridge</kind><members>eth0 eth1.5</members><stp>on</stp>"
    "<status>up</status></interface>"
    "<interface name=\"eth1\"><kind>ethernet</kind><status>up</status></interface>"
    "<interface name=\"eth1.5\"><kind>vlan</kind><parent>eth1</parent><id>5</id>"
    "<status>up</status></interface>"
    "<address name=\"lan\"><kind>static-address</kind><interface>br0</interface>"
    "<address>192.168.1.1</address><prefix>24</prefix></address>"
    "<route name=\"out\"><destination>default</destination><gateway>192.168.1.254</gateway></route>"
    "<resolver><servers>192.168.1.2 192.168.1.3</servers><search>example.net</search></resolver>"
    "</config>";

class Networks : public SettledDevice {
protected:
    void SetUp() override
    {
        SettledDevice::SetUp();
        for (const char *name : {"eth0", "eth1"}) {
            shell(std::string("ip link add ") + name + " type veth peer name to-" + name +
                  " && ip link set to-" + name + " up");
        }
        install_plugin("network.vorn");
        install_plugin("save.vorn");
        make_vlans_elsewhere();
        stand_in("udhcpc", "exec sleep 1000");
        write_file(test::startup_file, bridged_network);
    }

    /* The kernel that runs the tests may have no VLANs, but it has links that can be made. */
    void make_vlans_elsewhere()
    {
        std::string ip = shell("command -v ip");
        ip.pop_back();
        stand_in("ip", "test \"$1\" != -force || {\n"
                       "number=0; while read -r line; do number=$((number + 1))\n"
                       "test \"${line#-}\" = \"$line\" && \"$0\" $line || echo \"Command failed "
                       "-:$number\" >&2; done; exit; }\n"
                       "while test -e /tmp/hangs; do sleep 0.02; done\n"
                       "case $* in 'link add link '*' type vlan '*)\n"
                       "test ! -e /tmp/no-vlans || { printf 'no VLANs today,\nsorry\n' >&2; "
                       "exit 1; }\n"
                       "set -- link add name $6 type veth peer name to-$6\n"
                       ";;\n*' type bond '*)\n"
                       "test ! -e /tmp/no-bonds || { echo 'no bonds today' >&2; exit 1; }\n"
                       ";;\n*' vlan_filtering '*)\n"
                       "echo 'no filters today' >&2; exit 1\n"
                       "esac; exec " +
                           ip + " \"$@\"");
    }

    void boot_and_forget()
    {
        boot({"-f", "-d"});
        ASSERT_TRUE(console_shows("ng_migrate"));
        shell("truncate -s 0 /dev/console");
    }

    /* Waits for what goes on in the background. */
    std::string change(const std::string &operations) const
    {
        std::string answer = request(operations);
        EXPECT_TRUE(settles());
        return answer;
    }

    static std::string request(const std::string &operations)
    {
        return lsql("<lsql><write-transaction>" + operations + "</write-transaction></lsql>");
    }

    /* What ip(8) was run with since the log was emptied, a line each. */
    static std::string commands()
    {
        return shell("sed -n 's/^vorn: Running \"ip \\(.*\\)\" -> .*/\\1/p' /dev/console");
    }

    /* Waits for them: what an instance that is deleted leaves behind has no state. */
    static testing::AssertionResult ran(const std::string &wanted)
    {
        if (comes_true([&] { return commands() == wanted; })) return testing::AssertionSuccess();
        return testing::AssertionFailure() << "what was run is:\n" << commands();
    }

    static std::string state_of(const std::string &klass, const std::string &name)
    {
        const std::string answer = lsql("<lsql><select><" + klass + " name=\"" + name +
                                        "\"><state/></" + klass + "></select></lsql>");
        const auto begin = answer.find("<state>") + 7;
        return answer.substr(begin, answer.find("</state>") - begin);
    }
};

} // namespace vorn::tests
