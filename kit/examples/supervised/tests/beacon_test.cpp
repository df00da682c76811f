/* SPDX-License-Identifier: MIT */
#include <gmock/gmock.h>

#include <vorn-test/device.h>

namespace {

using testing::HasSubstr;

class Beacons : public vorn::test::Device {
protected:
    static void set(const std::string &text)
    {
        lsql("<lsql><write-transaction><update><beacon><text>" + text +
             "</text></beacon></update></write-transaction></lsql>");
    }

    static testing::AssertionResult state_becomes(const std::string &wanted)
    {
        return comes_true([&] {
            return lsql("<lsql><select><beacon><state/></beacon></select></lsql>")
                       .find("<state>" + wanted + "</state>") != std::string::npos;
        });
    }
};

TEST_F(Beacons, RunWithTheirText)
{
    stand_in("beacond", "cat \"$2\" >>/tmp/sent; exec sleep 1000");
    boot();
    EXPECT_TRUE(state_becomes("stopped"));

    set("hello");
    EXPECT_TRUE(comes_true([] { return read_file("/tmp/sent") == "text=hello\n"; }));
    EXPECT_TRUE(state_becomes("running"));
    set("goodbye");
    EXPECT_TRUE(state_becomes("running"));

    EXPECT_TRUE(comes_true([] { return read_file("/tmp/sent") == "text=hello\ntext=goodbye\n"; }));
    EXPECT_EQ(commands_run().size(), 2u);
}

TEST_F(Beacons, SayWhatAChangeWouldDo)
{
    const auto said = [](const std::string &text) {
        return lsql("<explain><update><beacon><text>" + text +
                    "</text></beacon></update></explain>");
    };
    stand_in("beacond", "exec sleep 1000");
    boot();
    EXPECT_THAT(said("hello"), HasSubstr("<effect weight=\"live\">beacond starts</effect>"));
    set("hello");
    EXPECT_TRUE(state_becomes("running"));

    EXPECT_THAT(said("hello"), testing::Not(HasSubstr("beacond")));
    EXPECT_THAT(said("goodbye"), HasSubstr("<effect weight=\"interrupts\">beacond starts anew"));
    EXPECT_THAT(said(""), HasSubstr("<effect weight=\"interrupts\">beacond ends</effect>"));
    EXPECT_TRUE(comes_true([] { return commands_run().size() == 1; }));
}

TEST_F(Beacons, ReadWhatTheFirstVersionSaved)
{
    stand_in("beacond", "cat \"$2\" >>/tmp/sent; exec sleep 1000");
    write_file(vorn::test::startup_file,
               "<config><beacon><message>hello</message></beacon></config>");
    boot();

    EXPECT_TRUE(state_becomes("running"));
    EXPECT_TRUE(comes_true([] { return read_file("/tmp/sent") == "text=hello\n"; }));
    EXPECT_TRUE(console_shows("Schema \"beacon\": migrated from version 0 to 1."));
}

TEST_F(Beacons, TellWhyTheyDoNotRun)
{
    stand_in("beacond", "echo no antenna >&2; exit 1");
    boot();

    set("hello");

    EXPECT_TRUE(state_becomes("failed: no antenna"));
    EXPECT_TRUE(console_shows("beacond has ended; it is started again in 1 s."));
}

TEST_F(Beacons, DelayNobodyWhenTheyHang)
{
    stand_in("beacond", "echo $$ >/tmp/pid; exec sleep 1000");
    boot();
    set("hello");
    ASSERT_TRUE(comes_true([] {
        return shell("kill -STOP $(cat /tmp/pid) && grep -c ^State:.T /proc/$(cat "
                     "/tmp/pid)/status") == "1\n";
    }));

    set("");

    EXPECT_TRUE(state_becomes("applying: it has not ended yet"));
    EXPECT_TRUE(state_becomes("stopped"));
    EXPECT_THAT(console(), HasSubstr("beacond does not end; it is killed."));
}

} // namespace
