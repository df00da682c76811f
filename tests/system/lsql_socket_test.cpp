/* SPDX-License-Identifier: MIT */
#include "support/device.h"
#include "support/raw_client.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <string>
#include <thread>

namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;
using vorn::tests::Device;
using vorn::tests::framed;
using vorn::tests::native;
using vorn::tests::RawClient;

constexpr char door[] = "vorn_sock_lsql";
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

    static void expect_service() { EXPECT_EQ(lsql(select_radio), radio_on_6); }
};

TEST_F(LsqlSockets, AnswerOneRequestAndClose)
{
    RawClient client(door);
    client.send(framed(select_radio));

    EXPECT_EQ(client.receive_all(), radio_on_6);
}

TEST_F(LsqlSockets, EndAtOnceForALengthOfZero)
{
    RawClient client(door);
    client.send(native(0));

    EXPECT_EQ(client.receive_all(), "");
    expect_service();
}

TEST_F(LsqlSockets, EndForALengthThatIsCutShort)
{
    RawClient client(door);
    client.send("ab");
    client.half_close();

    EXPECT_EQ(client.receive_all(), "");
    expect_service();
}

TEST_F(LsqlSockets, AnswerNothingToWhatIsNoXml)
{
    RawClient client(door);
    client.send(framed("hello"));

    EXPECT_EQ(client.receive_all(), "");
    EXPECT_TRUE(console_shows("vorn: Invalid LSQL request: hello\n"));
}

TEST_F(LsqlSockets, NeverReadASecondRequest)
{
    RawClient client(door);
    client.send(framed(select_radio) + framed(select_radio));

    EXPECT_EQ(client.receive_all(), radio_on_6);
}

TEST_F(LsqlSockets, AnswerAlsoWhenMoreBytesFollowTheRequest)
{
    for (int round = 0; round < 20; round++) {
        RawClient client(door);
        client.send(framed(select_radio) + std::string(100000, 'x'));

        ASSERT_EQ(client.receive_all(), radio_on_6) << round;
    }
}

TEST_F(LsqlSockets, ServeTwoClientsOneAfterTheOther)
{
    RawClient first(door);
    RawClient second(door);
    second.send(framed(select_radio));
    first.send(framed(select_radio));

    EXPECT_EQ(first.receive_all(), radio_on_6);
    EXPECT_EQ(second.receive_all(), radio_on_6);
}

TEST_F(LsqlSockets, AnswerARequestOfWhichTheEndIsMissing)
{
    RawClient client(door);
    client.send(native(1000) + select_radio);
    client.half_close();

    EXPECT_EQ(client.receive_all(), radio_on_6);
}

TEST_F(LsqlSockets, RefuseRequestsLongerThan16Mebibytes)
{
    for (const unsigned int length : {largest_request + 1, 0x7FFFFFFFu, 0xFFFFFFFFu}) {
        RawClient client(door);
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

    RawClient client(door);
    client.send(framed(request));

    EXPECT_EQ(client.receive_all(), radio_on_6);
}

TEST_F(LsqlSockets, GiveUpOnAClientThatSaysNothing)
{
    RawClient silent(door);

    EXPECT_TRUE(silent.closed_within(20));
    EXPECT_TRUE(console_shows("vorn: lsql client took too long to send its request.\n"));
    expect_service();
}

TEST_F(LsqlSockets, GiveUpOnAClientThatTakesTooLongInTotal)
{
    RawClient slow(door);
    const std::string request = framed(std::string(200, ' '));

    int sent = 0;
    while (sent < 100 && !slow.closed_within(1)) {
        slow.send(request.substr(static_cast<std::size_t>(sent), 1));
        sent++;
    }

    EXPECT_LT(sent, 9);
    expect_service();
}

TEST_F(LsqlSockets, SendAReplyLargerThanTheSocketBuffer)
{
    std::string request = "<lsql>";
    for (int i = 0; i < 20000; i++)
        request += "<select><Radio properties=\"all\"/></select>";
    request += "</lsql>";

    RawClient client(door);
    client.send(framed(request));

    const std::string reply = client.receive_all();
    EXPECT_THAT(reply, StartsWith(declaration));
    EXPECT_THAT(reply, EndsWith("</lsql_result>\n"));
    EXPECT_GT(reply.size(), 2000000u);
}

TEST_F(LsqlSockets, GiveUpOnAClientThatDoesNotTakeItsReply)
{
    std::string request = "<lsql>";
    for (int i = 0; i < 20000; i++)
        request += "<select><Radio properties=\"all\"/></select>";
    request += "</lsql>";

    RawClient deaf(door);
    deaf.send(framed(request));

    expect_service();
}

TEST_F(LsqlSockets, OutliveAClientThatGoesBeforeItsReply)
{
    for (int round = 0; round < 20; round++) {
        RawClient client(door);
        client.send(framed(select_radio));
    }

    expect_service();
}

TEST_F(LsqlSockets, AreNotDisturbedByAChildThatEndsWhileARequestArrives)
{
    RawClient client(door);
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
        clients.push_back(std::make_unique<RawClient>(door));
    for (auto &client : clients)
        client->send(framed(select_radio));

    for (auto &client : clients)
        ASSERT_EQ(client->receive_all(), radio_on_6);
}

TEST_F(LsqlSockets, GiveTheSavedConfigurationAsItIs)
{
    EXPECT_EQ(lsql("<get_conf/>"), read_file("/etc/config/config.xml"));
}

} // namespace
