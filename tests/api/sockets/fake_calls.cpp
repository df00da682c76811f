/* SPDX-License-Identifier: MIT */
/* Wrappers that pass every call on unless a test has an answer of its own. */
#include "fake_calls.h"

#include "support/allocation.h"
#include "support/c_names.h"
#include "vorn/peer.h"

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <ctime>
#include <utility>

#include <sys/epoll.h>
#include <sys/types.h>

namespace {

vorn::tests::FakeCalls *calls = nullptr;

int refuse()
{
    errno = EIO;
    return -1;
}

} // namespace

namespace vorn::tests {

FakeCalls::FakeCalls()
{
    calls = this;
}

FakeCalls *FakeCalls::current()
{
    return calls;
}

FakeCalls::~FakeCalls()
{
    calls = nullptr;
}

} // namespace vorn::tests

extern "C" {
int __real_fcntl(int descriptor, int request, ...);
int __real_listen(int descriptor, int backlog);
ssize_t __real_recv(int descriptor, void *room, size_t size, int flags);
ssize_t __real_send(int descriptor, const void *bytes, size_t size, int flags);
int __real_epoll_ctl(int set, int operation, int descriptor, struct epoll_event *event);
int __real_clock_gettime(clockid_t clock, struct timespec *answer);
int __real_vorn_socket_get_unix(const char *name, unsigned int flags);
int __real_vorn_socket_get_tcp(int port, int local_only);

int __wrap_fcntl(int descriptor, int request, ...)
{
    va_list arguments;
    va_start(arguments, request);
    const int argument = va_arg(arguments, int);
    va_end(arguments);
    if (calls) std::exchange(calls->at_fcntl, [] {})();
    if (calls && calls->refused_fcntl == request) return refuse();
    return __real_fcntl(descriptor, request, argument);
}

int __wrap_listen(int descriptor, int backlog)
{
    if (calls && calls->refuses_listen) return refuse();
    return __real_listen(descriptor, backlog);
}

int __wrap_epoll_ctl(int set, int operation, int descriptor, struct epoll_event *event)
{
    if (calls) calls->sets_changed++;
    return __real_epoll_ctl(set, operation, descriptor, event);
}

ssize_t __wrap_recv(int descriptor, void *room, size_t size, int flags)
{
    if (!calls) return __real_recv(descriptor, room, size, flags);
    if (calls->interrupted_reads > 0) {
        calls->interrupted_reads--;
        errno = EINTR;
        return -1;
    }
    calls->at_read();
    return __real_recv(descriptor, room, std::min(size, calls->most_read), flags);
}

ssize_t __wrap_send(int descriptor, const void *bytes, size_t size, int flags)
{
    const ssize_t count = __real_send(descriptor, bytes, size, flags);
    const int error = errno;
    if (calls) {
        calls->longest_send = std::max(calls->longest_send, size);
        std::exchange(calls->after_send, [] {})();
    }
    errno = error;
    return count;
}

int __wrap_clock_gettime(clockid_t clock, struct timespec *answer)
{
    if (!calls) return __real_clock_gettime(clock, answer);
    answer->tv_sec = static_cast<time_t>(calls->now_ms / 1000);
    answer->tv_nsec = static_cast<long>(calls->now_ms % 1000) * 1000000;
    return 0;
}

int __wrap_vorn_socket_get_unix(const char *name, unsigned int flags)
{
    if (!calls || !calls->answers_listeners) return __real_vorn_socket_get_unix(name, flags);
    const vorn::tests::AllocationsAllowed allowed;
    if (!calls->asked.empty()) calls->asked += ", ";
    calls->asked += std::string("unix ") + name + " " + std::to_string(flags);
    return std::exchange(calls->listener, -1);
}

int __wrap_vorn_socket_get_tcp(int port, int local_only)
{
    if (!calls || !calls->answers_listeners) return __real_vorn_socket_get_tcp(port, local_only);
    const vorn::tests::AllocationsAllowed allowed;
    calls->asked = "tcp " + std::to_string(port) + " " + std::to_string(local_only);
    return std::exchange(calls->listener, -1);
}

int __wrap_malloc_trim(size_t)
{
    if (calls) calls->memory_given_back++;
    return 0;
}

char *__wrap_vorn_query_eval(const char *request)
{
    calls->request = request;
    calls->asker = vorn_peer_get_pid(vorn_query_get_peer());
    return calls->reply ? strdup(calls->reply) : nullptr;
}
}
