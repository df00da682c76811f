/* SPDX-License-Identifier: MIT */
#pragma once

#include "config/save_state.h"

namespace vorn {

/* Why nothing of the configuration may reach the disk, as a sentence without its end; null when it
 * may. */
const char *reason_to_hold();

/* Whether saving is held, which is logged then. */
bool is_saving_held();
bool is_saving_held(SaveReason &reason);

/* Whether it was held; what was kept meanwhile is left to the caller. */
bool end_hold();

} // namespace vorn
