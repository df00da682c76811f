/* SPDX-License-Identifier: MIT */
#pragma once

namespace vorn {

/* Has the inform door and the notices ask what a client may; until then they serve everybody. */
void watch_doors();

} // namespace vorn
