/* SPDX-License-Identifier: MIT */
/*
 * A request that comes through a door, and one that a plugin nests in it: at every place, of every
 * kind, while somebody listens. Both happen, both are saved, and whoever listens hears of it.
 */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "attacked_device.h"

namespace {

using testing::HasSubstr;
using vorn::tests::notices_port;
using vorn::tests::RawClient;

enum class Door { lsql, stream, inform };

struct Nesting {
    const char *place;
    const char *kind;
    Door door;
};

class NestingAttacks : public vorn::tests::AttackedDevice,
                       public testing::WithParamInterface<Nesting> {
protected:
    void SetUp() override
    {
        AttackedDevice::SetUp();
        install_plugin("nested.vorn");
        write_file("/etc/config/config.xml",
                   "<config><Nested name=\"n\"/><Nested name=\"old\"/></config>");
        boot();
    }

    static std::string nested()
    {
        return answer_to("<lsql><select><Nested><value/><note/></Nested></select></lsql>");
    }

    /* What is there once both have been done; a nested transaction is refused. */
    static std::string expected()
    {
        const std::string kind = GetParam().kind;
        const auto has = [&](const char *word) { return kind.find(word) != std::string::npos; };
        const std::string note = "<note>" + std::string(GetParam().place) + "-" + kind + "</note>";
        std::string text;
        if (kind != "delete-it") {
            const bool updated = !has("insert") && !has("delete") && !is_refused();
            text +=
                "<Nested name=\"n\"><value>7</value>" + (updated ? note : "<note/>") + "</Nested>";
        }
        const bool deleted = has("delete") && kind != "delete-it";
        if (!deleted) text += "<Nested name=\"old\"><value/><note/></Nested>";
        if (has("insert")) text += "<Nested name=\"new\"><value/>" + note + "</Nested>";
        return text;
    }

    /* Before the update has looked for what it is to change. */
    static bool is_gone_at_once()
    {
        return std::string(GetParam().kind) == "delete-it" &&
               std::string(GetParam().place) == "refresh";
    }

    static bool is_refused()
    {
        return std::string(GetParam().kind).find("transaction") != std::string::npos;
    }

    /* Answers whether it was done. */
    static testing::AssertionResult change_value(const std::string &value)
    {
        const std::string place = "place=" + std::string(GetParam().place);
        const std::string kind = "kind=" + std::string(GetParam().kind);
        if (GetParam().door == Door::inform) {
            const std::string outer = "outer=" + value;
            const std::string reply = inform("nest", {place.c_str(), kind.c_str(), outer.c_str()});
            return testing::AssertionResult(reply == "OK\n") << reply;
        }
        inform("nest", {place.c_str(), kind.c_str()});
        const auto ask = GetParam().door == Door::stream ? answer_on_stream : answer_to;
        const std::string reply = ask("<lsql><update><Nested name=\"n\"><value>" + value +
                                      "</value></Nested></update></lsql>");
        const bool is_done =
            reply.find(is_gone_at_once() ? "<rc>0</rc><counter>0</counter>"
                                         : "<rc>0</rc><counter>1</counter>") != std::string::npos;
        return testing::AssertionResult(is_done) << reply;
    }
};

TEST_P(NestingAttacks, LoseNeitherOfTheTwo)
{
    RawClient subscriber(notices_port);
    subscriber.send("x");
    for (int pass = 0; pass < 2; pass++) /* one to be taken, one to be heard */
        answer_to("<lsql/>");

    EXPECT_TRUE(change_value("7"));

    EXPECT_THAT(nested(), HasSubstr("<dataset>" + expected() + "</dataset>")) << console();
    EXPECT_THAT(subscriber.receive_until(std::string("\n\0", 2)), HasSubstr("conf"));
    EXPECT_THAT(answer_to("<lsql><update><Nested name=\"old\"><value>8</value></Nested></update>"
                          "</lsql>"),
                HasSubstr("<rc>0</rc>"));
    const std::string before = nested();
    shut_down();
    boot();
    EXPECT_EQ(nested(), before);
}

std::vector<Nesting> nestings()
{
    std::vector<Nesting> all;
    for (const char *place : {"refresh", "validator", "commit"})
        for (const char *kind :
             {"active", "passive", "object", "insert", "passive-insert", "delete", "passive-delete",
              "delete-it", "transaction", "passive-transaction"})
            for (const Door door : {Door::lsql, Door::inform})
                all.push_back({place, kind, door});
    /* Which hears and answers by itself, and evaluates as the first door does. */
    for (const char *place : {"refresh", "validator", "commit"})
        for (const char *kind : {"active", "passive", "transaction"})
            all.push_back({place, kind, Door::stream});
    return all;
}

std::string name_of(const testing::TestParamInfo<Nesting> &each)
{
    std::string kind = each.param.kind;
    std::replace(kind.begin(), kind.end(), '-', '_');
    static constexpr const char *doors[] = {"lsql", "stream", "inform"};
    return std::string(doors[static_cast<int>(each.param.door)]) + "_" + each.param.place + "_" +
           kind;
}

INSTANTIATE_TEST_SUITE_P(By, NestingAttacks, testing::ValuesIn(nestings()), name_of);

} // namespace
