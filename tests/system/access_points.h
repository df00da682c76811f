/* SPDX-License-Identifier: MIT */
#pragma once

#include "support/device.h"

#include <gtest/gtest.h>

#include <string>

namespace vorn::tests {

inline constexpr char hostapd_file[] = "/var/run/vorn-hostapd-wlan0.conf";
inline constexpr char access_file[] = "/var/run/vorn-hostapd-wlan0_1.macs";
inline constexpr char hostapd_command[] =
    "hostapd -g /var/run/vorn-hostapd-radios/wlan0 /var/run/vorn-hostapd-wlan0.conf";

inline constexpr char access_point[] =
    "<config><radio name=\"wlan0\"><mode>g</mode><channel>6</channel><status>up</status></radio>"
    "<wireless-network name=\"home\"><radio>wlan0</radio><ssid>attic</ssid>"
    "<security>wpa2-psk</security><key>correct horse battery</key><bridge>br0</bridge>"
    "</wireless-network>"
    "<wireless-network name=\"guests\"><radio>wlan0</radio><ssid>caf\u00E9</ssid>"
    "<security>none</security><hidden>on</hidden><isolation>on</isolation>"
    "<max-stations>5</max-stations><access-list>family</access-list></wireless-network>"
    "<access-list name=\"family\"><mac>00:11:22:33:44:55</mac></access-list>"
    "<access-list name=\"others\"><mac>00:11:22:33:44:00</mac></access-list>"
    "<access-list name=\"family\"><mac>00:11:22:33:44:66</mac></access-list></config>";

class AccessPoints : public Device {
protected:
    void SetUp() override
    {
        Device::SetUp();
        shell("ip link add name br0 type bridge");
        install_plugin("wireless.vorn");
        install_plugin("save.vorn");
        stand_in("hostapd", "trap 'echo again >>/tmp/again' HUP; echo $$ >/tmp/ready\n"
                            "while :; do sleep 0.02; done");
        stand_in("iw", "cat /tmp/stations 2>/dev/null; ! cat /tmp/no-power 2>/dev/null");
        write_file(test::startup_file, access_point);
    }

    static testing::AssertionResult state_becomes(const std::string &klass, const std::string &name,
                                                  const std::string &wanted)
    {
        return comes_true([&] { return value_of(klass, name, "state") == wanted; })
               << name << " is " << value_of(klass, name, "state");
    }

    void boot_and_forget()
    {
        boot();
        ASSERT_TRUE(comes_true([] { return exists("/tmp/ready"); }));
        forget_runs();
    }

    /* Of the hostapd that was ready: on a busy machine it takes a moment. */
    static bool has_ended()
    {
        return shell("kill -0 $(cat /tmp/ready) 2>/dev/null || echo gone") == "gone\n";
    }

    /* With operations that start hostapd anew: it has noted its run and hears SIGHUP then. */
    static void change_and_forget(const std::string &operations)
    {
        shell("rm -f /tmp/ready");
        change(operations);
        ASSERT_TRUE(comes_true([] { return exists("/tmp/ready"); }));
        ASSERT_TRUE(state_becomes("radio", "wlan0", "running"));
        forget_runs();
    }

    static std::string change(const std::string &operations)
    {
        return lsql("<lsql><write-transaction>" + operations + "</write-transaction></lsql>");
    }

    static std::string change_network(const std::string &values)
    {
        return change("<update><wireless-network name=\"home\">" + values +
                      "</wireless-network></update>");
    }

    static std::string value_of(const std::string &klass, const std::string &name,
                                const std::string &property)
    {
        const std::string answer = lsql("<lsql><select><" + klass + " name=\"" + name + "\"><" +
                                        property + "/></" + klass + "></select></lsql>");
        const auto begin = answer.find("<" + property + ">") + property.size() + 2;
        return answer.substr(begin, answer.find("</" + property + ">") - begin);
    }
};

} // namespace vorn::tests
