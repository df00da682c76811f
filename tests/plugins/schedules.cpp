/* SPDX-License-Identifier: MIT */
/* The clock of tests of schedules, in place of the kernel's. */
#include "plugins/schedules.h"

#include "support/c_names.h"

#include <ctime>

#include <sys/eventfd.h>
#include <sys/timerfd.h>

namespace vorn::tests {

FakeClock fake = {};

std::int64_t instant(const char *utc)
{
    std::tm parts = {};
    EXPECT_NE(strptime(utc, "%Y-%m-%d %H:%M", &parts), nullptr) << utc;
    return timegm(&parts);
}

} // namespace vorn::tests

using vorn::tests::fake;

extern "C" {
int __real_clock_gettime(clockid_t clock, struct timespec *time);
int __wrap_clock_gettime(clockid_t clock, struct timespec *time)
{
    const int result = __real_clock_gettime(clock, time);
    if (clock == CLOCK_REALTIME) *time = {static_cast<std::time_t>(fake.now), 0};
    if (clock == CLOCK_BOOTTIME) *time = {static_cast<std::time_t>(fake.uptime), 0};
    return result;
}
int __wrap_timerfd_create(int, int)
{
    return fake.timer = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
}
int __wrap_timerfd_settime(int, int flags, const struct itimerspec *when, struct itimerspec *)
{
    EXPECT_EQ(flags, TFD_TIMER_ABSTIME | TFD_TIMER_CANCEL_ON_SET);
    fake.wakes_at = when->it_value.tv_sec;
    return 0;
}
int __wrap_eloop_register_read_sock(int, void (*handler)(int, void *, void *), void *, void *)
{
    fake.hears = handler;
    return 0;
}
void __wrap_vorn_util_reboot(void)
{
    fake.reboots++;
}
int __wrap_vorn_config_is_held(void)
{
    return fake.is_held;
}
}
