/* SPDX-License-Identifier: MIT */
#pragma once

namespace vorn {

/* With the blank before it and the null byte. */
constexpr int reason_room = 257;

/* Comes before each value that is judged. */
void forget_reason();

/* Why the last one is not valid, as its validity function said; empty when it said nothing. */
const char *reason_given();

/* What stands between a refusal and its reason: nothing where there is none. */
const char *before_reason();

} // namespace vorn
