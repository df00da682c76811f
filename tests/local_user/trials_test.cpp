/* SPDX-License-Identifier: MIT */
/* Who takes a change that is on trial back: whoever knows its id, and root without it. */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "local_user/local_user.h"
#include "system/words_of_trials.h"

namespace {

using testing::HasSubstr;
using namespace vorn::tests;

class TrialsAmongUsers : public LocalUsers {
protected:
    void SetUp() override
    {
        LocalUsers::SetUp();
        install_plugin("save.vorn");
        install_plugin("trial.vorn");
        write_file(startup, "<config><Radio name=\"a\"/></config>");
        boot();
        lsql(transaction(channel("a", "7") + trial("<seconds>600</seconds>")));
    }

    /* The answer to the request of somebody who is not root. */
    std::string revert_as_local_user(const std::string &id)
    {
        const std::string request = transaction(trial("<revert>" + id + "</revert>"));
        EXPECT_EQ(as_local_user([&] {
                      write_file("/tmp/answer", lsql(request));
                      return 0;
                  }),
                  0);
        return read_file("/tmp/answer");
    }
};

TEST_F(TrialsAmongUsers, AreNotRevertedWithoutTheIdByWhoIsNotRoot)
{
    EXPECT_THAT(revert_as_local_user("now"),
                HasSubstr("the change that is on trial has another id.</error>"));
    EXPECT_EQ(told("state"), "pending");
    EXPECT_THAT(lsql("<lsql><select><Radio><channel/></Radio></select></lsql>"),
                HasSubstr("<channel>7<"));

    EXPECT_THAT(lsql(transaction(trial("<revert>now</revert>"))), HasSubstr("<rc>0</rc>"));
    EXPECT_EQ(told("state"), "none");
}

TEST_F(TrialsAmongUsers, AreRevertedByAnybodyWithTheId)
{
    EXPECT_THAT(revert_as_local_user(told("id")), HasSubstr("<rc>0</rc>"));

    EXPECT_EQ(told("state"), "none");
}

} // namespace
