/* SPDX-License-Identifier: MIT */
/*
 * A request that comes through a door, and one that a plugin nests in it: at every place, of every
 * kind, while somebody listens. Both happen, both are saved, and whoever listens hears of it.
 */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "attacked_device.h"

namespace {

using testing::HasSubstr;
using vorn::tests::notice_port;
using vorn::tests::RawClient;

struct Nesting {
    const char *place;
    const char *kind;
    bool by_inform;
};

class NestingAttacks : public vorn::tests::AttackedDevice,
                       public testing::WithParamInterface<Nesting> {
protected:
    void SetUp() override
    {
        AttackedDevice::SetUp();
        install_plugin("nested.vorn");
        write_file("/etc/config/config.xml", "<config><Nested name=\"n\"/></config>");
        boot();
    }

    static std::string nested()
    {
        return answer_to("<lsql><select><Nested><value/><note/></Nested></select></lsql>");
    }

    /* Answers whether it was done. */
    static testing::AssertionResult change_value(const std::string &value)
    {
        const std::string place = "place=" + std::string(GetParam().place);
        const std::string kind = "kind=" + std::string(GetParam().kind);
        if (GetParam().by_inform) {
            const std::string outer = "outer=" + value;
            const std::string reply = inform("nest", {place.c_str(), kind.c_str(), outer.c_str()});
            return testing::AssertionResult(reply == "OK\n") << reply;
        }
        inform("nest", {place.c_str(), kind.c_str()});
        const std::string reply = answer_to("<lsql><update><Nested name=\"n\"><value>" + value +
                                            "</value></Nested></update></lsql>");
        const bool is_done = reply.find("<rc>0</rc><counter>1</counter>") != std::string::npos;
        return testing::AssertionResult(is_done) << reply;
    }
};

TEST_P(NestingAttacks, LoseNeitherOfTheTwo)
{
    RawClient subscriber(notice_port);
    subscriber.send("x");
    for (int pass = 0; pass < 2; pass++) /* one to be taken, one to be heard */
        answer_to("<lsql/>");
    const std::string both = "<value>7</value><note>" + std::string(GetParam().place) + "-" +
                             GetParam().kind + "</note>";

    EXPECT_TRUE(change_value("7"));

    EXPECT_THAT(nested(), HasSubstr(both));
    EXPECT_THAT(subscriber.receive_until(std::string("\n\0", 2)), HasSubstr("conf"));
    EXPECT_THAT(answer_to("<lsql><update><Nested><value>7</value></Nested></update></lsql>"),
                HasSubstr("<rc>0</rc><counter>1</counter>"));
    shut_down();
    boot();
    EXPECT_THAT(nested(), HasSubstr(both));
}

std::vector<Nesting> nestings()
{
    std::vector<Nesting> all;
    for (const char *place : {"refresh", "validator", "commit"})
        for (const char *kind : {"active", "passive", "object"})
            for (const bool by_inform : {false, true})
                all.push_back({place, kind, by_inform});
    return all;
}

std::string name_of(const testing::TestParamInfo<Nesting> &each)
{
    return std::string(each.param.by_inform ? "inform" : "lsql") + "_" + each.param.place + "_" +
           each.param.kind;
}

INSTANTIATE_TEST_SUITE_P(By, NestingAttacks, testing::ValuesIn(nestings()), name_of);

} // namespace
