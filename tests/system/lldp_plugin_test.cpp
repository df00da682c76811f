/* SPDX-License-Identifier: MIT */
/* LLDP: what lldpd is told, and what is told of the neighbours. */
#include "support/device.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace {

using testing::AllOf;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

constexpr char lldpd_config[] = "/var/run/vorn-lldpd.conf";
constexpr char lldpd_socket[] = "/var/run/vorn-lldpd.socket";
constexpr char lldpd_command[] =
    "lldpd -d -u /var/run/vorn-lldpd.socket -O /var/run/vorn-lldpd.conf";
constexpr char lldpcli_command[] =
    "setpriv --reuid=0 --regid=0 --clear-groups --no-new-privs "
    "--bounding-set=-all lldpcli -u /var/run/vorn-lldpd.socket -f json0 "
    "show neighbors";

/* As lldpcli 1.0.16 says it, of a neighbour with all that is told and of one with next to nothing.
 */
constexpr char lldpcli_says[] = R"({"lldp": [{"interface": [
  {"name": "eth0", "via": "LLDP", "rid": "1", "age": "0 day, 00:00:05",
   "chassis": [{"id": [{"type": "mac", "value": "ba:1d:70:20:15:97"}],
     "name": [{"value": "switch"}], "descr": [{"value": "A switch"}],
     "mgmt-ip": [{"value": "192.0.2.1"}, {"value": "fe80::1"}],
     "capability": [{"type": "Bridge", "enabled": true}, {"type": "Router", "enabled": false}]}],
   "port": [{"id": [{"type": "ifname", "value": "ge-0/0/1"}], "descr": [{"value": "uplink"}],
     "ttl": [{"value": "120"}]}]},
  {"name": "eth1", "chassis": [{"id": [{"type": "local", "value": "7"}]}], "port": []}]}]})";

class Lldp : public vorn::tests::Device {
protected:
    void SetUp() override
    {
        Device::SetUp();
        if (!exists(built_plugins() + "/lldp.vorn")) GTEST_SKIP() << "built without VORN_LLDP";
        for (const char *plugin : {"lldp.vorn", "save.vorn", "system.vorn"})
            install_plugin(plugin);
        stand_in("hostname");
        stand_in("lldpd", "echo $$ >/tmp/lldpd\n>/var/run/vorn-lldpd.socket\nexec sleep 1000");
        write_file("/tmp/answer", lldpcli_says);
        stand_in("setpriv", "cat /tmp/answer");
        write_file(vorn::test::startup_file, "<config/>");
        boot();
        forget_runs();
    }

    static std::string change(const std::string &operations)
    {
        return lsql("<lsql><write-transaction>" + operations + "</write-transaction></lsql>");
    }

    static std::string set(const std::string &values)
    {
        return "<update><lldp>" + values + "</lldp></update>";
    }

    static std::string state()
    {
        const std::string said = lsql("<lsql><select><lldp><state/></lldp></select></lsql>");
        const auto begin = said.find("<state>") + 7;
        return said.substr(begin, said.find("</state>") - begin);
    }

    static testing::AssertionResult becomes(const std::string &wanted)
    {
        return comes_true([&] { return state() == wanted; }) << state();
    }

    static std::string ask_once()
    {
        return lsql("<lsql><select><lldp-neighbour properties=\"all\"/></select></lsql>");
    }

    /* Until lldpcli has had the time to answer, on a machine with much to do. */
    static std::string neighbours()
    {
        std::string said;
        EXPECT_TRUE(comes_true([&] {
            said = ask_once();
            return said.find("lldpcli gave no answer") == std::string::npos;
        }));
        return said;
    }

    static testing::AssertionResult runs()
    {
        change(set("<enabled>on</enabled>"));
        if (!becomes("running")) return testing::AssertionFailure() << state();
        forget_runs();
        return testing::AssertionSuccess();
    }
};

TEST_F(Lldp, RunsOnlyWhatItsSettingsAskFor)
{
    EXPECT_EQ(state(), "stopped");
    EXPECT_THAT(lsql("<explain>" + set("<enabled>on</enabled>") + "</explain>"),
                HasSubstr("<effect weight=\"live\">lldpd starts</effect>"));
    EXPECT_THAT(commands_run(), IsEmpty());

    change(set("<enabled>on</enabled>"));
    EXPECT_TRUE(becomes("running"));
    EXPECT_THAT(commands_run(), ElementsAre(lldpd_command));
    EXPECT_EQ(read_file(lldpd_config), "configure system hostname .\n"
                                       "configure system max-neighbors 16\n"
                                       "configure lldp tx-interval 30\n");
    forget_runs();

    change(set("<enabled>on</enabled>"));
    change("<update><system><contact>me</contact></system></update>");
    EXPECT_THAT(commands_run(), IsEmpty());
    change(set("<interval>5</interval>"));
    EXPECT_TRUE(becomes("running"));
    EXPECT_THAT(commands_run(), ElementsAre(lldpd_command));
    EXPECT_THAT(read_file(lldpd_config), HasSubstr("tx-interval 5\n"));
    forget_runs();

    change(set("<enabled>off</enabled>"));
    EXPECT_TRUE(becomes("stopped"));
    EXPECT_FALSE(exists(lldpd_config));
    EXPECT_THAT(commands_run(), IsEmpty());
}

TEST_F(Lldp, IsSpokenWhereAndAsIsSaid)
{
    change(set("<enabled>on</enabled><interfaces>lo eth9</interfaces>"
               "<description>-r Attic &lt;of&gt; \"mine\"</description><transmit>off</transmit>"));

    EXPECT_TRUE(becomes("running"));
    EXPECT_THAT(runs_of("lldpd"),
                ElementsAre(ElementsAre("-d", "-u", lldpd_socket, "-O", lldpd_config, "-I",
                                        "lo,eth9", "-S", "-r Attic <of> \"mine\"", "-r")));
}

TEST_F(Lldp, TellsWhoTheNeighboursAre)
{
    EXPECT_THAT(neighbours(), Not(HasSubstr("<lldp-neighbour")));
    ASSERT_TRUE(runs());

    const std::string said = neighbours();

    EXPECT_THAT(said, AllOf(HasSubstr("<interface>eth0</interface>"),
                            HasSubstr("<chassis-id>ba:1d:70:20:15:97</chassis-id>"),
                            HasSubstr("<port-id>ge-0/0/1</port-id>"),
                            HasSubstr("<system-name>switch</system-name>"),
                            HasSubstr("<system-description>A switch</system-description>"),
                            HasSubstr("<port-description>uplink</port-description>"),
                            HasSubstr("<management-addresses>192.0.2.1 fe80::1<")));
    EXPECT_THAT(said, AllOf(HasSubstr("<capabilities>Bridge Router</capabilities>"),
                            HasSubstr("<enabled-capabilities>Bridge</enabled-capabilities>"),
                            HasSubstr("<ttl>120</ttl>"), HasSubstr("<chassis-id>7</chassis-id>")));
    EXPECT_EQ(count(said, "<lldp-neighbour>"), 2);
    EXPECT_THAT(commands_run(), AllOf(Each(lldpcli_command), Not(IsEmpty())));
}

TEST_F(Lldp, TellsNothingOfNobody)
{
    ASSERT_TRUE(runs());
    write_file("/tmp/answer", "{\"lldp\": [{}]}");

    EXPECT_EQ(count(neighbours(), "<lldp-neighbour>"), 0);
}

/* They may say anything. */
TEST_F(Lldp, TakesWhatNeighboursSayForTexts)
{
    ASSERT_TRUE(runs());
    const std::string longest(255, 'x');
    write_file(
        "/tmp/answer",
        R"json({"lldp": [{"interface": [{"name": "eth0", "port": 7, "chassis": [{"id": [{"value":
                   "</chassis-id><ttl>9</ttl>\n\u0001\uFFFF\"'`$(touch /tmp/owned)"}],
                   "name": [{"value": "a\u00fc\uFFFDb"}], "descr": [{"value": ")json" +
            longest + R"json("}]}]}]}]})json");

    const std::string said = neighbours();

    EXPECT_THAT(
        said, AllOf(HasSubstr("<chassis-id>&lt;/chassis-id&gt;&lt;ttl&gt;9&lt;/ttl&gt;  ???"),
                    HasSubstr("$(touch /tmp/owned)</chassis-id>"),
                    HasSubstr("<system-name>a&#xFC;&#xFFFD;b</system-name>"), HasSubstr(longest)));
    EXPECT_EQ(count(said, "<lldp-neighbour>"), 1);
    EXPECT_FALSE(exists("/tmp/owned"));
}

TEST_F(Lldp, TellsOfNoMoreThanABoundedNumberOfNeighbours)
{
    ASSERT_TRUE(runs());
    std::string many = "{\"lldp\": [{\"interface\": [{}";
    for (int i = 0; i < 200; i++)
        many += ", {\"name\": \"eth0\"}";
    write_file("/tmp/answer", many + "]}]}");

    EXPECT_EQ(count(neighbours(), "<lldp-neighbour>"), 64);
}

TEST_F(Lldp, SaysWhyTheNeighboursAreNotKnown)
{
    ASSERT_TRUE(runs());
    const std::pair<std::string, const char *> bad[] = {
        {"nonsense", "what lldpcli says is nothing that it should"},
        {"[]", "what lldpcli says is nothing that it should"},
        {"{\"lldp\": 7}", "what lldpcli says is nothing that it should"},
        {"{\"lldp\": [{\"interface\": [", "what lldpcli says is nothing that it should"},
        {std::string(100000, '['), "what lldpcli says is nothing that it should"},
        {std::string(600000, ' ') + lldpcli_says, "what lldpcli says is nothing that it should"},
        {"", "what lldpcli says is nothing that it should"},
    };
    for (const auto &[said, reason] : bad) {
        write_file("/tmp/answer", said);
        EXPECT_THAT(neighbours(), HasSubstr("<unknown>" + std::string(reason) + "</unknown>"))
            << said.substr(0, 40);
    }
    stand_in("setpriv", "echo 'unable to connect' >&2; exit 1");
    EXPECT_THAT(neighbours(), HasSubstr("<unknown>lldpcli: unable to connect</unknown>"));
    shell("rm /var/run/vorn-lldpd.socket");
    EXPECT_THAT(neighbours(), HasSubstr("<unknown>lldpd can't be asked yet</unknown>"));
}

TEST_F(Lldp, LetsNobodyWaitLongForAnLldpcliThatHangs)
{
    ASSERT_TRUE(runs());
    stand_in("setpriv", "exec sleep 1000");

    EXPECT_THAT(ask_once(), HasSubstr("lldpcli gave no answer within a second"));
    EXPECT_THAT(ask_once(), HasSubstr("lldpcli gave no answer "));
}

TEST_F(Lldp, SaysWhatLldpdSaid)
{
    stand_in("lldpd", "echo 'no such user _lldpd' >&2; exit 1");

    change(set("<enabled>on</enabled>"));

    EXPECT_TRUE(becomes("failed: no such user _lldpd"));
    EXPECT_EQ(count(neighbours(), "<lldp-neighbour>"), 0);
}

TEST_F(Lldp, TellsThatAProgramIsMissing)
{
    shut_down();
    set_environment("PATH", "/nowhere");
    boot();

    change(set("<enabled>on</enabled>"));

    EXPECT_TRUE(comes_true([] {
        return state().starts_with("failed: vorn: Unable to execute \"lldpd\"");
    })) << state();
}

TEST_F(Lldp, LetsNobodyWaitForAnLldpdThatHangs)
{
    ASSERT_TRUE(runs());
    ASSERT_TRUE(hang_program("cat /tmp/lldpd"));

    EXPECT_THAT(answer_right_after("<lsql><write-transaction>" + set("<interval>7</interval>") +
                                       "</write-transaction></lsql>",
                                   "<lsql><select><lldp><state/></lldp></select></lsql>"),
                HasSubstr("starting: its process from before has not ended yet"));
    EXPECT_TRUE(becomes("running"));
}

TEST_F(Lldp, HasItsFileWrittenAgainOrSaysWhyNot)
{
    ASSERT_TRUE(runs());
    write_file(lldpd_config, "");
    change("<update><system><contact>me</contact></system></update>");
    EXPECT_THAT(read_file(lldpd_config), HasSubstr("max-neighbors"));
    shell("echo >/var/run/vorn-lldpd.conf; mkdir /var/run/vorn-lldpd.conf.new");

    change("<update><system><contact>you</contact></system></update>");

    EXPECT_TRUE(console_shows("lldp: can't write /var/run/vorn-lldpd.conf."));
    EXPECT_EQ(state(), "failed: can't write /var/run/vorn-lldpd.conf");
    shell("rmdir /var/run/vorn-lldpd.conf.new");
    change("<update><system><contact>me</contact></system></update>");
    EXPECT_TRUE(becomes("running"));
}

TEST_F(Lldp, IsRefusedWhatItCannotHave)
{
    for (const char *wrong :
         {"<interfaces>-x</interfaces>", "<interfaces>a*</interfaces>",
          "<interfaces>!eth0</interfaces>", "<interval>0</interval>", "<interval>3601</interval>",
          "<description>a&#10;b</description>", "<transmit>yes</transmit>", "<state>x</state>"})
        EXPECT_THAT(change(set(wrong)), HasSubstr("<rc>1</rc>")) << wrong;
    EXPECT_THAT(change(set("<description>" + std::string(201, 'x') + "</description>")),
                HasSubstr("<rc>1</rc>"));

    EXPECT_THAT(commands_run(), IsEmpty());
}

} // namespace
