/* SPDX-License-Identifier: MIT */
/*
 * How often something random is tried. Where the processor is emulated each round takes twenty
 * times as long, and shows only what differs there; the many cases are met natively.
 */
#pragma once

namespace vorn::tests {

#ifdef VORN_EMULATED
constexpr bool is_emulated = true;
#else
constexpr bool is_emulated = false;
#endif

constexpr unsigned int rounds(unsigned int natively)
{
    constexpr unsigned int share = is_emulated ? 5 : 1;
    return natively / share;
}

} // namespace vorn::tests
