/* SPDX-License-Identifier: MIT */
#pragma once

#include <chrono>
#include <memory>
#include <shared_mutex>

#include <vorn-client.h>

namespace vorn::gate {

/*
 * Whether nothing has changed in the daemon, for a second at most. It tells on a connection of its
 * own before it changes anything that an answer may have told, and the connection ends with the
 * daemon; so that who looks at it and finds nothing knows what the daemon would say now, and asks
 * nobody.
 */
class Stillness {
public:
    /* From one change to the next. */
    using Epoch = unsigned;
    static constexpr Epoch none = 0;

    Stillness();

    /*
     * The present one, by which answers that are asked for after this call can be kept; none when
     * the daemon tells of no changes, when it is busy, and for a moment after each change.
     */
    Epoch present();
    /* Whether nothing has changed since it began. May be false though it is so, never the other
     * way. */
    bool lasts(Epoch epoch) const;

private:
    struct Delete {
        void operator()(vorn_client *client) const { vorn_client_delete(client); }
    };
    using Clock = std::chrono::steady_clock;

    bool begin();
    bool is_trusted(Clock::time_point now) const;

    mutable std::shared_mutex mutex_;
    std::unique_ptr<vorn_client, Delete> client_;
    Epoch epoch_ = none; /* the last one */
    bool has_begun_ = false;
    Clock::time_point begun_at_ = {};
    Clock::time_point next_try_ = {};
};

} // namespace vorn::gate
