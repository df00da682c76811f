/* SPDX-License-Identifier: MIT */
/*
 * The one place where the daemon waits: for sockets, timeouts and signals. A pass waits, then
 * runs the handlers of the signals that came, at most one timeout, then the sockets, in that
 * order; handlers may register and cancel as they like. Time is counted in the kernel's ticks, so
 * that setting the clock disturbs nothing. In signal context two counters are touched and nothing
 * else.
 */
#include "core/base/signals_held.h"
#include "core/debug_state.h"
#include "core/eloop_state.h"
#include "core/log_sink.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include <sys/select.h>
#include <sys/times.h>
#include <unistd.h>

namespace vorn {

constinit EloopData eloop_data = {};

namespace {

constexpr std::int32_t microseconds_per_second = 1000000;
constexpr int done = 0;
constexpr int failure = -1;
constexpr int negative_time = -2;

/*
 * Without a place for them the kernel does not add up the times of the process, which takes longer
 * than the rest of the call. Where the count has 32 bits it passes -4095 to -1 before it wraps, the
 * first time minutes after boot. A C library that takes these for errors answers -1 and has the
 * count, negated, in errno.
 */
std::uint32_t ticks_now()
{
    const int callers_errno = errno;

    errno = 0;
    clock_t ticks = times(nullptr);
    if (ticks == -1 && errno != 0) ticks = -errno;
    errno = callers_errno;
    return static_cast<std::uint32_t>(ticks);
}

/* By how much one tick count is later than another; right across the wrap of the counter. */
std::int32_t ticks_after(std::uint32_t time, std::uint32_t other)
{
    return static_cast<std::int32_t>(time - other);
}

/* The only code that runs in signal context. */
void eloop_handle_signal(int sig)
{
    eloop_data.signaled = eloop_data.signaled + 1;
    if (!eloop_data.signals) return; /* destroyed; the counts stay, the dispositions too */
    for (int i = 0; i < eloop_data.signal_count; i++) {
        EloopSignal &entry = eloop_data.signals[i];
        if (entry.sig != sig) continue;
        entry.signaled = entry.signaled + 1;
        return;
    }
}

template <typename T>
bool grow(T *&table, std::int32_t count)
{
    const std::size_t size = sizeof(T) * (static_cast<std::size_t>(count) + 1);
    auto *grown = static_cast<T *>(noted(std::realloc(static_cast<void *>(table), size)));
    if (!grown) return false;
    table = grown;
    return true;
}

void insert_by_time(EloopTimeout *timeout)
{
    EloopTimeout **place = &eloop_data.timeout;
    while (*place && ticks_after((*place)->time, timeout->time) <= 0)
        place = &(*place)->next;
    timeout->next = *place;
    *place = timeout;
}

bool matches(const void *wanted, const void *data)
{
    return wanted == ELOOP_ANY || wanted == data;
}

/* A socket that rests is not asked for, and ends its rest when the time has come. */
bool rests(EloopSock &entry)
{
    entry.rests = entry.rests && ticks_after(entry.rests_until, ticks_now()) > 0;
    return entry.rests;
}

/* The next point in time at which there is something to do; false when there is none. */
bool find_next_time(std::uint32_t &time)
{
    bool found = eloop_data.timeout != nullptr;
    if (found) time = eloop_data.timeout->time;
    for (int i = 0; i < eloop_data.reader_count; i++) {
        const EloopSock &entry = eloop_data.readers[i];
        if (!entry.rests || (found && ticks_after(entry.rests_until, time) >= 0)) continue;
        time = entry.rests_until;
        found = true;
    }
    return found;
}

/* How long select may wait; null for as long as it takes. */
timeval *time_to_wait(timeval &wait)
{
    std::uint32_t next = 0;
    if (!find_next_time(next)) return nullptr;

    const std::int32_t per_second = eloop_data.ticks_per_second;
    const std::int32_t left = std::max(ticks_after(next, ticks_now()), 0);
    wait.tv_sec = left / per_second;
    wait.tv_usec = suseconds_t{left % per_second} * (microseconds_per_second / per_second);
    return &wait;
}

/* What is logged and was not taken yet waits here too, for whoever takes it. */
int wait_for_events(fd_set &ready)
{
    timeval wait;
    fd_set takers;

    FD_ZERO(&ready);
    FD_ZERO(&takers);
    for (int i = 0; i < eloop_data.reader_count; i++) {
        if (!rests(eloop_data.readers[i])) FD_SET(eloop_data.readers[i].sock, &ready);
    }
    const int highest_taker = add_log_takers(takers);
    const int count = select(std::max(eloop_data.max_sock, highest_taker) + 1, &ready,
                             highest_taker < 0 ? nullptr : &takers, nullptr, time_to_wait(wait));
    if (count > 0 && highest_taker >= 0) write_waiting_logs();
    return count;
}

void dispatch_signals()
{
    if (eloop_data.signaled == 0) return;

    eloop_data.signaled = 0;
    for (int i = 0; i < eloop_data.signal_count; i++) {
        if (eloop_data.signals[i].signaled == 0) continue;
        eloop_data.signals[i].signaled = 0;
        const EloopSignal &entry = eloop_data.signals[i];
        const InPlugin watched(entry.owner, Callback::signal);
        entry.handler(entry.sig, eloop_data.user_data, entry.user_data);
    }
}

/*
 * At most one: what else is due waits for the next pass, which does not block then. What beats
 * regularly must not end because memory is short for a moment, so the record of a timeout is kept
 * for its own handler, whatever else that registers first, or runs in a loop of its own.
 */
void dispatch_timeout()
{
    EloopTimeout *first = eloop_data.timeout;
    if (!first || ticks_after(first->time, ticks_now()) > 0) return;

    const EloopTimeout due = *first;
    eloop_data.timeout = due.next;
    EloopTimeout *const of_outer_loop = std::exchange(eloop_data.spare, first);
    {
        const InPlugin watched(due.owner, Callback::timer);
        due.handler(due.eloop_data, due.user_data);
    }
    delete std::exchange(eloop_data.spare, of_outer_loop);
}

/* Ends early when a handler unregisters a socket; the rest is reported again by the next wait. */
void dispatch_sockets(const fd_set &ready)
{
    eloop_data.reader_table_changed = 0;
    for (int i = 0; i < eloop_data.reader_count && !eloop_data.reader_table_changed; i++) {
        const EloopSock entry = eloop_data.readers[i];
        if (FD_ISSET(entry.sock, &ready)) {
            const InPlugin watched(entry.owner, Callback::socket);
            entry.handler(entry.sock, entry.eloop_data, entry.user_data);
        }
    }
}

/* A handler that registers itself again gets the record that it was called with. */
Owned<EloopTimeout> record_for(eloop_timeout_handler handler)
{
    if (eloop_data.spare && eloop_data.spare->handler == handler) {
        return Owned<EloopTimeout>(std::exchange(eloop_data.spare, nullptr));
    }
    return make<EloopTimeout>();
}

template <typename Handler>
PluginOwner owner_of(Handler handler)
{
    return owner_of_handler(reinterpret_cast<const void *>(handler));
}

bool has_something_to_wait_for()
{
    return eloop_data.timeout || eloop_data.reader_count > 0;
}

} // namespace

void eloop_rest(int sock)
{
    constexpr std::uint32_t rests_per_second = 4;
    const auto per_second = static_cast<std::uint32_t>(eloop_data.ticks_per_second);

    for (int i = 0; i < eloop_data.reader_count; i++) {
        EloopSock &entry = eloop_data.readers[i];
        if (entry.sock != sock) continue;
        entry.rests = true;
        entry.rests_until = ticks_now() + per_second / rests_per_second;
    }
}

} // namespace vorn

using namespace vorn;

void eloop_init(void *user_data)
{
    const SignalsHeld held;

    eloop_data = {};
    eloop_data.user_data = user_data;
    eloop_data.ticks_per_second = static_cast<std::int32_t>(sysconf(_SC_CLK_TCK));
}

int eloop_register_read_sock(int sock, eloop_sock_handler handler, void *data, void *user_data)
{
    if (sock < 0 || sock >= FD_SETSIZE) return failure;
    if (!grow(eloop_data.readers, eloop_data.reader_count)) return failure;

    eloop_data.readers[eloop_data.reader_count] = {
        sock, data, user_data, handler, owner_of(handler), false, 0};
    eloop_data.reader_count++;
    eloop_data.max_sock = std::max(eloop_data.max_sock, sock);
    return done;
}

int eloop_unregister_read_sock(int sock)
{
    EloopSock *end = eloop_data.readers + eloop_data.reader_count;
    EloopSock *entry = std::find_if(eloop_data.readers, end,
                                    [sock](const EloopSock &each) { return each.sock == sock; });
    if (entry == end) return failure;

    std::move(entry + 1, end, entry);
    eloop_data.reader_count--;
    eloop_data.reader_table_changed = 1;
    return done;
}

int eloop_register_timeout(int secs, unsigned int usecs, eloop_timeout_handler handler, void *data,
                           void *user_data)
{
    if (secs < 0) return negative_time;
    Owned<EloopTimeout> timeout = record_for(handler);
    if (!timeout) return failure;

    const auto per_second = static_cast<std::uint32_t>(eloop_data.ticks_per_second);
    const auto tick_us =
        static_cast<std::uint32_t>(microseconds_per_second / eloop_data.ticks_per_second);
    timeout->time = ticks_now() + static_cast<std::uint32_t>(secs) * per_second + usecs / tick_us;
    timeout->eloop_data = data;
    timeout->user_data = user_data;
    timeout->handler = handler;
    timeout->owner = owner_of(handler);
    insert_by_time(timeout.release());
    return done;
}

int eloop_cancel_timeout(eloop_timeout_handler handler, void *data, void *user_data)
{
    int removed = 0;

    for (EloopTimeout **place = &eloop_data.timeout; *place;) {
        EloopTimeout *timeout = *place;
        if (timeout->handler != handler || !matches(data, timeout->eloop_data) ||
            !matches(user_data, timeout->user_data)) {
            place = &timeout->next;
            continue;
        }
        *place = timeout->next;
        delete timeout;
        removed++;
    }
    return removed;
}

int eloop_register_signal(int sig, eloop_signal_handler handler, void *user_data)
{
    const SignalsHeld held;

    if (!grow(eloop_data.signals, eloop_data.signal_count)) return failure;
    eloop_data.signals[eloop_data.signal_count] = {sig, user_data, handler, owner_of(handler), 0};
    eloop_data.signal_count++;
    std::signal(sig, eloop_handle_signal);
    return done;
}

void eloop_run()
{
    while (!eloop_data.terminate && has_something_to_wait_for()) {
        fd_set ready;
        const int count = wait_for_events(ready);
        if (count < 0 && errno != EINTR) {
            report_error(errno, "select");
            return;
        }
        dispatch_signals();
        dispatch_timeout();
        if (count > 0) dispatch_sockets(ready);
    }
}

void eloop_terminate()
{
    eloop_data.terminate = 1;
}

void eloop_destroy()
{
    const SignalsHeld held;

    while (eloop_data.timeout) {
        const Owned<EloopTimeout> timeout(eloop_data.timeout);
        eloop_data.timeout = timeout->next;
    }
    std::free(std::exchange(eloop_data.readers, nullptr));
    std::free(std::exchange(eloop_data.signals, nullptr));
}

int eloop_terminated()
{
    return eloop_data.terminate;
}

void *eloop_get_user_data()
{
    return eloop_data.user_data;
}
