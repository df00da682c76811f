/* SPDX-License-Identifier: MIT */
/* What is kept beside an instance goes on with it under another name. */
#include "config/kept_fixture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace vorn::tests {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

class RenamedInstanceTest : public KeptPiecesTest {
protected:
    void begin_transaction()
    {
        changes.reset();
        changes.reset(vorn_changes_new(store));
    }

    void add(const char *name, const char *channel)
    {
        vorn_instance *added = vorn_instance_new(vorn_classes_get("Radio"), name);
        vorn_instance_set_value(added, "channel", channel);
        vorn_instances_add(store, added);
        vorn_changes_instance_inserted(changes.get(), added);
    }

    void remove(const char *name)
    {
        vorn_instance *gone = radio(name);
        vorn_instances_remove(store, gone);
        vorn_instance_delete(gone);
    }

    static constexpr char with_pieces[] =
        "<Radio name=\"r\"><channel>1</channel><power>3</power></Radio>"
        "<Radio name=\"r\"><channel>6</channel></Radio>";
};

TEST_F(RenamedInstanceTest, HasWhatIsKeptBesideIt)
{
    reload(with_pieces);
    begin_transaction();
    add("s", "1");
    remove("r");
    kept_pieces->follow(*changes);

    EXPECT_EQ(listed(), "Radio \"s\": power\nRadio \"s\", another one\n");
    EXPECT_EQ(saved(), "  <Radio name=\"s\">\n    <channel>1</channel>\n    <power>3</power>\n"
                       "  </Radio>\n  <Radio name=\"s\">\n    <channel>6</channel>\n  </Radio>\n");
}

TEST_F(RenamedInstanceTest, IsNoneWithOtherValues)
{
    reload(with_pieces);
    begin_transaction();
    add("s", "2");
    remove("r");
    kept_pieces->follow(*changes);

    EXPECT_THAT(saved(), AllOf(Not(HasSubstr("power")), Not(HasSubstr("6"))));
}

TEST_F(RenamedInstanceTest, IsNoneWhenThereAreTwo)
{
    reload(with_pieces);
    begin_transaction();
    add("s", "1");
    add("t", "1");
    remove("r");
    kept_pieces->follow(*changes);

    EXPECT_THAT(saved(), AllOf(Not(HasSubstr("power")), Not(HasSubstr("6"))));
}

TEST_F(RenamedInstanceTest, IsNoneThatWasThereBefore)
{
    reload(std::string(with_pieces) + "<Radio name=\"s\"/>");
    begin_transaction();
    vorn_instance_set_value(radio("s"), "channel", "1");
    remove("r");
    kept_pieces->follow(*changes);

    EXPECT_THAT(saved(), AllOf(Not(HasSubstr("power")), Not(HasSubstr("6"))));
}

TEST_F(RenamedInstanceTest, IsNoneWhileAnotherOneHasTheOldName)
{
    reload(with_pieces);
    begin_transaction();
    remove("r");
    add("s", "1");
    add("r", "11");
    kept_pieces->follow(*changes);

    EXPECT_EQ(listed(), "Radio \"r\": power\nRadio \"r\", another one\n");
}

TEST_F(RenamedInstanceTest, IsForgottenByItsNewName)
{
    reload(with_pieces);
    begin_transaction();
    add("s", "1");
    remove("r");
    kept_pieces->follow(*changes);

    EXPECT_EQ(vorn_config_forget_kept_of("Radio", "r"), 0u);
    EXPECT_EQ(vorn_config_forget_kept_of("Radio", "s"), 2u);
    EXPECT_EQ(saved(), "  <Radio name=\"s\">\n    <channel>1</channel>\n  </Radio>\n");
}

/* Under the old name it would be served after a restart. */
TEST_F(RenamedInstanceTest, LeavesNothingUnderTheOldNameWithoutMemory)
{
    FailEachAllocation(
        [&] {
            {
                const AllocationsAllowed allowed;
                reload(with_pieces);
                begin_transaction();
                add("s", "1");
                remove("r");
            }
            kept_pieces->follow(*changes);

            const AllocationsAllowed allowed;
            EXPECT_THAT(saved(), Not(HasSubstr("\"r\"")));
        },
        6);
}

} // namespace vorn::tests
