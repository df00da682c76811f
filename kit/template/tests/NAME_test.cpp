/* Each test has a device of its own, with the real daemon, the plugin and tests/config.xml. */
#include <gmock/gmock.h>

#include <vorn-test/device.h>

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class Plugin : public vorn::test::Device {
protected:
    void SetUp() override
    {
        Device::SetUp();
        stand_in("/usr/sbin/@NAME@ctl");
        boot();
    }
};

TEST_F(Plugin, AppliesTheConfigurationAtBoot)
{
    EXPECT_THAT(commands_run(), ElementsAre("/usr/sbin/@NAME@ctl set first 40"));
}

TEST_F(Plugin, AppliesAChangeAndSavesIt)
{
    forget_runs();

    lsql("<lsql><update><@NAME@ name=\"first\"><level>70</level></@NAME@></update></lsql>");

    EXPECT_THAT(commands_run(), ElementsAre("/usr/sbin/@NAME@ctl set first 70"));
    EXPECT_THAT(read_file(vorn::test::startup_file), HasSubstr("<level>70</level>"));
}

TEST_F(Plugin, SwitchesOffWhatIsDeleted)
{
    forget_runs();

    lsql("<lsql><delete><@NAME@ name=\"first\"/></delete></lsql>");

    EXPECT_THAT(commands_run(), ElementsAre("/usr/sbin/@NAME@ctl set first 0"));
}

TEST_F(Plugin, SaysWhatAChangeWouldDo)
{
    forget_runs();

    EXPECT_THAT(lsql("<explain><update><@NAME@ name=\"first\"><level>70</level></@NAME@></update>"
                     "</explain>"),
                HasSubstr("<effect weight=\"live\">first is set to 70</effect>"));

    EXPECT_THAT(commands_run(), IsEmpty());
}

TEST_F(Plugin, RefusesALevelThatMakesNoSense)
{
    forget_runs();

    EXPECT_THAT(lsql("<lsql><update><@NAME@><level>101</level></@NAME@></update></lsql>"),
                HasSubstr("Value \"101\" is not valid"));

    EXPECT_THAT(commands_run(), IsEmpty());
}

TEST_F(Plugin, ReadsTheStateWhenItIsAskedFor)
{
    const char *state = "<lsql><select><@NAME@><state/></@NAME@></select></lsql>";
    EXPECT_THAT(lsql(state), HasSubstr("<state>unknown</state>"));

    shell("mkdir -p /run/@NAME@ && echo ready >/run/@NAME@/first");

    EXPECT_THAT(lsql(state), HasSubstr("<state>ready</state>"));
}

TEST_F(Plugin, WaitsForNobodyWhoSharesTheState)
{
    shell("mkdir -p /run/@NAME@ && mkfifo /run/@NAME@/first");

    EXPECT_THAT(lsql("<lsql><select><@NAME@><state/></@NAME@></select></lsql>"),
                HasSubstr("<state>unknown</state>"));
}

} // namespace
