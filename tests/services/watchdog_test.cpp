/* SPDX-License-Identifier: MIT */
#include "services/watchdog_state.h"
#include "support/c_names.h"
#include "support/log.h"
#include "support/reason.h"
#include "vorn/watchdog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <ctime>
#include <string>
#include <vector>

#include <fcntl.h>
#include <linux/watchdog.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

/* A device that writes down what is done to it; each call can be made to fail. */
struct FakeDevice {
    bool present = true;
    bool opens = true;
    bool takes_timeout = true;
    bool takes_keepalive = true;
    bool takes_bytes = true;
    bool is_timed = false; /* by the daemon, for its own hanging */
    int descriptor = -1;
    std::vector<std::string> calls;
};

FakeDevice *device = nullptr;

bool is_watchdog(const char *path)
{
    return device && std::strcmp(path, "/dev/watchdog") == 0;
}

int answer(bool works, const std::string &call)
{
    device->calls.push_back(call);
    if (works) return 0;
    errno = EIO;
    return -1;
}

} // namespace

extern "C" {
int __real_stat(const char *path, struct stat *status);
int __real_open(const char *path, int flags, ...);
int __real_ioctl(int descriptor, unsigned long request, ...);
int __real_timer_settime(timer_t timer, int flags, const struct itimerspec *when,
                         struct itimerspec *before);
ssize_t __real_write(int descriptor, const void *bytes, size_t count);

int __wrap_timer_settime(timer_t timer, int flags, const struct itimerspec *when,
                         struct itimerspec *before)
{
    if (device) device->is_timed = when->it_value.tv_sec > 0;
    return __real_timer_settime(timer, flags, when, before);
}

int __wrap_stat(const char *path, struct stat *status)
{
    if (!is_watchdog(path)) return __real_stat(path, status);
    if (device->present) return 0;
    errno = ENOENT;
    return -1;
}

int __wrap_open(const char *path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    const int mode = va_arg(arguments, int);
    va_end(arguments);
    if (!is_watchdog(path)) return __real_open(path, flags, mode);

    if (answer(device->opens, flags == (O_WRONLY | O_NONBLOCK) ? "open" : "open otherwise") != 0)
        return -1;
    device->descriptor = __real_open("/dev/null", O_WRONLY, 0);
    return device->descriptor;
}

int __wrap_ioctl(int descriptor, unsigned long request, ...)
{
    va_list arguments;
    va_start(arguments, request);
    void *argument = va_arg(arguments, void *);
    va_end(arguments);
    if (!device) return __real_ioctl(descriptor, request, argument);

    const bool open = descriptor >= 0 && descriptor == device->descriptor;
    if (request == static_cast<unsigned long>(WDIOC_SETTIMEOUT)) {
        return answer(open && device->takes_timeout,
                      "timeout " + std::to_string(*static_cast<int *>(argument)));
    }
    return answer(open && device->takes_keepalive, "keep-alive");
}

ssize_t __wrap_write(int descriptor, const void *bytes, size_t count)
{
    if (!device || descriptor != device->descriptor) return __real_write(descriptor, bytes, count);
    const std::string call = "write " + std::string(static_cast<const char *>(bytes), count);
    return answer(device->takes_bytes, call) == 0 ? static_cast<ssize_t>(count) : -1;
}
}

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using vorn::tests::reason;

class Watchdogs : public testing::Test {
protected:
    void SetUp() override
    {
        device = &fake;
        vorn::watchdog_fd = vorn::watchdog_not_opened;
    }
    void TearDown() override
    {
        if (vorn::watchdog_fd >= 0) close(vorn::watchdog_fd);
        vorn::watchdog_fd = vorn::watchdog_not_opened;
        device = nullptr;
    }

    FakeDevice fake;
    vorn::tests::CapturedLog log{0};
};

TEST_F(Watchdogs, AreOpenedArmedAndKickedOnFirstUse)
{
    vorn_watchdog_ack();

    EXPECT_THAT(fake.calls, ElementsAre("open", "timeout 240", "keep-alive"));
    EXPECT_EQ(fcntl(vorn::watchdog_fd, F_GETFD), FD_CLOEXEC);
    EXPECT_EQ(log.text(), "");
}

TEST_F(Watchdogs, AreOnlyKickedLater)
{
    vorn_watchdog_ack();
    fake.calls.clear();

    vorn_watchdog_ack();

    EXPECT_THAT(fake.calls, ElementsAre("keep-alive"));
}

TEST_F(Watchdogs, AreDisarmedWithTheMagicByteAndClosed)
{
    vorn_watchdog_ack();
    fake.calls.clear();
    EXPECT_TRUE(fake.is_timed);

    vorn_watchdog_stop();

    EXPECT_FALSE(fake.is_timed);
    EXPECT_THAT(fake.calls, ElementsAre("write V"));
    EXPECT_EQ(fcntl(fake.descriptor, F_GETFD), -1);
    EXPECT_EQ(log.text(), "vorn: Watchdog stopped.\n");
}

TEST_F(Watchdogs, AreNeverOpenedAgainOnceStopped)
{
    vorn_watchdog_ack();
    vorn_watchdog_stop();
    fake.calls.clear();
    log.take();

    vorn_watchdog_ack();
    vorn_watchdog_stop();

    EXPECT_THAT(fake.calls, IsEmpty());
    EXPECT_EQ(log.text(), "vorn: Watchdog already stopped.\n");
}

TEST_F(Watchdogs, StoppedBeforeTheFirstUseAreNeverOpened)
{
    vorn_watchdog_stop();
    vorn_watchdog_ack();

    EXPECT_THAT(fake.calls, IsEmpty());
    EXPECT_EQ(log.text(), "vorn: Watchdog stopped (before start).\n");
}

TEST_F(Watchdogs, AreStoppedForGoodWithoutADevice)
{
    fake.present = false;
    vorn::tests::CapturedStandardError errors;

    vorn_watchdog_ack();
    vorn_watchdog_ack();
    vorn_watchdog_stop();

    EXPECT_THAT(fake.calls, IsEmpty());
    EXPECT_EQ(errors.text(), "vorn: /dev/vorn_watchdog_ack stat: No such file or directory\n");
    EXPECT_EQ(log.text(), "vorn: Watchdog stopped (before start).\n"
                          "vorn: Watchdog already stopped.\n");
}

TEST_F(Watchdogs, ThatCannotBeOpenedAreTriedAgainAtEachKick)
{
    fake.opens = false;
    vorn::tests::CapturedStandardError errors;

    vorn_watchdog_ack();

    const std::string failed = reason(EIO) + "\n";
    EXPECT_EQ(errors.text(), "vorn: vorn_watchdog_ack fopen: " + failed +
                                 "vorn: vorn_watchdog_ack ioctl[WDIOC_SETTIMEOUT]: " + failed +
                                 "vorn: vorn_watchdog_ack fcntl: Bad file descriptor\n" +
                                 "vorn: vorn_watchdog_ack ioctl[WDIOC_KEEPALIVE]: " + failed);
    fake.opens = true;
    fake.calls.clear();
    vorn_watchdog_ack();
    EXPECT_THAT(fake.calls, ElementsAre("open", "timeout 240", "keep-alive"));
}

TEST_F(Watchdogs, ReportADriverThatRefuses)
{
    fake.takes_timeout = false;
    fake.takes_keepalive = false;
    vorn::tests::CapturedStandardError errors;

    vorn_watchdog_ack();

    const std::string failed = reason(EIO) + "\n";
    EXPECT_EQ(errors.text(), "vorn: vorn_watchdog_ack ioctl[WDIOC_SETTIMEOUT]: " + failed +
                                 "vorn: vorn_watchdog_ack ioctl[WDIOC_KEEPALIVE]: " + failed);
    EXPECT_GE(vorn::watchdog_fd, 0);
}

TEST_F(Watchdogs, ReportADriverThatCannotBeDisarmed)
{
    vorn_watchdog_ack();
    fake.takes_bytes = false;
    vorn::tests::CapturedStandardError errors;

    vorn_watchdog_stop();

    EXPECT_EQ(errors.text(), "vorn: vorn_watchdog_stop write: " + reason(EIO) + "\n");
    EXPECT_EQ(fcntl(fake.descriptor, F_GETFD), -1);
    EXPECT_EQ(vorn::watchdog_fd, vorn::watchdog_stopped);
    EXPECT_EQ(log.text(), "vorn: Watchdog stopped.\n");
}

TEST_F(Watchdogs, ThatRefuseToOpenCanStillBeStopped)
{
    fake.opens = false;
    vorn::tests::CapturedStandardError errors;
    vorn_watchdog_ack();

    vorn_watchdog_stop();

    EXPECT_EQ(log.text(), "vorn: Watchdog stopped (before start).\n");
}

} // namespace
