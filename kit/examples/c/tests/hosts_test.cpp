/* SPDX-License-Identifier: MIT */
#include <gmock/gmock.h>

#include <vorn-test/device.h>

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class Hosts : public vorn::test::Device {
protected:
    void SetUp() override
    {
        Device::SetUp();
        stand_in("killall");
        boot();
    }
};

TEST_F(Hosts, AreWrittenAtBoot)
{
    EXPECT_EQ(read_file("/etc/hosts"), "127.0.0.1 localhost\n192.168.1.20 printer lpd\n");
    EXPECT_THAT(commands_run(), ElementsAre("killall -HUP dnsmasq"));
}

TEST_F(Hosts, FollowEachChange)
{
    lsql("<lsql><insert><host name=\"nas\"><address>192.168.1.30</address></host></insert></lsql>");
    lsql("<lsql><delete><host name=\"printer\"/></delete></lsql>");

    EXPECT_EQ(read_file("/etc/hosts"), "127.0.0.1 localhost\n192.168.1.30 nas\n");
}

TEST_F(Hosts, LetNoNameBecomeALine)
{
    lsql("<lsql><insert><host name=\"x&#10;10.0.0.1 bank\"><address>10.0.0.2</address></host>"
         "</insert></lsql>");

    EXPECT_EQ(read_file("/etc/hosts"), "127.0.0.1 localhost\n192.168.1.20 printer lpd\n");
}

TEST_F(Hosts, SayWhatAChangeWouldDo)
{
    EXPECT_THAT(lsql("<explain><delete><host/></delete></explain>"),
                HasSubstr("<effect weight=\"live\">names are found as /etc/hosts has them then"));

    EXPECT_THAT(read_file("/etc/hosts"), HasSubstr("printer"));
}

TEST_F(Hosts, AreLeftAloneByAReadAndByWhatIsRefused)
{
    forget_runs();

    lsql("<lsql><select><host/></select></lsql>");
    EXPECT_THAT(lsql("<lsql><insert><host name=\"nas\"/></insert></lsql>"),
                HasSubstr("Instance is invalid"));

    EXPECT_THAT(commands_run(), IsEmpty());
}

} // namespace
