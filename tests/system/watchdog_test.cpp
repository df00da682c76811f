/* SPDX-License-Identifier: MIT */
/* A file stands for the watchdog device: what is written shows, what only a device can do fails. */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <string>

#include <sys/stat.h>

#include "bare_device.h"

namespace {

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

constexpr char device[] = "/dev/watchdog";
/* In the C library's words. */
const std::string no_device = std::string(std::strerror(ENOTTY)) + "\n";
const std::string keep_alive_failed =
    "vorn: vorn_watchdog_ack ioctl[WDIOC_KEEPALIVE]: " + no_device;

class Watchdogs : public vorn::tests::BareDevice {
protected:
    void SetUp() override
    {
        BareDevice::SetUp();
        write_file(device, "");
    }

    void TearDown() override
    {
        BareDevice::TearDown();
        std::filesystem::remove(device);
    }

    static testing::AssertionResult errors_show(const std::string &text, int times)
    {
        return comes_true([&] { return count(standard_error(), text) >= times; });
    }
};

TEST_F(Watchdogs, AreArmedFirstAndKickedOnceEverythingIsUp)
{
    boot();

    EXPECT_THAT(standard_error(), StartsWith("vorn: vorn_watchdog_ack ioctl[WDIOC_SETTIMEOUT]: " +
                                             no_device + keep_alive_failed + keep_alive_failed));
    EXPECT_EQ(console(), "vorn: Initialization complete.\n");
}

TEST_F(Watchdogs, AreKickedByEachTick)
{
    boot();

    EXPECT_TRUE(errors_show(keep_alive_failed, 4));
}

TEST_F(Watchdogs, AreDisarmedWithoutActions)
{
    boot({"-f", "-n"});

    EXPECT_THAT(console(), StartsWith("vorn: Watchdog stopped.\n"));
    EXPECT_EQ(read_file(device), "V");
}

TEST_F(Watchdogs, AreDisarmedOnceByUser1)
{
    boot();

    kill(daemon_pid(), SIGUSR1);
    ASSERT_TRUE(console_shows("vorn: Watchdog stopped.\n"));
    kill(daemon_pid(), SIGUSR1);

    EXPECT_TRUE(console_shows("vorn: Watchdog already stopped.\n"));
    EXPECT_EQ(read_file(device), "V");
}

/* Attack. */
TEST_F(Watchdogs, ThatAreAPipeKeepNobodyWaiting)
{
    std::filesystem::remove(device);
    ASSERT_EQ(mkfifo(device, 0600), 0);

    boot();

    EXPECT_THAT(standard_error(), StartsWith("vorn: vorn_watchdog_ack fopen: "
                                             "No such device or address\n"));
}

TEST_F(Watchdogs, StayArmedWhenTheDaemonEnds)
{
    boot();

    shut_down();

    EXPECT_EQ(read_file(device), "");
}

TEST_F(Watchdogs, AreHiddenFromChildren)
{
    write_script("/etc/post-init", "ls -l /proc/self/fd >/tmp/descriptors");

    boot();

    EXPECT_THAT(read_file("/tmp/descriptors"), HasSubstr("/dev/null"));
    EXPECT_THAT(read_file("/tmp/descriptors"), Not(HasSubstr(device)));
}

TEST_F(Watchdogs, ThatCannotBeOpenedAreTriedAgainByEachTick)
{
    std::filesystem::remove(device);
    std::filesystem::create_directory(device);

    boot();

    EXPECT_TRUE(errors_show("vorn: vorn_watchdog_ack fopen: Is a directory\n", 3));
}

} // namespace
