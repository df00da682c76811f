/* SPDX-License-Identifier: MIT */
#pragma once

#include "api/sockets/clients.h"
#include "core/eloop_state.h"
#include "vorn/eloop.h"

#include <gtest/gtest.h>

#include <memory>

#include <poll.h>

#include "fake_calls.h"

namespace vorn::tests {

/* The loop, in which time passes when the test says so, and nothing is waited for. */
class DoorLoop {
public:
    DoorLoop() { eloop_init(nullptr); }
    DoorLoop(const DoorLoop &) = delete;
    virtual ~DoorLoop()
    {
        end_clients();
        eloop_destroy();
        eloop_init(nullptr);
    }

    /* One pass: whether there was anything to do. */
    static bool pass()
    {
        bool was_ready = false;
        for (int i = 0; i < eloop_data.reader_count; i++) {
            const EloopSock entry = eloop_data.readers[i];
            pollfd one = {entry.sock, POLLIN, 0};
            if (entry.rests || poll(&one, 1, 0) <= 0) continue;
            was_ready = true;
            entry.handler(entry.sock, entry.eloop_data, entry.user_data);
        }
        return was_ready;
    }
    static void run()
    {
        for (int passes = 0; pass(); passes++)
            ASSERT_LT(passes, 10000) << "the loop does not come to rest";
    }
    /* What happens after so many milliseconds. */
    void wait(int milliseconds)
    {
        calls.now_ms += milliseconds;
        if (!eloop_data.timeout) return;
        call_on_time();
        run();
    }
    /* The timer that is due first, and nothing else. */
    static void call_on_time()
    {
        const Owned<EloopTimeout> due(eloop_data.timeout);
        eloop_data.timeout = due->next;
        due->handler(due->eloop_data, due->user_data);
    }
    static bool someone_is_waited_for() { return eloop_data.timeout != nullptr; }

    FakeCalls calls;
};

} // namespace vorn::tests
