/* SPDX-License-Identifier: MIT */
#pragma once

#include "support/device.h"

#include <gtest/gtest.h>

#include <string>

namespace vorn::tests {

/* What dnsmasq is told. */
inline constexpr char pools_file[] = "/var/run/vorn-dnsmasq.conf";

/* A device with one pool and one fixed lease. */
class AddressPools : public Device {
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
        write_file(test::startup_file,
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

} // namespace vorn::tests
