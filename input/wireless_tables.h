/* SPDX-License-Identifier: MIT */
#pragma once

#include <cstdint>
#include <span>

/* Channels by mode and regulatory domain, rates by mode, as data. */
namespace vorn::wireless {

using Numbers = std::span<const std::int16_t>;
using Texts = const char *const *;

constexpr int domains = 3;

/* What a domain allows: numbers, or exact texts, or nothing. */
struct Allowed {
    Numbers numbers = {};
    Texts texts = nullptr;
};

inline constexpr std::int16_t a_channels_0[] = {36, 40,  44,  48,  52,  56, 60,
                                                64, 149, 153, 157, 161, 165};
inline constexpr std::int16_t a_channels_1[] = {36,  40,  44,  48,  52,  56,  60,  64,  100, 104,
                                                108, 112, 116, 120, 124, 128, 132, 136, 140};
inline constexpr std::int16_t a_channels_2[] = {8, 12, 16, 34, 38, 42, 46, 240, 244, 248, 252};

inline constexpr std::int16_t b_channels[] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14};

inline constexpr std::int16_t turbo_a_channels[] = {42, 50, 58, 152, 160};
inline constexpr std::int16_t dynamic_turbo_a_channels[] = {40, 48, 56, 153, 161};

inline constexpr const char *only_42[] = {"42", nullptr};
inline constexpr const char *only_6[] = {"6", nullptr};

inline constexpr Allowed a_by_domain[domains] = {{a_channels_0}, {a_channels_1}, {a_channels_2}};
inline constexpr Allowed b_by_domain[domains] = {
    {Numbers(b_channels, 11)}, {Numbers(b_channels, 13)}, {Numbers(b_channels, 14)}};
inline constexpr Allowed turbo_a_by_domain[domains] = {{turbo_a_channels}, {}, {{}, only_42}};
inline constexpr Allowed dynamic_turbo_a_by_domain[domains] = {{dynamic_turbo_a_channels}, {}, {}};
inline constexpr Allowed turbo_g_by_domain[domains] = {{{}, only_6}, {{}, only_6}, {{}, only_6}};

struct Mode {
    const char *name;
    const Allowed (&by_domain)[domains];
};

inline constexpr Mode modes[] = {
    {"a", a_by_domain},
    {"b", b_by_domain},
    {"g", b_by_domain},
    {"turbo-a", turbo_a_by_domain},
    {"dynamic-turbo-a", dynamic_turbo_a_by_domain},
    {"turbo-g", turbo_g_by_domain},
    {"dynamic-turbo-g", turbo_g_by_domain},
};

inline constexpr std::int16_t a_rates[] = {6, 9, 12, 18, 24, 36, 48, 54};
inline constexpr std::int16_t turbo_rates[] = {12, 18, 24, 36, 48, 72, 96, 108};
inline constexpr const char *b_rates[] = {"1", "2", "5.5", "11", nullptr};
inline constexpr const char *g_rates[] = {"1",  "2",  "5.5", "6",  "9",  "11",   "12",
                                          "18", "24", "36",  "48", "54", nullptr};

} // namespace vorn::wireless
