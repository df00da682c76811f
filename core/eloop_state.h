/* SPDX-License-Identifier: MIT */
#pragma once

#include "core/base/memory.h"
#include "core/plugin_page.h"
#include "vorn/eloop.h"

#include <csignal>
#include <cstdint>

namespace vorn {

struct EloopSock {
    int sock;
    void *eloop_data;
    void *user_data;
    eloop_sock_handler handler;
    PluginOwner owner;
    bool rests;                /* not asked for, until */
    std::uint32_t rests_until; /* in clock ticks */
};

struct EloopTimeout : Record {
    std::uint32_t time = 0; /* due, in clock ticks */
    PluginOwner owner = no_plugin;
    void *eloop_data = nullptr;
    void *user_data = nullptr;
    eloop_timeout_handler handler = nullptr;
    EloopTimeout *next = nullptr;
};

struct EloopSignal {
    int sig;
    void *user_data;
    eloop_signal_handler handler;
    PluginOwner owner;
    volatile std::sig_atomic_t signaled; /* arrivals since the last dispatch */
};

struct EloopData {
    void *user_data;
    std::int32_t max_sock; /* raised on registration, never lowered */
    std::int32_t reader_count;
    EloopSock *readers;
    EloopTimeout *timeout; /* earliest first */
    EloopTimeout *spare;   /* of the handler that runs, for when it registers itself */
    std::int32_t ticks_per_second;
    std::int32_t signal_count;
    EloopSignal *signals;
    volatile std::sig_atomic_t signaled; /* arrivals of any signal, not yet dispatched */
    int terminate;
    int reader_table_changed;
};

extern EloopData eloop_data;

/*
 * Leaves a registered socket alone for a quarter of a second. For one that is readable and can't be
 * served: it would be found readable again at once, for as long as that lasts.
 */
void eloop_rest(int sock);

} // namespace vorn
