/* SPDX-License-Identifier: MIT */
/*
 * The loop counts ticks, for which it is of no concern that somebody sets the clock. Here the
 * kernel's own timer is used, which waits for a time of the day and tells of that, too.
 */
#include "clock.h"

#include "vorn/vorn.h"

#include <errno.h>
#include <string.h>
#include <sys/timerfd.h>
#include <time.h>
#include <unistd.h>

/* The year 2025 in UTC: there was none of this before. */
static const int64_t earliest = 1735689600;

enum { at_once = 1 };

static int timer = -1;
static void (*call)(void);

static int64_t seconds_of(clockid_t clock)
{
    struct timespec time = {.tv_sec = 0};
    clock_gettime(clock, &time);
    return time.tv_sec;
}

int64_t clock_now(void)
{
    return seconds_of(CLOCK_REALTIME);
}

int64_t clock_uptime(void)
{
    return seconds_of(CLOCK_BOOTTIME);
}

int clock_is_set(int64_t now)
{
    return now >= earliest;
}

/* The count is lost where the clock was set, and of no interest where it was not. */
static void hear(int sock, void *eloop_data, void *data)
{
    uint64_t count;
    (void)eloop_data;
    (void)data;
    const ssize_t size = read(sock, &count, sizeof count);
    if (size == -1 && errno != ECANCELED && errno != EAGAIN) {
        vorn_debug_eprintf("schedule: the timer can't be read: %s.\n", strerror(errno));
    }
    call();
}

int clock_watch(void (*look)(void))
{
    call = look;
    timer = timerfd_create(CLOCK_REALTIME, TFD_NONBLOCK | TFD_CLOEXEC);
    if (timer != -1 && eloop_register_read_sock(timer, hear, NULL, NULL) == 0) return 0;
    vorn_debug_eprintf("schedule: no timer: nothing happens before the next change.\n");
    if (timer != -1) close(timer);
    timer = -1;
    return 1;
}

void clock_wake(int64_t instant)
{
    const struct itimerspec when = {.it_value = {.tv_sec = (time_t)instant}};
    if (timer == -1) return;
    if (timerfd_settime(timer, TFD_TIMER_ABSTIME | TFD_TIMER_CANCEL_ON_SET, &when, NULL) == 0)
        return;
    if (errno == ECANCELED && instant > at_once) { /* it was set since somebody looked at it */
        clock_wake(at_once);
        return;
    }
    vorn_debug_eprintf("schedule: the timer can't be set: %s.\n", strerror(errno));
}
