/* SPDX-License-Identifier: MIT */
#pragma once

#include <cstddef>
#include <cstdint>

namespace vorn::fleet {

/* Of what comes from the broker. docs/fleet-protocol.md tells them. */
constexpr std::size_t longest_document = 256 * 1024; /* with its first line */
constexpr std::size_t longest_request = 16 * 1024;
constexpr std::size_t longest_identifier = 64;
constexpr std::size_t longest_reason_given = 200;             /* "by" and "why" of a document */
constexpr std::int64_t largest_generation = 9007199254740991; /* a whole number in any language */
constexpr std::int64_t shortest_trial = 5;
constexpr std::int64_t longest_trial = 86400;
constexpr std::int64_t most_attempts = 10;
constexpr std::int64_t longest_request_life = 300; /* seconds */
constexpr std::size_t most_watched = 16;           /* classes whose values are told */
constexpr std::size_t most_watches = 8;            /* that are asked for at a time */
constexpr std::int64_t longest_watch = 3600;
constexpr std::int64_t longest_interval = 86400;

/* Of what goes to it. */
constexpr std::size_t longest_detail = 400;
constexpr std::size_t most_differences = 50;
constexpr std::size_t longest_response = 256 * 1024;
constexpr std::size_t longest_state = 16 * 1024;   /* a message; one instance may have more */
constexpr std::size_t most_state_kept = 64 * 1024; /* of values that were told */

} // namespace vorn::fleet
