/* SPDX-License-Identifier: MIT */
#include "support/device.h"
#include "support/raw_client.h"
#include "support/reason.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <arpa/inet.h>
#include <sys/resource.h>

namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;
using vorn::tests::Device;
using vorn::tests::error_file;
using vorn::tests::framed;
using vorn::tests::lsql_door;
using vorn::tests::native;
using vorn::tests::RawClient;
using vorn::tests::reason;

constexpr char declaration[] = "<?xml version=\"1.0\"?>\n";
constexpr char select_radio[] =
    "<lsql><select><Radio name=\"r0\"><channel/></Radio></select></lsql>";
constexpr char radio_on_6[] = "<?xml version=\"1.0\"?>\n<lsql_result><dataset><Radio name=\"r0\">"
                              "<channel>6</channel></Radio></dataset><rc>0</rc>"
                              "<counter>1</counter></lsql_result>\n";
constexpr unsigned int largest_request = 16u << 20;

/* A board with one radio, up and serving. */
class LsqlSockets : public Device {
protected:
    void SetUp() override
    {
        Device::SetUp();
        install_plugin("board.vorn");
        write_file("/etc/config/config.xml",
                   "<config><Radio name=\"r0\"><channel>6</channel></Radio></config>");
        boot();
    }

    static std::string request_for_a_large_reply()
    {
        std::string request = "<lsql>";
        for (int i = 0; i < 20000; i++)
            request += "<select><Radio properties=\"all\"/></select>";
        return request + "</lsql>";
    }

    static std::uintmax_t error_size() { return std::filesystem::file_size(error_file); }

    /* By the door itself, where the client library would take the other one. */
    static std::string answer_at_the_door()
    {
        RawClient client(lsql_door);
        client.send(framed(select_radio));
        return client.receive_all();
    }

    static void expect_service() { EXPECT_EQ(answer_at_the_door(), radio_on_6); }
};

TEST_F(LsqlSockets, AnswerOneRequestAndClose)
{
    RawClient client(lsql_door);
    client.send(framed(select_radio));

    EXPECT_EQ(client.receive_all(), radio_on_6);
}

TEST_F(LsqlSockets, EndAtOnceForALengthOfZero)
{
    RawClient client(lsql_door);
    client.send(native(0));

    EXPECT_EQ(client.receive_all(), "");
    expect_service();
}

TEST_F(LsqlSockets, EndForALengthThatIsCutShort)
{
    RawClient client(lsql_door);
    client.send("ab");
    client.half_close();

    EXPECT_EQ(client.receive_all(), "");
    expect_service();
}

TEST_F(LsqlSockets, AnswerNothingToWhatIsNoXml)
{
    RawClient client(lsql_door);
    client.send(framed("hello"));

    EXPECT_EQ(client.receive_all(), "");
    EXPECT_TRUE(console_shows("vorn: Invalid LSQL request: hello\n"));
}

TEST_F(LsqlSockets, NeverReadASecondRequest)
{
    RawClient client(lsql_door);
    client.send(framed(select_radio) + framed(select_radio));

    EXPECT_EQ(client.receive_all(), radio_on_6);
}

TEST_F(LsqlSockets, AnswerAlsoWhenMoreBytesFollowTheRequest)
{
    for (int round = 0; round < 20; round++) {
        RawClient client(lsql_door);
        client.send(framed(select_radio) + std::string(100000, 'x'));

        ASSERT_EQ(client.receive_all(), radio_on_6) << round;
    }
}

TEST_F(LsqlSockets, ServeTwoClientsOneAfterTheOther)
{
    RawClient first(lsql_door);
    RawClient second(lsql_door);
    second.send(framed(select_radio));
    first.send(framed(select_radio));

    EXPECT_EQ(first.receive_all(), radio_on_6);
    EXPECT_EQ(second.receive_all(), radio_on_6);
}

TEST_F(LsqlSockets, AnswerARequestOfWhichTheEndIsMissing)
{
    RawClient client(lsql_door);
    client.send(native(1000) + select_radio);
    client.half_close();

    EXPECT_EQ(client.receive_all(), radio_on_6);
}

TEST_F(LsqlSockets, RefuseRequestsLongerThan16Mebibytes)
{
    for (const unsigned int length : {largest_request + 1, 0x7FFFFFFFu, 0xFFFFFFFFu}) {
        RawClient client(lsql_door);
        client.send(native(length));

        EXPECT_EQ(client.receive_all(), "") << length;
    }
    EXPECT_TRUE(console_shows("too long", 3));
    expect_service();
}

TEST_F(LsqlSockets, TakeARequestOf16Mebibytes)
{
    const std::string padding = "<!--" + std::string(1000000, ' ') + "-->";
    std::string request = "<lsql><select><Radio name=\"r0\"><channel/></Radio></select></lsql>";
    while (request.size() + padding.size() <= largest_request)
        request += padding;
    request.append(largest_request - request.size(), '\n');

    RawClient client(lsql_door);
    client.send(framed(request));

    EXPECT_EQ(client.receive_all(), radio_on_6);
}

TEST_F(LsqlSockets, GiveUpOnAClientThatSaysNothing)
{
    RawClient silent(lsql_door);

    EXPECT_TRUE(silent.closed_within(20));
    EXPECT_TRUE(console_shows("vorn: LSQL client took too long to send its request.\n"));
    expect_service();
}

TEST_F(LsqlSockets, GiveUpOnAClientThatTakesTooLongInTotal)
{
    RawClient slow(lsql_door);
    const std::string request = framed(std::string(200, ' '));

    int sent = 0;
    while (sent < 100 && !slow.closed_within(1)) {
        slow.send(request.substr(static_cast<std::size_t>(sent), 1));
        sent++;
    }

    EXPECT_LT(sent, 50); /* each would have had its five seconds */
    EXPECT_TRUE(console_shows("vorn: LSQL client took too long to send its request.\n"));
    expect_service();
}

TEST_F(LsqlSockets, SendAReplyLargerThanTheSocketBuffer)
{
    RawClient client(lsql_door);
    client.send(framed(request_for_a_large_reply()));

    const std::string reply = client.receive_all();
    EXPECT_THAT(reply, StartsWith(declaration));
    EXPECT_THAT(reply, EndsWith("</lsql_result>\n"));
    EXPECT_GT(reply.size(), 2000000u);
}

TEST_F(LsqlSockets, GiveUpOnAClientThatDoesNotTakeItsReply)
{
    RawClient deaf(lsql_door);
    deaf.send(framed(request_for_a_large_reply()));

    EXPECT_TRUE(console_shows("vorn: LSQL client took too long to take its reply.\n"));
    expect_service();
}

class LsqlSocketsWithoutDescriptors : public LsqlSockets {
protected:
    /* Lets the daemon have no descriptor from this one on. */
    void allow_below(rlim_t limit)
    {
        const rlimit few = {limit, 1024};
        ASSERT_EQ(prlimit(daemon_pid(), RLIMIT_NOFILE, &few, nullptr), 0);
    }
    rlim_t lowest_free() const
    {
        const std::string folder = "/proc/" + std::to_string(daemon_pid()) + "/fd/";
        expect_service(); /* every door is open, and nobody is there */
        rlim_t lowest = 0;
        while (exists(folder + std::to_string(lowest)))
            lowest++;
        return lowest;
    }
};

TEST_F(LsqlSocketsWithoutDescriptors, AnswerWithTheirReserve)
{
    allow_below(lowest_free());

    for (int round = 0; round < 3; round++)
        expect_service();
    EXPECT_THAT(standard_error(), Not(HasSubstr("do_sockapi")));
}

TEST_F(LsqlSocketsWithoutDescriptors, CloseASilentClientForTheNextOne)
{
    allow_below(lowest_free());
    RawClient silent(lsql_door);

    expect_service();

    EXPECT_TRUE(silent.closed_within(20));
    EXPECT_THAT(console(), Not(HasSubstr("took too long")));
}

TEST_F(LsqlSocketsWithoutDescriptors, WaitForOneWhenTheReserveIsGoneToo)
{
    expect_service();
    constexpr rlim_t not_even_the_reserve = 3;
    allow_below(not_even_the_reserve);
    RawClient client(lsql_door);
    client.send(framed(select_radio));
    /* The loop comes back at once, again and again: reading its log now would find no end. */
    const auto quiet = error_size();
    ASSERT_TRUE(comes_true([quiet] { return error_size() > quiet; }));

    allow_below(1024);

    EXPECT_EQ(client.receive_all(), radio_on_6);
    EXPECT_THAT(standard_error(), HasSubstr("vorn: do_sockapi accept: " + reason(EMFILE) + "\n"));
}

TEST_F(LsqlSockets, ServeOthersWhileClientsAreSilentOrDeaf)
{
    std::vector<std::unique_ptr<RawClient>> clients;
    for (int i = 0; i < 20; i++) {
        clients.push_back(std::make_unique<RawClient>(lsql_door));
        clients.push_back(std::make_unique<RawClient>("vorn_sock_inform"));
        clients.push_back(std::make_unique<RawClient>(lsql_door));
        clients.back()->send(framed(select_radio).substr(0, 20));
    }
    clients.push_back(std::make_unique<RawClient>(lsql_door));
    clients.back()->send(framed(request_for_a_large_reply()));

    expect_service();
    EXPECT_FALSE(clients.front()->closed_within(0));
}

/* The door for clients that stay. */
class LsqlStreams : public LsqlSockets {
protected:
    static std::string big_endian(std::uint32_t number) { return native(htonl(number)); }
    static std::string frame(std::uint32_t number, const std::string &text)
    {
        return big_endian(number) + big_endian(static_cast<std::uint32_t>(text.size())) + text;
    }
};

constexpr char stream_door[] = "vorn_sock_lsql_stream";

TEST_F(LsqlStreams, AnswerEachRequestWithItsNumberInOrder)
{
    RawClient client(stream_door);
    std::string expected;
    for (std::uint32_t number = 3; number > 0; number--) {
        client.send(frame(number, select_radio));
        expected += frame(number, radio_on_6);
    }
    client.send(frame(99, "no XML"));
    expected += frame(99, "");
    client.half_close();

    EXPECT_EQ(client.receive_all(), expected);
}

TEST_F(LsqlStreams, AnswerAgainAfterASilence)
{
    RawClient client(stream_door);
    client.send(frame(1, select_radio));
    EXPECT_EQ(client.receive_until("</lsql_result>\n"), frame(1, radio_on_6));
    std::this_thread::sleep_for(std::chrono::milliseconds(5300)); /* more than a request may take */

    client.send(frame(2, select_radio));
    client.half_close();

    EXPECT_EQ(client.receive_all(), frame(2, radio_on_6));
}

TEST_F(LsqlStreams, ShowOneClientWhatAnotherHasChanged)
{
    RawClient client(stream_door);
    client.send(frame(1, select_radio));
    client.receive_until("</lsql_result>\n");
    lsql("<lsql><update><Radio name=\"r0\"><channel>11</channel></Radio></update></lsql>");

    client.send(frame(2, select_radio));

    EXPECT_THAT(client.receive_until("</lsql_result>\n"), HasSubstr("<channel>11</channel>"));
}

TEST_F(LsqlStreams, CloseOnWhatIsNoFrameAndSayWhy)
{
    RawClient empty(stream_door);
    empty.send(frame(1, ""));
    RawClient endless(stream_door);
    endless.send(big_endian(1) + big_endian(largest_request + 1));
    RawClient cut(stream_door);
    cut.send(frame(1, select_radio).substr(0, 20));
    cut.half_close();

    EXPECT_EQ(empty.receive_all() + endless.receive_all() + cut.receive_all(), "");
    EXPECT_TRUE(console_shows("vorn: LSQL stream request is empty.\n"));
    EXPECT_TRUE(console_shows("vorn: LSQL stream request of 16777217 bytes is too long.\n"));
    EXPECT_TRUE(console_shows("vorn: LSQL stream client left in the middle of a request.\n"));
    expect_service();
}

/* What a slow client has not taken of its reply it still gets. */
TEST_F(LsqlSockets, SendTheRestOfAReplyWhenTheDaemonEnds)
{
    RawClient client(lsql_door);
    client.send(framed(request_for_a_large_reply()));
    const std::string begin = client.receive_until("<rc>0</rc>");
    kill(daemon_pid(), SIGTERM);

    EXPECT_THAT(begin + client.receive_all(), EndsWith("</lsql_result>\n"));
}

TEST_F(LsqlSockets, OutliveAClientThatGoesBeforeItsReply)
{
    for (int round = 0; round < 20; round++) {
        RawClient client(lsql_door);
        client.send(framed(select_radio));
    }

    expect_service();
}

TEST_F(LsqlSockets, AreNotDisturbedByAChildThatEndsWhileARequestArrives)
{
    RawClient client(lsql_door);
    const std::string request = framed(select_radio);
    client.send(request.substr(0, 20));
    for (int i = 0; i < 50; i++) {
        kill(daemon_pid(), SIGCHLD);
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    client.send(request.substr(20));

    EXPECT_EQ(client.receive_all(), radio_on_6);
}

TEST_F(LsqlSockets, ServeFiftyClientsThatComeTogether)
{
    std::vector<std::unique_ptr<RawClient>> clients;
    for (int i = 0; i < 50; i++)
        clients.push_back(std::make_unique<RawClient>(lsql_door));
    for (auto &client : clients)
        client->send(framed(select_radio));

    for (auto &client : clients)
        ASSERT_EQ(client->receive_all(), radio_on_6);
}

/* Also among those who are silent, and whoever connected first. */
TEST_F(LsqlSockets, ServeRequestsInTheOrderInWhichTheyWereSent)
{
    for (int round = 0; round < 20; round++) {
        std::vector<std::unique_ptr<RawClient>> clients;
        for (int i = 0; i < 12; i++)
            clients.push_back(std::make_unique<RawClient>(lsql_door));
        answer_at_the_door(); /* all have been taken: until then the order of arrival counts */
        for (int i = 11; i > 0; i--)
            clients[static_cast<std::size_t>(i)]->send(
                framed("<lsql><update><Radio name=\"r0\"><channel>" + std::to_string(i) +
                       "</channel></Radio></update></lsql>"));

        EXPECT_THAT(answer_at_the_door(), HasSubstr("<channel>1</channel>"));
        EXPECT_FALSE(clients.front()->closed_within(0));
    }
}

TEST_F(LsqlSockets, GiveTheSavedConfigurationAsItIs)
{
    EXPECT_EQ(lsql("<get_conf/>"), read_file("/etc/config/config.xml"));
}

TEST_F(LsqlSockets, SayWhyThereIsNoSavedConfiguration)
{
    write_file("/etc/config/config.xml", "");
    EXPECT_EQ(lsql("<get_conf/>"),
              "<?xml version=\"1.0\"?><error>Config file is zero-length.</error>\n");

    std::filesystem::remove("/etc/config/config.xml");
    EXPECT_EQ(lsql("<get_conf/>"),
              "<?xml version=\"1.0\"?><error>Can't read config file.</error>\n");
}

TEST_F(LsqlSockets, ReadNoFileThatARequestNames)
{
    RawClient client(lsql_door);
    client.send(
        framed("<!DOCTYPE lsql [<!ENTITY it SYSTEM \"/etc/config/config.xml\">]>"
               "<lsql><insert><Radio name=\"x\"><mode>&it;</mode></Radio></insert></lsql>"));

    EXPECT_THAT(client.receive_all(), Not(HasSubstr("<rc>0</rc>")));
    EXPECT_THAT(lsql("<lsql><select><Radio/></select></lsql>"), Not(HasSubstr("\"x\"")));
}

TEST_F(LsqlSockets, ExplodeForNoBomb)
{
    std::string bomb = "<!DOCTYPE lsql [<!ENTITY a \"aaaaaaaaaa\">";
    for (char name = 'b'; name <= 'z'; name++) {
        const std::string before = std::string("&") + static_cast<char>(name - 1) + ";";
        bomb += std::string("<!ENTITY ") + name + " \"";
        for (int i = 0; i < 10; i++)
            bomb += before;
        bomb += "\">";
    }
    RawClient client(lsql_door);
    client.send(framed(bomb + "]><lsql><select><Radio>&z;</Radio></select></lsql>"));

    EXPECT_EQ(client.receive_all(), "");
    expect_service();
}

TEST_F(LsqlSockets, AnswerWhatIsTooDeepWithNothing)
{
    std::string deep = "<lsql>";
    for (int i = 0; i < 100000; i++)
        deep += "<and>";
    RawClient client(lsql_door);
    client.send(framed(deep));

    EXPECT_EQ(client.receive_all(), "");
    expect_service();
}

} // namespace
