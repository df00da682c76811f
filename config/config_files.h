/* SPDX-License-Identifier: MIT */
#pragma once

#include "config/save_state.h"

namespace vorn {

/* Writes what was kept while saving was held. False, with the reason, from the first that fails. */
bool write_kept_files(SaveReason &reason);

} // namespace vorn
