/* SPDX-License-Identifier: MIT */
#pragma once

#include "change/short_text.h"
#include "vorn/changes.h"

namespace vorn {

/* What was changed, for people and in a line: "set Radio r0 channel=11, delete Radio r1". */
void summarize(const vorn_changes &changes, ShortText &text);

} // namespace vorn
