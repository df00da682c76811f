/* SPDX-License-Identifier: MIT */
#pragma once

#include <cstdint>

namespace vorn::fleet {

/*
 * When to connect again: after a time by chance within a window ("full jitter"), so that the
 * devices that a broker has lost at once do not come back at once.
 */
class Spread {
public:
    /* Why a connection is wanted. */
    enum class Cause : std::uint8_t { start, lost, failed, proof };

    /* Milliseconds to wait; chance is any number, evenly by chance. */
    std::int64_t delay_ms(Cause cause, std::uint32_t chance);
    /* A connection has lasted. */
    void settle() { failures_ = 0; }

private:
    unsigned failures_ = 0;
};

} // namespace vorn::fleet
