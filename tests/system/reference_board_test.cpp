/* SPDX-License-Identifier: MIT */
/* The reference plugins on a virtual cable. */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "settled_device.h"

namespace {

using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;
using vorn::tests::SettledDevice;

using vorn::test::startup_file;
constexpr char board[] = "<config>"
                         "<system><hostname>attic</hostname><contact>ops</contact></system>"
                         "<interface name=\"eth0\"><kind>ethernet</kind><mtu>1400</mtu>"
                         "<status>up</status></interface>"
                         "<address name=\"lan\"><kind>static-address</kind>"
                         "<interface>eth0</interface><address>192.168.1.1</address>"
                         "<prefix>24</prefix></address>"
                         "</config>";

class ReferenceBoards : public SettledDevice {
protected:
    void SetUp() override
    {
        SettledDevice::SetUp();
        shell("ip link add eth0 type veth peer name cable && ip link set cable up");
        for (const char *name : {"system.vorn", "network.vorn", "save.vorn"})
            install_plugin(name);
        write_file(startup_file, board);
    }

    static void install_all_plugins()
    {
        for (const auto &each : std::filesystem::directory_iterator(built_plugins())) {
            if (each.path().extension() == ".vorn") install_plugin(each.path().filename());
        }
    }

    static std::string link() { return shell("ip -4 -o addr show eth0; ip -o link show eth0"); }
    /* Waits for what goes on in the background. */
    std::string lsql(const std::string &request) const
    {
        std::string answer = SettledDevice::lsql(request);
        EXPECT_TRUE(settles());
        return answer;
    }
    std::string update(const std::string &values) const
    {
        return lsql("<lsql><write-transaction><update><address name=\"lan\">" + values +
                    "</address></update></write-transaction></lsql>");
    }
    /* The programs that the daemon ran, one a line. */
    static std::string commands()
    {
        return shell("sed -n 's/^vorn: Running \"\\(.*\\)\" -> .*/\\1/p' /dev/console");
    }
    static void forget_commands() { shell("truncate -s 0 /dev/console"); }
};

TEST_F(ReferenceBoards, ApplyWhatTheyBootFrom)
{
    boot();

    EXPECT_EQ(shell("hostname"), "attic\n");
    EXPECT_THAT(link(), HasSubstr("192.168.1.1/24"));
    EXPECT_THAT(link(), HasSubstr("mtu 1400"));
    EXPECT_THAT(link(), HasSubstr("state UP"));
}

TEST_F(ReferenceBoards, ApplyTheHostNameBeforeTheNetworkAndSaveLast)
{
    boot({"-f", "-d"});

    EXPECT_THAT(console(), testing::ContainsRegex("     system\n(     buttons\n)?     network\n"
                                                  "(     buttons\n)?     save\n"));
}

TEST_F(ReferenceBoards, ApplyTheNetworkBeforeWhatNeedsItAndSaveLastWithAllPlugins)
{
    install_all_plugins();

    boot({"-f", "-d"});

    const std::string log = console();
    const auto place_of = [&](const std::string &provider) {
        const auto place = log.find("     " + provider + "\n");
        EXPECT_NE(place, std::string::npos) << provider;
        return place;
    };
    for (const char *later : {"wireless", "dhcp", "dns", "time", "log"}) {
        EXPECT_LT(place_of("network"), place_of(later)) << later;
        EXPECT_LT(place_of(later), place_of("save")) << later;
    }
    EXPECT_LT(place_of("system"), place_of("network"));
    EXPECT_LT(place_of("wireless"), place_of("dhcp"));
}

/* What a plugin looks up in a transaction's configuration is one more. */
TEST_F(ReferenceBoards, LeaveOneInstanceBehindWithEachWriteWithAllPlugins)
{
    install_all_plugins();
    boot();
    const std::string asks = "<lsql><select><system><retained-instances/></system></select></lsql>";
    const auto retained = [&] {
        const std::string answer = lsql(asks);
        const std::string before = "<retained-instances>";
        const auto place = answer.find(before);
        return place == std::string::npos ? -1 : std::stol(answer.substr(place + before.size()));
    };
    const long at_first = retained();
    ASSERT_GE(at_first, 0);

    for (const char *contact : {"a", "b", "c"}) {
        EXPECT_THAT(lsql(std::string("<lsql><write-transaction><update><system><contact>") +
                         contact + "</contact></system></update></write-transaction></lsql>"),
                    HasSubstr("<rc>0</rc><counter>1</counter>"));
    }

    EXPECT_EQ(retained(), at_first + 3);
}

/* A new property comes in by itself. */
TEST_F(ReferenceBoards, TellWhatIsValidForWhateverCanBeWritten)
{
    install_all_plugins();
    boot();

    const std::string answer = lsql("<lsql><select><schema-property><property/><writable/><valid/>"
                                    "</schema-property></select></lsql>");

    constexpr char end[] = "</schema-property>";
    int count = 0;
    std::size_t start = 0;
    for (std::size_t at = answer.find(end); at != std::string::npos; at = answer.find(end, start)) {
        const std::string property = answer.substr(start, at - start);
        start = at + sizeof end - 1;
        if (property.find("<writable>yes</writable>") == std::string::npos) continue;
        EXPECT_THAT(property, ContainsRegex("<valid>.+</valid>"));
        count++;
    }
    EXPECT_GT(count, 40);
}

TEST_F(ReferenceBoards, TakeTextsForPeopleInAnyLanguage)
{
    boot();
    const auto location = [&](const std::string &text) {
        return lsql("<lsql><update><system><location>" + text +
                    "</location></system></update></lsql>");
    };
    const auto repeated = [](const std::string &letter, int count) {
        std::string text;
        while (count-- > 0)
            text += letter;
        return text;
    };

    for (const std::string &text :
         {std::string("Z\u00FCrich, \u6771\u4EAC \U0001F600 &amp; \u00A0"),
          repeated("\u00E9", 1000), std::string()}) {
        EXPECT_THAT(location(text), HasSubstr("<rc>0</rc>")) << text;
    }
    for (const std::string &text : {repeated("\u00E9", 1001), std::string("two\nlines"),
                                    std::string("\xC2\x85"), std::string("\x7F")}) {
        EXPECT_THAT(location(text), HasSubstr("<rc>1</rc>")) << text;
    }
    location("Z\u00FCrich");
    shut_down();
    boot();
    EXPECT_THAT(lsql("<lsql><select><system><location/></system></select></lsql>"),
                testing::AnyOf(HasSubstr("Z\u00FCrich"), HasSubstr("Z&#xFC;rich")));
}

TEST_F(ReferenceBoards, ApplyAndSaveATransaction)
{
    boot();

    EXPECT_THAT(update("<address>10.0.0.1</address>"), HasSubstr("<rc>0</rc>"));

    EXPECT_THAT(link(), HasSubstr("10.0.0.1/24"));
    EXPECT_THAT(link(), Not(HasSubstr("192.168.1.1")));
    EXPECT_THAT(read_file(startup_file), HasSubstr("<address>10.0.0.1</address>"));
}

TEST_F(ReferenceBoards, RefuseWhatMakesNoSenseAndChangeNothing)
{
    boot();
    const std::string before = link();
    const std::string saved = read_file(startup_file);

    EXPECT_THAT(update("<prefix>16</prefix><address>10.0.0.256</address>"),
                HasSubstr("Value \"10.0.0.256\" is not valid for property \"address\" of class "
                          "\"static-address\"."));

    EXPECT_EQ(link(), before);
    EXPECT_EQ(read_file(startup_file), saved);
}

TEST_F(ReferenceBoards, KeepAChangeAcrossARestart)
{
    boot();
    update("<address>10.0.0.1</address>");
    shut_down();
    shell("ip addr flush dev eth0");

    boot();

    EXPECT_THAT(link(), HasSubstr("10.0.0.1/24"));
}

TEST_F(ReferenceBoards, ReadCountersFromTheKernelWhenAsked)
{
    boot();

    const std::string answer =
        lsql("<lsql><select><interface name=\"eth0\"><rx-packets/><tx-bytes/></interface>"
             "</select></lsql>");

    EXPECT_THAT(answer, ContainsRegex("<rx-packets>[0-9]+</rx-packets><tx-bytes>[0-9]+<"));
    EXPECT_THAT(read_file(startup_file), Not(HasSubstr("rx-packets")));
}

TEST_F(ReferenceBoards, LetNobodyWriteCounters)
{
    boot();

    EXPECT_THAT(lsql("<lsql><update><interface><rx-packets>1</rx-packets></interface></update>"
                     "</lsql>"),
                HasSubstr("Property \"rx-packets\" of class \"ethernet\" is not writable."));
}

TEST_F(ReferenceBoards, TakeDownAnInterfaceThatIsDeleted)
{
    boot();

    lsql("<lsql><delete><interface name=\"eth0\"/></delete><delete><address/></delete></lsql>");

    EXPECT_THAT(link(), Not(HasSubstr("192.168.1.1")));
    EXPECT_THAT(link(), HasSubstr("state DOWN"));
    EXPECT_THAT(read_file(startup_file), Not(HasSubstr("<interface")));
}

TEST_F(ReferenceBoards, SetUpAgainWhatWasAway)
{
    boot();
    shell("ip link del eth0; ip link add eth0 type veth peer name cable; ip link set cable up");

    EXPECT_EQ(inform("interface", {"name=eth0"}), "OK\n");

    EXPECT_TRUE(settles());
    EXPECT_THAT(link(), HasSubstr("192.168.1.1/24"));
    EXPECT_THAT(link(), HasSubstr("mtu 1400"));
    EXPECT_THAT(link(), HasSubstr("state UP"));
}

TEST_F(ReferenceBoards, KnowWhichInterfacesTheyHave)
{
    boot();

    EXPECT_EQ(inform("interface", {"name=eth1"}), "ERR returned by handler\n");
    EXPECT_EQ(inform("interface"), "ERR returned by handler\n");
}

TEST_F(ReferenceBoards, SetUpAnInterfaceThatIsAdded)
{
    shell("ip link add eth1 type veth peer name cable1 && ip link set cable1 up");
    boot();

    lsql("<lsql><insert><interface name=\"eth1\"><kind>ethernet</kind><status>up</status>"
         "</interface></insert><insert><address name=\"dmz\"><kind>static-address</kind>"
         "<interface>eth1</interface><address>10.1.1.1</address><prefix>32</prefix></address>"
         "</insert></lsql>");

    EXPECT_THAT(shell("ip -4 -o addr show eth1"), HasSubstr("10.1.1.1/32"));
    EXPECT_THAT(read_file(startup_file), HasSubstr("<interface name=\"eth1\">"));
}

TEST_F(ReferenceBoards, SaveTheFirstChangeAlsoWhenTheyBootedFromNothing)
{
    std::filesystem::remove(startup_file);
    boot();

    lsql("<lsql><insert><interface name=\"eth0\"><kind>ethernet</kind><mtu>1300</mtu>"
         "</interface></insert></lsql>");

    EXPECT_THAT(read_file(startup_file), HasSubstr("<mtu>1300</mtu>"));
}

TEST_F(ReferenceBoards, LeaveTheStartupFileAloneAtBoot)
{
    boot();

    EXPECT_EQ(read_file(startup_file), board);
}

TEST_F(ReferenceBoards, SaveNothingWhenNothingChanged)
{
    boot();
    write_file(startup_file, "untouched");

    lsql("<lsql><write-transaction/></lsql>");
    lsql("<lsql><delete><interface name=\"eth7\"/></delete></lsql>");

    EXPECT_EQ(read_file(startup_file), "untouched");
}

struct BoardRefusal {
    const char *name;
    const char *update;
};

const BoardRefusal board_refusals[] = {
    {"HostNamesWithBlanks", "<system><hostname>at tic</hostname></system>"},
    {"EmptyHostNames", "<system><hostname/></system>"},
    {"ContactsOfTwoLines", "<system><contact>two\nlines</contact></system>"},
    {"AddressesOutOfRange", "<address name=\"lan\"><address>10.0.0.256</address></address>"},
    {"PrefixesOutOfRange", "<address name=\"lan\"><prefix>33</prefix></address>"},
    {"SmallMtus", "<interface name=\"eth0\"><mtu>67</mtu></interface>"},
    {"OtherStates", "<interface name=\"eth0\"><status>on</status></interface>"},
    {"OtherProperties", "<interface name=\"eth0\"><speed>9</speed></interface>"},
};

class Refusals : public ReferenceBoards, public testing::WithParamInterface<BoardRefusal> {};

TEST_P(Refusals, ChangeNothing)
{
    boot();

    EXPECT_THAT(lsql(std::string("<lsql><update>") + GetParam().update + "</update></lsql>"),
                HasSubstr("is not valid for "));

    EXPECT_EQ(read_file(startup_file), board);
}

INSTANTIATE_TEST_SUITE_P(Of, Refusals, testing::ValuesIn(board_refusals),
                         [](const auto &each) { return std::string(each.param.name); });

struct BoardChange {
    const char *name;
    const char *request;
    const char *commands;
};

const BoardChange board_changes[] = {
    {"AHostName", "<lsql><update><system><hostname>barn</hostname></system></update></lsql>",
     "hostname barn\n"},
    {"AContact", "<lsql><update><system><contact>me</contact></system></update></lsql>", ""},
    {"TheSameHostName", "<lsql><update><system><hostname>attic</hostname></system></update></lsql>",
     ""},
    {"AnMtu", "<lsql><update><interface name=\"eth0\"><mtu>1300</mtu></interface></update></lsql>",
     "ip link set dev eth0 mtu 1300\n"},
    {"AnAddress",
     "<lsql><update><address name=\"lan\"><address>10.0.0.9</address></address></update></lsql>",
     "ip addr del 192.168.1.1/24 dev eth0\nip addr replace 10.0.0.9/24 dev eth0\n"},
    {"NoAddress", "<lsql><delete><address name=\"lan\"/></delete></lsql>",
     "ip addr del 192.168.1.1/24 dev eth0\n"},
    {"AStatus",
     "<lsql><update><interface name=\"eth0\"><status>down</status></interface></update></lsql>",
     "ip link set dev eth0 down\n"},
    {"NothingNew",
     "<lsql><update><interface name=\"eth0\"><mtu>1400</mtu></interface></update></lsql>", ""},
};

class Changes : public ReferenceBoards, public testing::WithParamInterface<BoardChange> {};

TEST_P(Changes, RunOnlyWhatTheyAskFor)
{
    boot({"-f", "-d"});
    ASSERT_TRUE(console_shows("ng_migrate"));
    forget_commands();

    EXPECT_THAT(lsql(GetParam().request), HasSubstr("<rc>0</rc>"));

    EXPECT_EQ(commands(), GetParam().commands);
}

INSTANTIATE_TEST_SUITE_P(Of, Changes, testing::ValuesIn(board_changes),
                         [](const auto &each) { return std::string(each.param.name); });

} // namespace
