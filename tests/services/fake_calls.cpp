/* SPDX-License-Identifier: MIT */
/* Wrappers that pass every call on unless a test has an answer of its own. */
#include "fake_calls.h"

#include <cerrno>
#include <csignal>
#include <ctime>

#include <sys/types.h>

namespace {

vorn::tests::FakeCalls *calls = nullptr;

} // namespace

namespace vorn::tests {

FakeCalls::FakeCalls()
{
    calls = this;
}

FakeCalls::~FakeCalls()
{
    calls = nullptr;
}

} // namespace vorn::tests

extern "C" {
pid_t __real_fork();
int __real_kill(pid_t pid, int signal_number);
int __real_clock_gettime(clockid_t clock, struct timespec *answer);

pid_t __wrap_fork()
{
    if (!calls || !calls->refuses_fork) return __real_fork();
    errno = EAGAIN;
    return -1;
}

int __wrap_kill(pid_t pid, int signal_number)
{
    if (!calls || signal_number == 0) return __real_kill(pid, signal_number);
    calls->signals += std::to_string(signal_number) + " to " + std::to_string(pid) + "\n";
    if (signal_number == SIGKILL) calls->leap_s = 0;
    return __real_kill(pid, signal_number);
}

int __wrap_clock_gettime(clockid_t clock, struct timespec *answer)
{
    if (!calls || calls->leap_s == 0) return __real_clock_gettime(clock, answer);
    calls->now_s += calls->leap_s;
    *answer = {static_cast<time_t>(calls->now_s), 0};
    return 0;
}
}
