/* SPDX-License-Identifier: MIT */
#include "spread.h"

#include <algorithm>

namespace vorn::fleet {

namespace {

constexpr std::int64_t first_ms = 5000;
constexpr std::int64_t longest_ms = 60000;
/* Whoever was connected has been lost together with others: these begin with a wider window. */
constexpr unsigned doublings_after_loss = 3;
/* While a change is on trial there is no time to lose, and what is gone may be the change's doing.
 */
constexpr std::int64_t first_proof_ms = 1000;
constexpr std::int64_t longest_proof_ms = 15000;
constexpr unsigned most_doublings = 6;

std::int64_t doubled(std::int64_t first, unsigned times, std::int64_t most)
{
    return std::min(first << std::min(times, most_doublings), most);
}

} // namespace

std::int64_t Spread::delay_ms(Cause cause, std::uint32_t chance)
{
    if (cause == Cause::lost) failures_ = std::max(failures_, doublings_after_loss);
    const std::int64_t window = cause == Cause::proof
                                    ? doubled(first_proof_ms, failures_, longest_proof_ms)
                                    : doubled(first_ms, failures_, longest_ms);
    failures_++;
    return static_cast<std::int64_t>(std::uint64_t{chance} * static_cast<std::uint64_t>(window) >>
                                     32);
}

} // namespace vorn::fleet
