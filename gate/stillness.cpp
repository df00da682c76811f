/* SPDX-License-Identifier: MIT */
/*
 * The kernel keeps the order: what the daemon has written to a connection is there for whoever
 * looks at the other end from then on, and it writes before anybody can see the change.
 */
#include "stillness.h"

#include <cstdlib>
#include <cstring>
#include <mutex>

namespace vorn::gate {

namespace {

using namespace std::chrono_literals;

/* A daemon that takes longer is busy, and whoever asks has to wait for it anyway. */
constexpr int change_patience_ms = 500;
/* A daemon of before, or one that takes the gate for nobody, is not asked all the time. */
constexpr auto after_refusal = 1s;

} // namespace

/*
 * Of no class that makes work; what it finds does not matter. However still the daemon is, it is
 * believed for a second: it looks up whose processes may speak for others in the system's files, of
 * which it says nothing, and a process that it has left behind may hold the connection when it is
 * gone itself. Who changes something all the time does not make each reader ask twice.
 */
constexpr Stillness::Manner Stillness::of_everything = {
    "<lsql tell-change=\"yes\"><select><web/></select></lsql>", 1s, 50ms, false};

/* Rules change seldom, and what rests on them is long. Another daemon is seen by others. */
constexpr Stillness::Manner Stillness::of_rights = {
    "<lsql tell-change=\"rights\"><select><web/></select></lsql>", 24h, 0ms, true};

Stillness::Stillness(const Manner &manner) : manner_(manner), client_(vorn_client_new())
{
    if (client_) vorn_client_set_timeout(client_.get(), change_patience_ms);
}

bool Stillness::begin()
{
    char *reply = nullptr;
    const int status = vorn_client_request(client_.get(), manner_.question,
                                           std::strlen(manner_.question), &reply, nullptr);
    const bool is_told = status == VORN_CLIENT_OK && std::strstr(reply, "<change>awaited</change>");
    is_unknown_ = status == VORN_CLIENT_OK && !is_told;
    std::free(reply);
    return is_told;
}

Stillness::Epoch Stillness::present()
{
    std::unique_lock lock(mutex_, std::defer_lock);
    if (manner_.waits) {
        lock.lock();
    } else if (!lock.try_lock()) {
        return none;
    }
    if (!client_) return none;
    const Clock::time_point now = Clock::now();
    if (is_trusted(now)) return epoch_;

    has_begun_ = false;
    if (now < next_try_) return none;
    has_begun_ = begin();
    begun_at_ = now;
    next_try_ = Clock::now() + (has_begun_ ? manner_.after_change : after_refusal);
    if (!has_begun_) return none;
    if (++epoch_ == none) epoch_++;
    return epoch_;
}

bool Stillness::lasts(Epoch epoch) const
{
    const std::shared_lock lock(mutex_, std::try_to_lock);
    return lock && epoch != none && epoch == epoch_ && is_trusted(Clock::now());
}

bool Stillness::is_trusted(Clock::time_point now) const
{
    return has_begun_ && now < begun_at_ + manner_.longest_trust &&
           vorn_client_is_idle(client_.get());
}

} // namespace vorn::gate
