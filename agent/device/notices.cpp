/* SPDX-License-Identifier: MIT */
#include "notices.h"

#include <cstdlib>
#include <new>

#include "protocol/outside.h"

namespace vorn::fleet {

namespace {

constexpr int moment_ms = 200; /* the daemon is on this machine */
constexpr std::int64_t between_attempts_ms = 15000;
constexpr std::int64_t after_a_loss_ms = 1000;
constexpr int most_notices_at_once = 64;

} // namespace

Notices::Notices() : client_(vorn_client_new())
{
    if (!client_) throw std::bad_alloc();
}

std::int64_t Notices::wake_at() const
{
    return descriptor() < 0 ? subscribe_at_ : never;
}

/* False when the subscription has ended. */
bool Notices::take_all()
{
    vorn_client_set_timeout(client_.get(), 0);
    for (int i = 0; i < most_notices_at_once; i++) {
        char *notice = nullptr;
        const int status = vorn_client_next_notice(client_.get(), &notice);
        std::free(notice);
        if (status == VORN_CLIENT_TIMED_OUT) return true;
        if (status != VORN_CLIENT_OK) return false;
    }
    return true;
}

bool Notices::serve(std::int64_t now_ms)
{
    if (descriptor() >= 0) {
        if (take_all()) return true;
        vorn_client_unsubscribe(client_.get());
        /* Nine are one too many: the daemon has let the last one in, and out again. */
        const bool has_lasted = now_ms - subscribed_at_ >= between_attempts_ms;
        subscribe_at_ = now_ms + (has_lasted ? after_a_loss_ms : between_attempts_ms);
        return true;
    }
    if (now_ms < subscribe_at_) return false;
    vorn_client_set_timeout(client_.get(), moment_ms);
    if (vorn_client_subscribe(client_.get()) == VORN_CLIENT_OK) subscribed_at_ = now_ms;
    subscribe_at_ = now_ms + between_attempts_ms;
    return true;
}

} // namespace vorn::fleet
