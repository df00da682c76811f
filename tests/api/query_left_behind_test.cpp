/* SPDX-License-Identifier: MIT */
/* What a transaction leaves behind of a class of a thousand, by how it finds what it changes. */
#include "api/query_fixture.h"
#include "change/refresher_record.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using vorn::Owned;
using vorn::tests::QueryTest;

const char *keep_value(vorn_instance *, const char *, vorn_refresh_info *)
{
    return nullptr;
}

/* Radios have a value that a refresher is asked for. */
class LeftBehind : public QueryTest {
protected:
    LeftBehind() : QueryTest(add_refresher)
    {
        for (int i = 0; i < 1000; i++) {
            const std::string number = std::to_string(i);
            put("Radio", ("many" + number).c_str(), {{"channel", number.c_str()}});
        }
    }

    /* Instances, by a transaction of one update. */
    unsigned long by(const std::string &update, const std::string &where = "")
    {
        const unsigned long before = vorn_instances_get_left_behind();
        const std::string answer = ask("<lsql><write-transaction><update>" + update + "</update>" +
                                       where + "</write-transaction></lsql>");
        EXPECT_NE(answer.find("<rc>0</rc><counter>1</counter>"), std::string::npos) << answer;
        return vorn_instances_get_left_behind() - before;
    }

    static std::string where(const std::string &property, const std::string &value)
    {
        return "<where><eq><property>" + property + "</property><value>" + value +
               "</value></eq></where>";
    }

private:
    static void add_refresher()
    {
        refresher = vorn_refresher_new("Radio");
        vorn_refresher_set_property_fn(refresher, "uptime", keep_value);
        vorn_provider *provider = vorn_provider_new("refresher of Radio");
        vorn_provider_set_refresh_fn(provider, vorn_refresher_fn, refresher);
        vorn_providers_add(provider);
    }

    static vorn_refresher *refresher;

protected:
    ~LeftBehind() override { delete std::exchange(refresher, nullptr); }
};

constinit vorn_refresher *LeftBehind::refresher = nullptr;

TEST_F(LeftBehind, IsTheOneInstanceThatANameFinds)
{
    EXPECT_EQ(by("<Radio name=\"many500\"><mode>x</mode></Radio>"), 1U);
}

TEST_F(LeftBehind, IsTheOneInstanceThatAWhereFindsAmongAll)
{
    EXPECT_EQ(by("<Radio><mode>x</mode></Radio>", where("channel", "500")), 1U);
}

/* A function that is given an instance may hold it. */
TEST_F(LeftBehind, IsWhateverARefresherIsGivenForAWhere)
{
    EXPECT_EQ(by("<Radio><mode>x</mode></Radio>",
                 "<where><and><eq><property>channel</property><value>500</value></eq><not>"
                 "<property>uptime</property></not></and></where>"),
              1002U);
}

} // namespace
