/* SPDX-License-Identifier: MIT */
/* Names and values that would be something else to a shell, a program or the file system. */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <regex>
#include <utility>
#include <vector>

#include "local_user/local_user.h"

namespace {

using testing::HasSubstr;
using namespace vorn::tests;

/* Written as XML. Whatever of it is run, or taken for a path, leaves a trace called "owned". */
constexpr const char *hostile[] = {
    "$(touch /tmp/owned)",
    "`touch /tmp/owned`",
    ";touch /tmp/owned;",
    "|touch /tmp/owned",
    "x&#10;touch /tmp/owned&#10;",
    "x&#10;ctrl_interface=/tmp/owned&#10;dhcp-script=/tmp/owned",
    "../../../etc/config/owned",
    "/etc/config/owned",
    "../owned",
    "--pid-file=/tmp/owned",
    "-f/tmp/owned",
    "%n%s%n%s",
};

class ReferencePlugins : public LocalUsers {
protected:
    using Property = std::pair<std::string, std::string>;

    void SetUp() override
    {
        LocalUsers::SetUp();
        for (const auto &each : std::filesystem::directory_iterator(built_plugins())) {
            if (each.path().extension() == ".vorn") install_plugin(each.path().filename());
        }
        shell("rm /usr/lib/vorn/plugins/board.vorn");
        for (const char *program :
             {"hostapd", "dnsmasq", "syslogd", "ntpd", "chronyd", "setpriv", "lldpd"})
            stand_in(program, "sleep 60");
        for (const char *program : {"iw", "nft"})
            stand_in(program);
        write_file(startup, "<config/>");
        boot();
    }

    /* Every property that a client may write, with its class. */
    static std::vector<Property> writable_properties()
    {
        const std::string schema = lsql("<lsql><select><schema-property properties=\"all\"/>"
                                        "</select></lsql>");
        const std::regex row("<schema-property name=\"([^\"]*)\">(.*?)</schema-property>");
        const std::regex property("<property>([^<]*)</property>");
        std::vector<Property> found;
        for (std::sregex_iterator each(schema.begin(), schema.end(), row), end; each != end;
             ++each) {
            const std::string values = (*each)[2];
            std::smatch name;
            if (values.find("<writable>yes") == std::string::npos) continue;
            if (std::regex_search(values, name, property)) found.emplace_back((*each)[1], name[1]);
        }
        return found;
    }

    static std::string element(const std::string &klass, const std::string &name,
                               const std::string &values)
    {
        return "<" + klass + (name.empty() ? "" : " name=\"" + name + "\"") + ">" + values + "</" +
               klass + ">";
    }

    /* As a change of what there is and as something new, with and without a name. */
    static void offer(const Property &property, const std::string &value)
    {
        const auto &[klass, name] = property;
        const std::string given = "<" + name + ">" + value + "</" + name + ">";
        lsql("<lsql><update>" + element(klass, "", given) + "</update></lsql>");
        lsql("<lsql><insert>" + element(klass, "r0", given) + "</insert></lsql>");
        lsql("<lsql><insert>" + element(klass, value, given) + "</insert></lsql>");
    }

    static std::string traces()
    {
        return shell("find /tmp /etc /var/run/ /usr/lib/vorn -xdev -name '*owned*' 2>/dev/null");
    }
};

TEST_F(ReferencePlugins, TakeNoValueForACommandOrAPath)
{
    const std::vector<Property> properties = writable_properties();
    ASSERT_GT(properties.size(), 30U);

    EXPECT_EQ(as_local_user([&] {
                  for (const Property &property : properties) {
                      for (const char *value : hostile)
                          offer(property, value);
                  }
                  return 0;
              }),
              0);

    EXPECT_EQ(traces(), "");
}

/* What has all it needs but a decent name reaches the plugin. */
TEST_F(ReferencePlugins, TakeNoNameForACommandOrAPath)
{
    constexpr std::pair<const char *, const char *> whole[] = {
        {"radio", "<mode>g</mode><channel>6</channel><status>up</status>"},
        {"ethernet", "<mtu>1400</mtu><status>up</status>"},
        {"bridge", "<status>up</status>"},
        {"bridge-port", "<tagged>7</tagged><untagged>8</untagged>"},
        {"vlan", "<parent>eth0</parent><id>7</id><status>up</status>"},
        {"bond", "<status>up</status>"},
        {"static-address",
         "<interface>lo</interface><address>192.168.7.1</address><prefix>24</prefix>"},
        {"dhcp-address", "<interface>lo</interface>"},
        {"route", "<destination>10.9.0.0/16</destination><interface>lo</interface>"},
        {"ipv6-route", "<destination>fd00:9::/64</destination><interface>lo</interface>"},
        {"policy-route", "<priority>9</priority><table>9</table>"},
        {"ipv6-policy-route", "<priority>9</priority><table>9</table>"},
        {"dhcp-pool", "<first>192.168.1.100</first><last>192.168.1.199</last>"},
        {"dhcp-option", "<code>26</code><kind>number16</kind><value>1400</value>"},
        {"dns-server", "<address>192.0.2.53</address><tls>on</tls><tls-name>a.example</tls-name>"},
        {"dns-record", "<names>a</names><addresses>192.0.2.1</addresses>"},
        {"wireless-network", "<radio>r0</radio><ssid>x</ssid><security>none</security>"},
        {"zone", "<interfaces>lo</interfaces>"},
        {"forwarding", "<from>z0</from><to>z0</to>"},
        {"port-forward", "<zone>z0</zone><protocol>tcp</protocol><port>80</port>"
                         "<address>192.168.7.2</address>"},
        {"firewall-rule", "<action>accept</action>"},
        {"led", "<shows>on</shows>"},
        {"button", "<key>restart</key>"},
        {"wireless-schedule", "<from>00:00</from><to>00:00</to>"},
        {"restart-schedule", "<time>04:00</time><enabled>off</enabled>"},
        {"ssh-key", "<user>root</user><key>ssh-ed25519 "
                    "AAAAC3NzaC1lZDI1NTE5AAAAINR0CLd0gQICJrKw8gHLBmDAPgQndPG5j/EW3jgdskoG</key>"},
    };
    lsql("<lsql><update><firewall><enabled>on</enabled></firewall></update></lsql>");
    lsql("<lsql><insert><zone name=\"z0\"><interfaces>eth0</interfaces></zone></insert></lsql>");
    lsql("<lsql><update><dhcp><enabled>on</enabled></dhcp></update></lsql>");
    lsql("<lsql><update><dns><enabled>on</enabled></dns></update></lsql>");
    lsql("<lsql><insert><radio name=\"r0\"><mode>g</mode><channel>6</channel><status>up</status>"
         "</radio></insert></lsql>");

    EXPECT_EQ(as_local_user([&] {
                  for (const auto &[klass, values] : whole) {
                      for (const char *name : hostile)
                          lsql("<lsql><insert>" + element(klass, name, values) +
                               "</insert></lsql>");
                  }
                  return 0;
              }),
              0);

    EXPECT_THAT(lsql("<lsql><select><radio/></select></lsql>"), HasSubstr("../owned"));
    EXPECT_EQ(traces(), "");
    EXPECT_EQ(shell("ls /etc/config"), "config.xml\nhistory\n");
}

} // namespace
