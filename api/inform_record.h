/* SPDX-License-Identifier: MIT */
#pragma once

namespace vorn {

/* Has records kept of what is asked for at the inform door. */
void keep_records_of_informs();

} // namespace vorn
