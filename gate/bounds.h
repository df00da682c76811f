/* SPDX-License-Identifier: MIT */
#pragma once

#include <cstddef>

/* What one client, and all together, can have the gate keep; docs/api.md tells them. */
namespace vorn::gate {

constexpr std::size_t longest_head = 16 * 1024UL;
constexpr std::size_t longest_body = 1024 * 1024UL;
constexpr std::size_t longest_answer = 16 * 1024 * 1024UL;
constexpr std::size_t longest_condition = 4096;
constexpr std::size_t deepest_json = 32;
constexpr std::size_t most_changes = 1000;
constexpr std::size_t most_sessions = 64;
constexpr std::size_t most_jobs = 64;
constexpr std::size_t most_logins = 8;
constexpr std::size_t most_connections = 1200;
constexpr std::size_t most_streams = 1000;
constexpr std::size_t most_streams_of_one = 8;
constexpr std::size_t most_known_answers = 32;
constexpr std::size_t longest_known_answer = 8 * 1024UL; /* with what it is known by */
constexpr std::size_t most_unsent = 64 * 1024UL;
constexpr std::size_t most_series = 2000;
constexpr std::size_t longest_user = 32;
constexpr std::size_t longest_password = 256;

} // namespace vorn::gate
