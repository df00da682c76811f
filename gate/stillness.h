/* SPDX-License-Identifier: MIT */
#pragma once

#include <atomic>
#include <chrono>
#include <memory>
#include <shared_mutex>

#include <vorn-client.h>

namespace vorn::gate {

/*
 * Whether nothing has changed in the daemon. It tells on a connection of its
 * own before it changes anything that an answer may have told, and the connection ends with the
 * daemon; so that who looks at it and finds nothing knows what the daemon would say now, and asks
 * nobody.
 */
class Stillness {
public:
    /* From one change to the next. */
    using Epoch = unsigned;
    static constexpr Epoch none = 0;

    /* What of, and how: see the two in stillness.cpp. */
    struct Manner {
        const char *question;
        std::chrono::milliseconds longest_trust;
        std::chrono::milliseconds after_change;
        bool waits; /* for a thread that is asking just now */
    };

    Stillness() : Stillness(of_everything) {}
    explicit Stillness(const Manner &manner);

    static const Manner of_everything;
    /* Of who may do what, and of nothing else. */
    static const Manner of_rights;

    /*
     * The present one, by which answers that are asked for after this call can be kept; none when
     * the daemon tells of no changes, when it is busy, and for a moment after each change.
     */
    Epoch present();
    /* Whether nothing has changed since it began. May be false though it is so, never the other
     * way. */
    bool lasts(Epoch epoch) const;
    /* Whether the daemon has answered, and does not know the word: it is one of before. */
    bool is_unknown() const { return is_unknown_; }

private:
    struct Delete {
        void operator()(vorn_client *client) const { vorn_client_delete(client); }
    };
    using Clock = std::chrono::steady_clock;

    bool begin();
    bool is_trusted(Clock::time_point now) const;

    const Manner &manner_;
    mutable std::shared_mutex mutex_;
    std::atomic<bool> is_unknown_ = false;
    std::unique_ptr<vorn_client, Delete> client_;
    Epoch epoch_ = none; /* the last one */
    bool has_begun_ = false;
    Clock::time_point begun_at_ = {};
    Clock::time_point next_try_ = {};
};

} // namespace vorn::gate
