/* SPDX-License-Identifier: MIT */
/*
 * What signals do, and the two ways of installing that. Until the event loop exists a signal
 * must be acted on where it strikes (a device that hangs in its first commit can still be told
 * to stop); from then on no handler interleaves with the serving of a request.
 */
#include "core/start/signals.h"

#include "api/sockets/clients.h"
#include "core/log_sink.h"
#include "core/plugin_page.h"
#include "core/put_off.h"
#include "vorn/class.h"
#include "vorn/config.h"
#include "vorn/debug.h"
#include "vorn/eloop.h"
#include "vorn/instances.h"
#include "vorn/service.h"
#include "vorn/watchdog.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>

#include <unistd.h>

namespace vorn {

namespace {

void cycle_debug_level(int, void *, void *)
{
    const int level = vorn_debug_get();
    vorn_debug_set(level == VORN_DEBUG_MAX ? 0 : level + 1);
}

void dump_state(int, void *, void *)
{
    FILE *stream = vorn_debug_get_stream();
    vorn_classes_print(stream);
    vorn_instances_print(vorn_config_get_running(), stream);
    vorn_service_print(stream);
    std::fflush(stream);
}

/* It walks the running configuration, which the boot load may be changing just then. */
void dump_when_it_is_safe(int)
{
    do_or_put_off([] { dump_state(SIGHUP, nullptr, nullptr); });
}

/* The pid file stays: only a loop that ended by itself removes it. */
void end_on_signal(int signal_number)
{
    end_in_order();
    vorn_service_shutdown();
    kill(0, SIGTERM);
    vorn_debug_printf("Exit due to signal %d.\n", signal_number);
    finish_logs();
}

void exit_on_signal(int signal_number, void *, void *)
{
    end_on_signal(signal_number);
    end_clients();
    std::exit(0);
}

/* What exit would still do allocates and frees, and the signal may have struck into just that. */
void exit_directly(int signal_number)
{
    end_on_signal(signal_number);
    if (is_at_rest()) std::exit(0);
    _exit(0);
}

void stop_watchdog_on_signal(int, void *, void *)
{
    vorn_watchdog_stop();
}

/* The form signal() wants, for a handler of the loop's form. */
template <eloop_signal_handler handler>
void directly(int signal_number)
{
    handler(signal_number, nullptr, nullptr);
}

struct SignalRow {
    int signal_number;
    eloop_signal_handler handler;
    void (*direct)(int);
};

template <eloop_signal_handler handler>
constexpr SignalRow row(int signal_number)
{
    return {signal_number, handler, directly<handler>};
}

constexpr SignalRow rows[] = {
    row<cycle_debug_level>(SIGWINCH),           row<vorn_service_sig_child>(SIGCHLD),
    {SIGHUP, dump_state, dump_when_it_is_safe}, {SIGTERM, exit_on_signal, exit_directly},
    {SIGINT, exit_on_signal, exit_directly},    row<stop_watchdog_on_signal>(SIGUSR1),
};

} // namespace

void install_direct_signal_handlers()
{
    std::signal(SIGPIPE, SIG_IGN);
    for (const SignalRow &each : rows)
        std::signal(each.signal_number, each.direct);
}

void hand_signals_to_eloop()
{
    for (const SignalRow &each : rows) {
        eloop_register_signal(each.signal_number, each.handler, nullptr);
    }
    do_what_was_put_off();
}

} // namespace vorn
