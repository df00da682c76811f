/* SPDX-License-Identifier: MIT */
/* The reference plugins describe all that they bring, and judge as they describe. */
#include "support/accepted_values.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "settled_device.h"

namespace {

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;
using vorn::tests::SettledDevice;

/* Each schema-property of the board, as the text between its tags. */
std::vector<std::string> described_properties(const std::string &answer)
{
    std::vector<std::string> all;
    constexpr char begin[] = "<schema-property name=";
    constexpr char end[] = "</schema-property>";
    for (std::size_t at = answer.find(begin); at != std::string::npos;
         at = answer.find(begin, at + 1))
        all.push_back(answer.substr(at, answer.find(end, at) - at));
    return all;
}

std::string value_in(const std::string &instance, const std::string &property)
{
    const std::string tag = "<" + property + ">";
    const std::size_t at = instance.find(tag);
    if (at == std::string::npos) return "";
    const std::size_t start = at + tag.size();
    return instance.substr(start, instance.find("</" + property + ">", start) - start);
}

std::string escaped(const std::string &value)
{
    std::string text;
    for (const char each : value) {
        if (each == '&' || each == '<' || each == '>') {
            text += each == '&' ? "&amp;" : each == '<' ? "&lt;" : "&gt;";
        } else {
            text += each;
        }
    }
    return text;
}

std::string name_in(const std::string &instance)
{
    const std::size_t at = instance.find("name=\"") + 6;
    return instance.substr(at, instance.find('"', at) - at);
}

class DescribedBoards : public SettledDevice {
protected:
    void SetUp() override
    {
        SettledDevice::SetUp();
        for (const auto &each : std::filesystem::directory_iterator(built_plugins())) {
            if (each.path().extension() == ".vorn") install_plugin(each.path().filename());
        }
        boot();
        classes = lsql("<lsql><select><schema-class properties=\"all\"/></select></lsql>");
        properties = described_properties(
            lsql("<lsql><select><schema-property properties=\"all\"/></select></lsql>"));
    }

    std::string classes;
    std::vector<std::string> properties;
};

/* A new class or property comes in by itself. */
TEST_F(DescribedBoards, TellPeopleOfEveryClassAndProperty)
{
    for (const char *lacking : {"<label/>", "<help/>", "<group/>", "<order/>"})
        EXPECT_THAT(classes, Not(HasSubstr(lacking)));
    for (const std::string &each : properties) {
        for (const char *lacking : {"<label/>", "<help/>", "<group/>", "<order/>"})
            EXPECT_THAT(each, Not(HasSubstr(lacking)));
        if (value_in(each, "writable") != "yes") continue;
        EXPECT_THAT(each, Not(HasSubstr("<accepts>[]</accepts>")));
        if (value_in(each, "secret") == "yes") continue;
        EXPECT_THAT(each, Not(HasSubstr("<example/>")));
    }
    EXPECT_GT(properties.size(), 200U);
}

TEST_F(DescribedBoards, AreHelpForPeople)
{
    EXPECT_EQ(shell("vornctl help interface mtu"),
              "Largest packet (mtu)\n"
              "what     The most bytes of a packet. If it isn't set: as a port was found, for a "
              "bridge the least of its members, for a VLAN that of its parent, for a bond "
              "1500.\n"
              "valid    68 to 65535\n"
              "unit     bytes\n"
              "example  1500\n");
    const std::string bridge = shell("vornctl help bridge");
    EXPECT_THAT(bridge, StartsWith("Bridge (bridge)\nwhat  A switch in software: its members form "
                                   "one network.\ntype  unique-named\n"));
    EXPECT_THAT(bridge, HasSubstr("members         Members           names of interfaces with "
                                  "blanks between them\n"));
    EXPECT_THAT(bridge, HasSubstr("\nstate           State             read only\n"));
    EXPECT_THAT(shell("vornctl help interface"),
                HasSubstr("kinds  ethernet, bridge, vlan, bond\n"));
    EXPECT_THAT(shell("vornctl help wireless-network key"), HasSubstr("flags    secret\n"));
    EXPECT_THAT(shell("vornctl help route interface"), HasSubstr("names    interface\n"));
    EXPECT_THAT(shell("vornctl help --json route destination"),
                HasSubstr("\"label\": \"Destination\""));
}

TEST_F(DescribedBoards, AreHelpWithACommandOfTheSameName)
{
    const std::string log = shell("vornctl help log");
    EXPECT_THAT(log, StartsWith("the last lines of the device's log\nUsage: vornctl log"));
    EXPECT_THAT(log, HasSubstr("\nLog (log)\n"));
    EXPECT_THAT(shell("vornctl help export"), Not(HasSubstr("PROPERTY")));
    EXPECT_EQ(shell("vornctl help"), shell("vornctl --help"));
    EXPECT_EQ(shell("vornctl help interface mut 2>&1; echo $?"),
              "vornctl: class \"interface\" has no property \"mut\"; did you mean \"mtu\"?\n5\n");
    EXPECT_EQ(shell("vornctl help brigde 2>&1; echo $?"),
              "vornctl: there is no class \"brigde\"; did you mean \"bridge\"?\n5\n");
    shut_down();
    EXPECT_THAT(shell("vornctl help log"), StartsWith("the last lines of the device's log\n"));
}

TEST_F(DescribedBoards, AreOfferedToWhoTypes)
{
    const auto offered = [](const char *line) {
        return shell(std::string("vornctl complete 'vornctl ") + line + "' | tr '\\n' ' '");
    };
    EXPECT_EQ(offered("help wirel"), "wireless-network wireless-schedule ");
    EXPECT_EQ(offered("help sh"), "show ");
    EXPECT_EQ(offered("help route d"), "destination ");
    EXPECT_EQ(offered("help route destination "), "");
    EXPECT_EQ(offered("set history other-slot="), "other-slot=own other-slot=newest ");
    EXPECT_EQ(offered("set route r destination="), "destination=default ");
    shell("vornctl add bridge br0 status=down");
    EXPECT_EQ(offered("add route r interface="), "interface=br0 ");
    EXPECT_EQ(shell("vornctl set history other-slot=sonn 2>&1"),
              "vornctl: set history: Value \"sonn\" is not valid for property \"other-slot\" of "
              "class \"history\". Valid is: own or newest or nothing\n");
}

/* An insert whose value is not valid is told so, whatever else it lacks; nothing is made. */
class JudgedBoards : public DescribedBoards {
protected:
    void SetUp() override
    {
        DescribedBoards::SetUp();
        for (const std::string &each : properties) {
            const bool has_example = each.find("<example/>") == std::string::npos;
            const bool is_secret = value_in(each, "secret") == "yes";
            if (value_in(each, "writable") != "yes" || (!has_example && !is_secret)) continue;
            const std::size_t at = classes.find("name=\"" + name_in(each) + "\"");
            const std::string klass = classes.substr(at, classes.find("</schema-class>", at) - at);
            if (value_in(klass, "abstract") == "no")
                judged.push_back({name_in(each), value_in(each, "property"),
                                  value_in(each, "example"), value_in(klass, "type"),
                                  vorn::tests::accepted::parse(value_in(each, "accepts"))});
        }
        EXPECT_GT(judged.size(), 60U);
    }

    struct Judged {
        std::string klass, property, example, type;
        vorn::tests::accepted::Alternatives accepts;
    };

    /* A singleton that is there is updated. */
    static bool takes(const Judged &each, const std::string &value)
    {
        const bool is_one = each.type == "singleton";
        const std::string name = is_one ? "" : " name=\"judged\"";
        const std::string element = "<" + each.klass + name + "><" + each.property + ">" +
                                    escaped(value) + "</" + each.property + "></" + each.klass +
                                    ">";
        const std::string refusal = ">Value \""; /* the end of a long one is cut */
        const std::string answer = lsql("<explain><insert>" + element + "</insert></explain>");
        const bool is_there = answer.find("Couldn't add instance") != std::string::npos;
        const std::string last =
            is_there ? lsql("<explain><update>" + element + "</update></explain>") : answer;
        return last.find(refusal) == std::string::npos;
    }

    std::vector<Judged> judged;
};

TEST_F(JudgedBoards, TakeTheirOwnExamples)
{
    for (const Judged &each : judged) {
        if (each.example.empty()) continue; /* of a secret there is none */
        EXPECT_TRUE(takes(each, each.example)) << each.klass << " " << each.property;
    }
}

/* Where a plugin's own function knows more, any other value may be refused. */
TEST_F(JudgedBoards, JudgeAsTheyDescribe)
{
    using namespace vorn::tests::accepted;
    const auto knows_more = [](const std::string &name) {
        for (const char *each : {"log file",
                                 "system time-zone",
                                 "history comment",
                                 "web certificate",
                                 "web allowed",
                                 "access-rule subject",
                                 "access-rule properties",
                                 "access-rule class",
                                 "access-rule operations",
                                 "access-default gate-user",
                                 "fleet authorities",
                                 "fleet certificate",
                                 "fleet key",
                                 "fleet generation",
                                 "port-forward port",
                                 "firewall-rule source",
                                 "firewall-rule destination",
                                 "firewall-rule ports",
                                 "dns-server address",
                                 "dns-record names",
                                 "dns-record addresses",
                                 "ssh-key key",
                                 "wireless-schedule from",
                                 "wireless-schedule to",
                                 "restart-schedule time",
                                 "log-server authorities",
                                 "static-ipv6-address address",
                                 "resolver servers",
                                 "ipv6-route destination",
                                 "ipv6-route gateway",
                                 "ipv6-policy-route from",
                                 "ipv6-policy-route to",
                                 "ipv6-announcement first",
                                 "ipv6-announcement last",
                                 "ipv6-announcement dns-servers",
                                 "bridge-port tagged"})
            if (name == each) return true;
        return false;
    };
    const auto is_text_of_fleet = [](const Judged &each) {
        return each.klass == "fleet" && each.accepts[0].kind == "text";
    };
    Random random{20261122};
    int count = 0;
    for (const Judged &each : judged) {
        const std::string name = each.klass + " " + each.property;
        if (knows_more(name) || is_text_of_fleet(each)) continue;
        for (int i = 0; i < 6; i++, count++) {
            const std::string value = some_value(each.accepts, random);
            EXPECT_TRUE(takes(each, value)) << name << " \"" << value << "\"";
            const std::string other = near(value, random);
            const bool is_name = each.accepts[0].kind == "name";
            if (vorn::tests::accepted::takes(each.accepts, other) && is_name) continue;
            EXPECT_EQ(takes(each, other), vorn::tests::accepted::takes(each.accepts, other))
                << name << " \"" << other << "\"";
        }
    }
    EXPECT_GT(count, 300);
}

} // namespace
