/* SPDX-License-Identifier: MIT */
/* What nft is given for which change, how often, and what becomes of it when it fails. */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include <signal.h>

#include "firewalls.h"

namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;
using vorn::tests::house_firewall;
using vorn::tests::house_table;
using vorn::tests::new_table;
using vorn::tests::same_table;

class Firewalls : public vorn::tests::FirewallDevice {
protected:
    void SetUp() override
    {
        FirewallDevice::SetUp();
        stand_in("nft", "cat >/tmp/document\n"
                        "while test -e /tmp/hangs; do sleep 0.02; done\n"
                        "test ! -e /tmp/fails || { echo 'no rules today' >&2; exit 1; }\n"
                        "test ! -e /tmp/forgets || ! grep -q ^flush /tmp/document");
        configure(house_firewall);
    }

    void boot_and_forget()
    {
        boot();
        ASSERT_TRUE(state_becomes("applied"));
        forget_runs();
    }

    static std::string document() { return read_file("/tmp/document"); }
};

TEST_F(Firewalls, AreLoadedAsAWholeAtBoot)
{
    boot();

    EXPECT_TRUE(state_becomes("applied"));
    EXPECT_THAT(commands_run(), ElementsAre("nft -f -"));
    EXPECT_EQ(document(), std::string(new_table) + house_table);
    for (const auto &[klass, name] :
         {std::pair("zone", "lan"), std::pair("forwarding", "out"),
          std::pair("port-forward", "web"), std::pair("firewall-rule", "ssh")})
        EXPECT_EQ(state_of(klass, name), "applied");
}

TEST_F(Firewalls, KeepWhatIsCountedWhenTheyChange)
{
    boot_and_forget();

    change("<update><firewall-rule name=\"ssh\"><comment>from home</comment></firewall-rule>"
           "</update>");

    EXPECT_THAT(commands_run(), ElementsAre("nft -f -"));
    EXPECT_THAT(document(), AllOf(StartsWith(std::string(same_table) + "table inet vorn {\n"),
                                  HasSubstr(" comment \"from home\"\n")));
}

TEST_F(Firewalls, TakeTheCountersOfDeletedRulesAway)
{
    boot_and_forget();

    change("<delete><firewall-rule name=\"ssh\"/></delete>");

    EXPECT_THAT(document(), StartsWith(std::string(same_table) +
                                       "delete counter inet vorn rule-ssh\ntable inet vorn {\n"
                                       "\tcounter rule-ping {\n\t}\n\tchain input"));
    EXPECT_THAT(document(), Not(HasSubstr("tcp dport { 22 }")));
}

TEST_F(Firewalls, AreLoadedAnewWhereAChangeFails)
{
    boot_and_forget();
    write_file("/tmp/forgets", "");

    change("<update><firewall><input>drop</input></firewall></update>");

    EXPECT_TRUE(state_becomes("applied"));
    EXPECT_THAT(commands_run(), ElementsAre("nft -f -", "nft -f -"));
    EXPECT_THAT(document(), StartsWith(std::string(new_table) + "table inet vorn {\n"));
}

TEST_F(Firewalls, RunNothingForWhatChangesNothing)
{
    boot_and_forget();

    change("<update><zone name=\"lan\"><input>accept</input></zone></update>");
    change("<insert><zone name=\"attic\"><input>accept</input></zone></insert>");
    change("<insert><firewall-rule name=\"later\"><action>drop</action><enabled>off</enabled>"
           "</firewall-rule></insert>");
    change("<update><save/></update>");

    EXPECT_THAT(commands_run(), IsEmpty());
    EXPECT_EQ(state_of(), "applied");
}

TEST_F(Firewalls, AreTakenAwayWhenTheyAreSwitchedOff)
{
    boot_and_forget();

    change("<update><firewall><enabled>off</enabled></firewall></update>");

    EXPECT_TRUE(state_becomes("stopped"));
    EXPECT_THAT(commands_run(), ElementsAre("nft -f -"));
    EXPECT_EQ(document(), new_table);
    forget_runs();
    change("<update><firewall-rule name=\"ssh\"><ports>23</ports></firewall-rule></update>");
    EXPECT_THAT(commands_run(), IsEmpty());
}

TEST_F(Firewalls, RunNothingWhereTheyAreOff)
{
    configure("<zone name=\"lan\"><interfaces>br0</interfaces></zone>");
    boot();

    change("<update><firewall><enabled>off</enabled></firewall></update>");
    EXPECT_EQ(state_of(), "stopped");
    EXPECT_THAT(commands_run(), IsEmpty());
}

TEST_F(Firewalls, SayWhyTheyFailAndTryAgain)
{
    write_file("/tmp/fails", "");
    boot();

    EXPECT_TRUE(state_becomes("failed: nft: no rules today"));
    EXPECT_EQ(state_of("firewall-rule", "ssh"), "failed: nft: no rules today");
    EXPECT_TRUE(console_shows("firewall: nft: no rules today."));
    shell("rm /tmp/fails");
    change("<update><save/></update>");
    EXPECT_TRUE(state_becomes("applied"));
    EXPECT_THAT(commands_run(), ElementsAre("nft -f -", "nft -f -"));
}

TEST_F(Firewalls, AreWaitedForByNobody)
{
    boot_and_forget();
    write_file("/tmp/hangs", "");

    request("<update><firewall><input>drop</input></firewall></update>");
    EXPECT_EQ(state_of(), "applying");
    request("<update><save/></update>");
    request("<update><firewall><forward>accept</forward></firewall></update>");
    request("<update><firewall><input>accept</input></firewall></update>");
    EXPECT_THAT(commands_run(), ElementsAre("nft -f -")) << "one is at work";
    EXPECT_THAT(explain("<update><firewall><input>accept</input></firewall></update>"),
                Not(HasSubstr("nft")));
    shell("rm /tmp/hangs");

    EXPECT_TRUE(state_becomes("applied"));
    EXPECT_THAT(commands_run(), ElementsAre("nft -f -", "nft -f -"));
    EXPECT_THAT(document(), AllOf(StartsWith(same_table),
                                  HasSubstr("hook input priority filter; policy accept;"),
                                  HasSubstr("hook forward priority filter; policy accept;")));
}

TEST_F(Firewalls, SayThatTheirProgramIsMissing)
{
    set_environment("PATH", "/nowhere");
    boot();

    EXPECT_TRUE(state_becomes("failed: nft: No such file or directory"));
    EXPECT_THAT(change("<update><firewall><input>drop</input></firewall></update>"),
                Not(HasSubstr("<error>")));
    change("<update><firewall><enabled>off</enabled></firewall></update>");
    EXPECT_EQ(state_of(), "stopped") << "nothing was ever loaded";
}

TEST_F(Firewalls, AreLoadedAnewByTheNextDaemon)
{
    boot_and_forget();
    kill(daemon_pid(), SIGKILL);
    ASSERT_EQ(exit_status(), -SIGKILL);

    boot();

    EXPECT_TRUE(state_becomes("applied"));
    EXPECT_THAT(commands_run(), ElementsAre("nft -f -"));
    EXPECT_EQ(document(), std::string(new_table) + house_table);
}

TEST_F(Firewalls, AreTakenBackWithATrial)
{
    boot_and_forget();

    change("<update><zone name=\"lan\"><input>drop</input></zone></update>"
           "<update><trial><seconds>600</seconds></trial></update>");
    EXPECT_THAT(document(), HasSubstr("{ \"br0\", \"wlan*\" } drop\n"));
    change("<update><trial><revert>now</revert></trial></update>");

    EXPECT_TRUE(comes_true([] { return document() == std::string(same_table) + house_table; }))
        << document();
    EXPECT_THAT(commands_run(), ElementsAre("nft -f -", "nft -f -"));
}

TEST_F(Firewalls, RefuseWhatCannotBe)
{
    constexpr std::pair<const char *, const char *> wrong[] = {
        {"<insert><zone name=\"attic\"><interfaces>br0</interfaces></zone></insert>",
         "\"br0\" is in zone \"lan\" too"},
        {"<insert><zone name=\"attic\"><interfaces>eth1 wlan0_1</interfaces></zone></insert>",
         "\"wlan0_1\" is in zone \"lan\" too"},
        {"<insert><zone name=\"attic\"><interfaces>e*</interfaces></zone></insert>",
         "\"e*\" is in zone \"wan\" too"},
        {"<insert><zone name=\"any\"/></insert>", "\"any\" stands for every zone"},
        {"<insert><zone name=\"the attic\"/></insert>", "its name has 1 to 32 letters"},
        {"<delete><zone name=\"wan\"/></delete>", "there is no zone \"wan\""},
        {"<update><forwarding name=\"out\"><to>attic</to></forwarding></update>",
         "there is no zone \"attic\""},
        {"<update><port-forward name=\"web\"><port>90-80</port></port-forward></update>",
         "The last port is below the first."},
        {"<update><port-forward name=\"web\"><port>80-90</port></port-forward></update>",
         "several ports can't become one"},
        {"<insert><port-forward name=\"more\"><zone>wan</zone><protocol>tcp-udp</protocol>"
         "<port>8000-9000</port><address>192.168.1.21</address></port-forward></insert>",
         "port-forward \"web\" has it"},
        {"<update><firewall-rule name=\"ssh\"><from>attic</from></firewall-rule></update>",
         "there is no zone \"attic\""},
        {"<update><firewall-rule name=\"ssh\"><ports>9-8</ports></firewall-rule></update>",
         "The last port is below the first."},
        {"<update><firewall-rule name=\"ssh\"><ports>65536</ports></firewall-rule></update>",
         "Ports are a number"},
        {"<update><firewall-rule name=\"ssh\"><protocol>esp</protocol></firewall-rule></update>",
         "only tcp and udp have ports"},
        {"<update><firewall-rule name=\"ssh\"><icmp-type>echo-reply</icmp-type></firewall-rule>"
         "</update>",
         "only icmp has types"},
        {"<update><firewall-rule name=\"ssh\"><source>192.0.2.1</source><family>ipv6</family>"
         "</firewall-rule></update>",
         "no packet has addresses of two families"},
        {"<update><firewall-rule name=\"ssh\"><source>192.0.2.1/33</source></firewall-rule>"
         "</update>",
         "An address is 192.0.2.1 or 2001:db8::1"},
        {"<insert><firewall-rule name=\"a;b\"><action>drop</action></firewall-rule></insert>",
         "its name has 1 to 32 letters"},
    };
    boot_and_forget();

    for (const auto &[operations, reason] : wrong)
        EXPECT_THAT(change(operations), HasSubstr(reason)) << operations;

    EXPECT_THAT(commands_run(), IsEmpty());
}

TEST_F(Firewalls, TakeWhatOnlyLooksAlike)
{
    constexpr const char *alike[] = {"<zone>wan</zone><protocol>tcp</protocol><port>8081</port>",
                                     "<zone>wan</zone><protocol>tcp</protocol><port>80-8079</port>",
                                     "<zone>wan</zone><protocol>udp</protocol><port>8080</port>",
                                     "<zone>lan</zone><protocol>tcp</protocol><port>8080</port>"};
    boot_and_forget();

    int number = 0;
    for (const char *each : alike)
        EXPECT_THAT(change("<insert><port-forward name=\"p" + std::to_string(number++) + "\">" +
                           each + "<address>192.168.1.21</address></port-forward></insert>"),
                    Not(HasSubstr("<error>")));
    EXPECT_THAT(change("<insert><zone name=\"attic\"><interfaces>eth1 br1 br0.7 wla</interfaces>"
                       "</zone></insert>"),
                Not(HasSubstr("<error>")));

    EXPECT_TRUE(state_becomes("applied"));
}

TEST_F(Firewalls, LeaveOutWhatCameInWithoutACheck)
{
    boot_and_forget();

    lsql("<lsql><insert><forwarding name=\"in\"><from>wan</from><to>attic</to></forwarding>"
         "</insert><insert><firewall-rule name=\"a;b\"><action>drop</action></firewall-rule>"
         "</insert></lsql>");

    EXPECT_EQ(state_of("forwarding", "in"), "failed: there is no zone \"attic\"");
    EXPECT_THAT(state_of("firewall-rule", "a;b"), StartsWith("failed: its name has 1 to 32"));
    EXPECT_EQ(state_of("forwarding", "out"), "applied");
    EXPECT_THAT(commands_run(), IsEmpty());
}

TEST_F(Firewalls, LetNoTextOutOfItsPlace)
{
    boot_and_forget();

    change("<update><firewall-rule name=\"ssh\"><source>192.0.2.1</source>"
           "<comment>\" drop; } flush ruleset # \\\" $x</comment></firewall-rule></update>"
           "<update><port-forward name=\"web\"><comment>\xc3\xa9\"\xc3\xa9</comment>"
           "</port-forward></update>");

    EXPECT_THAT(document(), AllOf(HasSubstr("counter name \"rule-ssh\" accept comment "
                                            "\"' drop; } flush ruleset # '' $x\"\n"),
                                  HasSubstr("192.168.1.20:80 comment \"\xc3\xa9'\xc3\xa9\"\n")));
    std::string longest;
    for (int i = 0; i < 100; i++)
        longest += "\xe2\x82\xac";
    change("<update><firewall-rule name=\"ssh\"><comment>" + longest +
           "</comment></firewall-rule></update>");
    EXPECT_THAT(document(), HasSubstr(" comment \"" + longest.substr(0, 120) + "\"\n"));
    const std::string before = document();
    for (const char *hostile : {"eth0\"", "eth0;", "$x", "*", "@set", "{", "-f", "a/b", "br0 \""}) {
        change("<update><zone name=\"lan\"><interfaces>" + std::string(hostile) +
               "</interfaces></zone></update>");
        change("<update><firewall-rule name=\"ssh\"><ports>" + std::string(hostile) +
               "</ports></firewall-rule></update>");
        change("<update><firewall-rule name=\"ssh\"><source>" + std::string(hostile) +
               "</source></firewall-rule></update>");
    }
    EXPECT_EQ(document(), before);
}

TEST_F(Firewalls, AreExplainedByWhoIsCutOff)
{
    boot_and_forget();
    constexpr char live[] = "<effect weight=\"live\">nft changes the rules at once; connections "
                            "that are there go on</effect>";
    constexpr std::pair<const char *, const char *> effects[] = {
        {"<update><zone name=\"lan\"><input>drop</input></zone></update>",
         "nothing new comes to this device from br0 unless a rule lets it through"},
        {"<update><zone name=\"lan\"><interfaces>wlan*</interfaces></zone></update>",
         "nothing new comes to this device from br0 unless a rule lets it through"},
        {"<update><zone name=\"wan\"><masquerade>off</masquerade></zone></update>",
         "what goes out by eth0 has the address of its sender again"},
        {"<update><forwarding name=\"out\"><enabled>off</enabled></forwarding></update>",
         "the forwarding from lan to wan ends"},
    };
    for (const auto &[operations, effect] : effects) {
        EXPECT_THAT(
            explain(operations),
            AllOf(HasSubstr(std::string("<effect weight=\"interrupts\">") + effect + "</effect>"),
                  HasSubstr(live)));
    }
    EXPECT_THAT(explain("<insert><firewall-rule name=\"new\"><action>drop</action>"
                        "</firewall-rule></insert>"),
                AllOf(HasSubstr(live), Not(HasSubstr("interrupts"))));
    EXPECT_THAT(explain("<update><zone name=\"lan\"><input>accept</input></zone></update>"),
                Not(HasSubstr("nft")));
    EXPECT_THAT(explain("<update><firewall><enabled>off</enabled></firewall></update>"),
                HasSubstr("<effect weight=\"live\">nft removes all rules; everything is let "
                          "through</effect>"));
    EXPECT_THAT(commands_run(), IsEmpty());
}

TEST_F(Firewalls, AreExplainedWhenTheyBegin)
{
    boot_and_forget();
    change("<update><firewall><enabled>off</enabled></firewall></update>");
    forget_runs();

    const std::string said = explain("<update><firewall><enabled>on</enabled></firewall></update>");

    EXPECT_THAT(said, AllOf(HasSubstr("nothing new comes to this device from interfaces of no zone "
                                      "unless a rule lets it through"),
                            HasSubstr("nothing new comes to this device from eth0 "),
                            Not(HasSubstr("nothing new comes to this device from br0 ")),
                            HasSubstr("nothing new goes through this device from br0 "),
                            HasSubstr("nft loads all rules; ")));
    EXPECT_THAT(commands_run(), IsEmpty());
}

} // namespace
