/* SPDX-License-Identifier: MIT */
/* Wrappers that pass every call on unless a test has an answer of its own. */
#include "fake_calls.h"

#include "support/c_names.h"

#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstring>
#include <ctime>

#include <sys/types.h>
#include <sys/wait.h>

namespace {

vorn::tests::FakeCalls *calls = nullptr;

/* Leaves the child to be reaped, unless the reaper has been already. */
void await_end_of(pid_t pid)
{
    siginfo_t end;
    while (waitid(P_PID, static_cast<id_t>(pid), &end, WEXITED | WNOWAIT) == -1 && errno == EINTR)
        continue;
}

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
pid_t __real_waitpid(pid_t pid, int *status, int options);
int __real_open(const char *path, int flags, ...);
int __real_kill(pid_t pid, int signal_number);
int __real_clock_gettime(clockid_t clock, struct timespec *answer);

pid_t __wrap_fork()
{
    if (calls && calls->signal_in_fork) raise(calls->signal_in_fork);
    if (calls && calls->refuses_fork) {
        errno = EAGAIN;
        return -1;
    }
    const pid_t pid = __real_fork();
    if (calls && calls->signal_in_child && pid == 0) raise(calls->signal_in_child);
    if (calls && calls->taker_of_number && pid > 0) *calls->taker_of_number = pid;
    if (calls && calls->awaits_children && pid > 0) await_end_of(pid);
    return pid;
}

pid_t __wrap_waitpid(pid_t pid, int *status, int options)
{
    if (!calls || calls->interrupted_waits == 0) return __real_waitpid(pid, status, options);
    calls->interrupted_waits--;
    errno = EINTR;
    return -1;
}

int __wrap_open(const char *path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    const int mode = va_arg(arguments, int);
    va_end(arguments);
    if (!calls || !calls->refuses_null_device || std::strcmp(path, "/dev/null") != 0) {
        return __real_open(path, flags, mode);
    }
    errno = ENOENT;
    return -1;
}

int __wrap_kill(pid_t pid, int signal_number)
{
    if (!calls || signal_number == 0) return __real_kill(pid, signal_number);
    calls->signals += std::to_string(signal_number) + " to " + std::to_string(pid) + "\n";
    if (signal_number == SIGKILL) calls->leap_us = 0;
    return __real_kill(pid, signal_number);
}

int __wrap_clock_gettime(clockid_t clock, struct timespec *answer)
{
    constexpr std::int64_t second_us = 1000000;
    if (!calls || calls->leap_us == 0) return __real_clock_gettime(clock, answer);
    calls->now_us += calls->leap_us;
    *answer = {static_cast<time_t>(calls->now_us / second_us),
               static_cast<long>(calls->now_us % second_us * 1000)};
    return 0;
}
}
