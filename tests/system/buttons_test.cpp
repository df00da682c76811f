/* SPDX-License-Identifier: MIT */
/* What buttons do, by how long they were held; FIFOs are the devices that have them. */
#include "support/device.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include <fcntl.h>
#include <linux/input-event-codes.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;

constexpr char used[] = "<config><system><contact>me</contact></system></config>";
constexpr char fresh[] = "<config><system><contact>factory</contact></system></config>";
constexpr char holds[] = "<key>restart</key><restart-after>1</restart-after>"
                         "<factory-reset-after>10</factory-reset-after>";

/* As the kernel gives it to a program of this machine's word. */
struct Event {
    unsigned long seconds;
    unsigned long microseconds;
    std::uint16_t type;
    std::uint16_t code;
    std::int32_t value;
};
static_assert(sizeof(Event) == 2 * sizeof(long) + 8);

/* A device in the place of the kernel's; who has it open says that it is there. */
class Fifo {
public:
    explicit Fifo(const std::string &file) : path_("/dev/input/" + file)
    {
        EXPECT_EQ(mkfifo(path_.c_str(), 0600), 0);
        descriptor_ = open(path_.c_str(), O_RDWR | O_CLOEXEC);
        EXPECT_GE(descriptor_, 0);
    }
    ~Fifo() { close(descriptor_); }
    Fifo(const Fifo &) = delete;
    Fifo &operator=(const Fifo &) = delete;

    void tell(const Event &event) const { write_bytes(&event, sizeof event); }
    void write_bytes(const void *bytes, std::size_t size) const
    {
        EXPECT_EQ(write(descriptor_, bytes, size), static_cast<ssize_t>(size));
    }
    /* Half past a second, so that a look at whole seconds alone is seen. */
    void hold(unsigned long milliseconds, std::uint16_t code = KEY_RESTART) const
    {
        const unsigned long end = 1500 + milliseconds;
        tell({1, 500000, EV_KEY, code, 1});
        tell({1, 500000, EV_SYN, SYN_REPORT, 0});
        tell({2, 0, EV_KEY, code, 2});
        tell({end / 1000, end % 1000 * 1000, EV_KEY, code, 0});
        tell({end / 1000, end % 1000 * 1000, EV_SYN, SYN_REPORT, 0});
    }

private:
    std::string path_;
    int descriptor_ = -1;
};

class Buttons : public vorn::tests::Device {
protected:
    void SetUp() override
    {
        Device::SetUp();
        install_plugin("system.vorn");
        install_plugin("save.vorn");
        stand_in("hostname");
        write_file(vorn::test::startup_file, used);
        write_file("/etc/rescueconfig.xml", fresh);
        ASSERT_EQ(mkdir("/dev/input", 0755), 0);
        boot();
    }

    static std::string change(const std::string &operations)
    {
        return lsql("<lsql><write-transaction>" + operations + "</write-transaction></lsql>");
    }

    static std::string insert(const std::string &values, const std::string &name = "reset")
    {
        return "<insert><button name=\"" + name + "\">" + values + "</button></insert>";
    }

    static std::string told(const std::string &property, const std::string &name = "reset")
    {
        const std::string answer = lsql("<lsql><select><button name=\"" + name + "\"><" + property +
                                        "/></button></select></lsql>");
        const auto begin = answer.find("<" + property + ">");
        if (begin == std::string::npos) return "";
        const auto text = begin + property.size() + 2;
        return answer.substr(text, answer.find("</", text) - text);
    }

    static testing::AssertionResult becomes(const std::string &property, const std::string &wanted)
    {
        return comes_true([&] { return told(property) == wanted; }) << told(property);
    }
};

TEST_F(Buttons, RestartTheDeviceWhenTheyAreLetGo)
{
    const Fifo device("event0");
    change(insert(holds));
    ASSERT_TRUE(becomes("state", "applied"));

    device.hold(1000);

    EXPECT_EQ(exit_status(), 1);
    EXPECT_TRUE(console_shows("Rebooting the system."));
    EXPECT_THAT(read_file(vorn::test::startup_file), HasSubstr("<contact>me</contact>"));
}

TEST_F(Buttons, GoBackToTheFirstConfigurationByTheLongestHoldThatWasReached)
{
    const Fifo device("event0");
    change(insert(holds));
    ASSERT_TRUE(becomes("state", "applied"));

    device.hold(10000);

    EXPECT_EQ(exit_status(), 1);
    EXPECT_TRUE(console_shows("Rebooting the system."));
    EXPECT_EQ(read_file(vorn::test::startup_file), fresh);
}

TEST_F(Buttons, RestartTheDeviceJustBeforeTheLongerHold)
{
    const Fifo device("event0");
    change(insert(holds));
    ASSERT_TRUE(becomes("state", "applied"));

    device.hold(9999);

    EXPECT_EQ(exit_status(), 1);
    EXPECT_THAT(read_file(vorn::test::startup_file), HasSubstr("<contact>me</contact>"));
}

TEST_F(Buttons, RestartTheDeviceWhereThatIsTheLongerHold)
{
    const Fifo device("event0");
    change(insert("<key>restart</key><restart-after>10</restart-after>"
                  "<factory-reset-after>3</factory-reset-after>"));
    ASSERT_TRUE(becomes("state", "applied"));

    device.hold(10000);

    EXPECT_EQ(exit_status(), 1);
    EXPECT_THAT(read_file(vorn::test::startup_file), HasSubstr("<contact>me</contact>"));
}

TEST_F(Buttons, DoNothingBeforeTheShortestHoldAndTellOfIt)
{
    const Fifo device("event0");
    change(insert(holds));
    ASSERT_TRUE(becomes("state", "applied"));
    EXPECT_EQ(told("last-press") + told("last-held") + told("last-action"), "");

    device.hold(999);

    EXPECT_TRUE(becomes("last-held", "999"));
    EXPECT_EQ(told("last-action"), "none");
    EXPECT_THAT(told("last-press"), MatchesRegex("20..-..-..T..:..:..Z"));
    EXPECT_TRUE(console_shows("system: the button \"reset\" was held for 999 ms: none."));
}

TEST_F(Buttons, SayThatAFactoryResetWasRefused)
{
    const Fifo device("event0");
    shell("rm /etc/rescueconfig.xml");
    change(insert(holds));
    ASSERT_TRUE(becomes("state", "applied"));

    device.hold(10000);

    EXPECT_TRUE(becomes("last-action", "failed"));
    EXPECT_THAT(read_file(vorn::test::startup_file), HasSubstr("<contact>me</contact>"));
}

/* An old press must not become a long one: the kernel may drop what lies between. */
TEST_F(Buttons, AreNotHeldByWhatOnlyHalfCame)
{
    const Fifo device("event0");
    change(insert("<key>restart</key><factory-reset-after>3</factory-reset-after>"));
    ASSERT_TRUE(becomes("state", "applied"));

    device.tell({9, 0, EV_KEY, KEY_RESTART, 0});
    device.tell({10, 0, EV_KEY, KEY_RESTART, 1});
    device.tell({11, 0, EV_SYN, SYN_DROPPED, 0});
    device.tell({90, 0, EV_KEY, KEY_RESTART, 0});
    device.tell({100, 0, EV_KEY, KEY_RESTART, 1});
    device.tell({200, 0, EV_KEY, KEY_RESTART, 1});
    device.tell({200, 70000, EV_KEY, KEY_RESTART, 0});
    EXPECT_TRUE(becomes("last-held", "70"));
    device.tell({300, 0, EV_KEY, KEY_RESTART, 1});
    device.tell({200, 0, EV_KEY, KEY_RESTART, 0});
    device.hold(80);

    EXPECT_TRUE(becomes("last-held", "80"));
    EXPECT_THAT(console(), Not(HasSubstr("factory-reset")));
    EXPECT_THAT(console(), Not(HasSubstr("held for -")));
}

TEST_F(Buttons, AreKnownByTheirKeysAndDevices)
{
    const Fifo device("event0");
    const Fifo other("event1");
    change(
        insert("<key>529</key><device>event1</device><restart-after>1</restart-after>") +
        insert("<key>wps</key><device>event0</device>", "wps") +
        insert("<key>restart</key><enabled>off</enabled><restart-after>0</restart-after>", "off"));
    ASSERT_TRUE(becomes("state", "applied"));
    EXPECT_EQ(told("state", "off"), "off");

    other.hold(5000, KEY_RESTART);
    device.hold(5000, KEY_WPS_BUTTON);

    EXPECT_TRUE(comes_true([] { return told("last-held", "wps") == "5000"; }));
    EXPECT_EQ(told("last-held") + told("last-held", "off"), "");
    other.hold(5000, KEY_WPS_BUTTON);
    EXPECT_EQ(exit_status(), 1);
}

/* A commit of anything comes in between. */
TEST_F(Buttons, AreHeldThroughOtherChanges)
{
    const Fifo device("event0");
    change(insert("<key>restart</key>"));
    ASSERT_TRUE(becomes("state", "applied"));
    device.tell({10, 0, EV_KEY, KEY_RESTART, 1});

    change("<update><system><contact>you</contact></system></update>");
    change(insert("<key>wps</key>", "wps"));
    device.tell({12, 0, EV_KEY, KEY_RESTART, 0});

    EXPECT_TRUE(becomes("last-held", "2000"));
}

TEST_F(Buttons, WaitForTheirDevices)
{
    shell("rmdir /dev/input");
    change(insert("<key>restart</key>"));
    EXPECT_EQ(told("state"), "waiting for a device with it");

    ASSERT_EQ(mkdir("/dev/input", 0755), 0);
    {
        const Fifo device("event3");
        EXPECT_TRUE(becomes("state", "applied"));
        device.tell({10, 0, EV_KEY, KEY_RESTART, 1});
        shell("rm /dev/input/event3");
        EXPECT_TRUE(becomes("state", "waiting for a device with it"));
    }
    const Fifo again("event3");
    EXPECT_TRUE(becomes("state", "applied"));
    again.tell({20, 0, EV_KEY, KEY_RESTART, 0});
    again.hold(20);

    EXPECT_TRUE(becomes("last-held", "20"));
}

TEST_F(Buttons, SurviveWhoWritesTheEventsAnew)
{
    change(insert("<key>restart</key><device>event0</device>"));
    EXPECT_EQ(told("state"), "waiting for event0");
    {
        const Fifo device("event0");
        EXPECT_TRUE(becomes("state", "applied"));
        device.hold(10);
        EXPECT_TRUE(becomes("last-held", "10"));
    }
    const Event half[] = {{1, 0, EV_KEY, KEY_RESTART, 1}, {1, 30000, EV_KEY, KEY_RESTART, 0}};
    const int writer = open("/dev/input/event0", O_WRONLY | O_CLOEXEC);
    ASSERT_GE(writer, 0);
    EXPECT_EQ(write(writer, half, sizeof half), static_cast<ssize_t>(sizeof half));
    EXPECT_TRUE(becomes("last-held", "30"));
    close(writer);
}

TEST_F(Buttons, SayWhyADeviceCannotBeListenedTo)
{
    const Fifo device("event0");
    ASSERT_EQ(symlink("/dev/null", "/dev/input/event1"), 0);
    shell("mkdir /dev/input/event2; echo nothing >/dev/input/event4");
    change(insert("<key>restart</key><device>event0</device>") +
           insert("<key>restart</key><device>event1</device>", "null"));
    ASSERT_TRUE(becomes("state", "applied"));
    EXPECT_EQ(told("state", "null"), "failed: /dev/input/event1: Inappropriate ioctl for device");

    device.write_bytes("nonsense, and of an odd length", 30);

    EXPECT_TRUE(becomes("state", "failed: /dev/input/event0: Bad message"));
    EXPECT_TRUE(console_shows("system: can't listen to /dev/input/event0: Bad message."));
    change("<update><system><contact>you</contact></system></update>");
    EXPECT_TRUE(becomes("state", "applied"));
}

TEST_F(Buttons, AreRefusedWhenTheyCannotBe)
{
    change(insert("<key>restart</key>", "first"));
    const std::pair<std::string, const char *> wrong[] = {
        {"", "key"},
        {"<key>0</key>", ""},
        {"<key>768</key>", ""},
        {"<key>reset</key>", ""},
        {"<key>power</key><restart-after>-1</restart-after>", ""},
        {"<key>power</key><restart-after>61</restart-after>", ""},
        {"<key>power</key><factory-reset-after>2</factory-reset-after>", ""},
        {"<key>power</key><device>a&#10;b</device>", ""},
        {"<key>power</key><restart-after>7</restart-after>"
         "<factory-reset-after>7</factory-reset-after>",
         "a factory reset would be after the same time"},
        {"<key>408</key><device>event0</device>", "it is the key of the button \"first\""},
    };
    for (const auto &[values, reason] : wrong)
        EXPECT_THAT(change(insert(values)), AllOf(HasSubstr("<rc>1</rc>"), HasSubstr(reason)))
            << values;
}

TEST_F(Buttons, AreExplained)
{
    EXPECT_THAT(lsql("<explain>" + insert(holds) + "</explain>"),
                AllOf(HasSubstr("who holds the button \"reset\" for 1 s asks for restart"),
                      HasSubstr("who holds the button \"reset\" for 10 s asks for factory-reset")));
    EXPECT_THAT(commands_run(), testing::IsEmpty());
}

TEST_F(Buttons, DoNothingOnADeviceThatIsOnlyLookedAt)
{
    const Fifo device("event0");
    change(insert(holds));
    shut_down();
    boot({"-f", "-n"});
    device.hold(10000);

    change("<update><system><contact>you</contact></system></update>");

    EXPECT_EQ(told("last-action"), "");
    EXPECT_EQ(told("state"), "applied");
}

} // namespace
