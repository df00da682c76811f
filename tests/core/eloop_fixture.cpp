/* SPDX-License-Identifier: MIT */
/* times and select are wrapped at link time; without a world they are the real ones. */
#include "core/eloop_fixture.h"

#include "support/allocation.h"
#include "support/c_names.h"

#include <cerrno>
#include <csignal>

#include <sys/select.h>
#include <sys/times.h>

namespace {

vorn::tests::World *world = nullptr;

std::set<int> members(const fd_set *set)
{
    std::set<int> found;
    for (int sock = 0; set && sock < FD_SETSIZE; sock++) {
        if (FD_ISSET(sock, set)) found.insert(sock);
    }
    return found;
}

int take_next_wait(std::set<int> &ready)
{
    if (world->waits.empty()) {
        eloop_terminate();
        return 0;
    }
    const auto act = world->waits.front();
    world->waits.pop_front();
    return act(ready);
}

} // namespace

extern "C" {
clock_t __real_times(struct tms *buffer);
int __real_select(int count, fd_set *read, fd_set *write, fd_set *other, timeval *wait);

clock_t __wrap_times(struct tms *buffer)
{
    if (!world) return __real_times(buffer);
    if (world->clock_is_short) return static_cast<std::int32_t>(world->ticks);
    if (!world->clock_in_errno) return static_cast<clock_t>(world->ticks);
    errno = static_cast<int>(0u - world->ticks);
    return -1;
}

int __wrap_select(int count, fd_set *read, fd_set *write, fd_set *other, timeval *wait)
{
    if (!world) return __real_select(count, read, write, other, wait);
    const vorn::tests::AllocationsAllowed allowed;
    EXPECT_EQ(write != nullptr, world->has_logs_to_write);
    EXPECT_EQ(other, nullptr);
    world->highest = count;
    world->waited_us.push_back(wait ? wait->tv_sec * 1000000LL + wait->tv_usec : -1);
    world->asked = members(read);
    world->takers = members(write);

    std::set<int> ready;
    const int result = take_next_wait(ready);
    const int error = errno;
    FD_ZERO(read);
    for (const int sock : ready)
        FD_SET(sock, read);
    errno = error;
    return result;
}
}

namespace vorn::tests {

std::vector<std::string> events;

void note_timeout(void *eloop_data, void *)
{
    events.emplace_back(static_cast<const char *>(eloop_data));
}

void note_socket(int sock, void *, void *)
{
    events.push_back("socket " + std::to_string(sock));
}

void note_signal(int sig, void *eloop_data, void *user_data)
{
    events.push_back("signal " + std::to_string(sig) + " " + static_cast<const char *>(eloop_data) +
                     " " + static_cast<const char *>(user_data));
}

int timeout(const char *name, int secs, unsigned int usecs)
{
    return eloop_register_timeout(secs, usecs, note_timeout, text(name), nullptr);
}

int watch(int sock)
{
    return eloop_register_read_sock(sock, note_socket, nullptr, nullptr);
}

void *text(const char *value)
{
    return const_cast<char *>(value);
}

EventLoops::EventLoops()
{
    world = &mine;
    events.clear();
    eloop_init(text("loop"));
    eloop_data.ticks_per_second = 100;
}

EventLoops::~EventLoops()
{
    eloop_destroy();
    eloop_init(nullptr);
    world = nullptr;
    std::signal(SIGUSR1, SIG_DFL);
    std::signal(SIGUSR2, SIG_DFL);
}

void EventLoops::let_pass(std::uint32_t ticks)
{
    mine.waits.emplace_back([=](std::set<int> &) {
        world->ticks += ticks;
        return 0;
    });
}

void EventLoops::make_ready(std::set<int> sockets)
{
    mine.waits.emplace_back([=](std::set<int> &ready) {
        ready = sockets;
        return static_cast<int>(sockets.size());
    });
}

void EventLoops::raise_signals(std::vector<int> signals)
{
    mine.waits.emplace_back([=](std::set<int> &) {
        for (const int sig : signals)
            raise(sig);
        errno = EINTR;
        return -1;
    });
}

} // namespace vorn::tests
