/* SPDX-License-Identifier: MIT */
/*
 * The hardware watchdog. Three states: not opened yet, open, stopped for good. A missing device or
 * a stop before the first use lead straight from the first to the last; nothing leads back. A
 * device that can't be opened leaves the first state, so that the next keep-alive tries again.
 * The process ending without a stop says nothing to the device, which then resets the board: that
 * is what it is for.
 */
#include "vorn/watchdog.h"

#include "core/base/paths.h"
#include "core/plugin_watch.h"
#include "services/watchdog_state.h"
#include "vorn/debug.h"

#include <fcntl.h>
#include <linux/watchdog.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vorn {

constinit std::int32_t watchdog_fd = watchdog_not_opened;

namespace {

constexpr int timeout_seconds = 240;
constexpr char magic_close = 'V';

void report_if_failed(int result, const char *message)
{
    if (result < 0) vorn_debug_perror(message);
}

void open_device()
{
    /* A failure leaves -1, which is not opened yet. What is no device must not be waited for. */
    watchdog_fd = open(paths::watchdog, O_WRONLY | O_NONBLOCK);
    report_if_failed(watchdog_fd, "vorn_watchdog_ack fopen");

    int timeout = timeout_seconds;
    report_if_failed(ioctl(watchdog_fd, WDIOC_SETTIMEOUT, &timeout),
                     "vorn_watchdog_ack ioctl[WDIOC_SETTIMEOUT]");
    report_if_failed(fcntl(watchdog_fd, F_SETFD, FD_CLOEXEC), "vorn_watchdog_ack fcntl");
}

void close_device()
{
    report_if_failed(static_cast<int>(write(watchdog_fd, &magic_close, 1)),
                     "vorn_watchdog_stop write");
    close(watchdog_fd);
}

} // namespace

} // namespace vorn

using namespace vorn;

void vorn_watchdog_ack()
{
    if (watchdog_fd == watchdog_stopped) return;

    if (watchdog_fd == watchdog_not_opened) {
        struct stat status;
        if (stat(paths::watchdog, &status) != 0) {
            /* This path was never the device's, but it is what people look for in their logs. */
            vorn_debug_perror("/dev/vorn_watchdog_ack stat");
            vorn_watchdog_stop();
            return;
        }
        open_device();
    }
    int ignored = 0;
    report_if_failed(ioctl(watchdog_fd, WDIOC_KEEPALIVE, &ignored),
                     "vorn_watchdog_ack ioctl[WDIOC_KEEPALIVE]");
    if (watchdog_fd >= 0) watch_for_hanging(timeout_seconds);
}

void vorn_watchdog_stop()
{
    switch (watchdog_fd) {
    case watchdog_not_opened:
        vorn_debug_printf("Watchdog stopped (before start).\n");
        break;
    case watchdog_stopped:
        vorn_debug_printf("Watchdog already stopped.\n");
        break;
    default:
        close_device();
        vorn_debug_printf("Watchdog stopped.\n");
    }
    watchdog_fd = watchdog_stopped;
    watch_for_hanging_no_more();
}
