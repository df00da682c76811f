/* SPDX-License-Identifier: MIT */
/*
 * The one place where all who change something that answers tell meet those who wait for it. What
 * it protects: whoever was promised to hear of a change has heard before anybody can see it.
 */
#include "core/announce.h"

namespace vorn {

constinit ChangeHandler change_awaited = nullptr;
constinit RightsHandler rights_awaited = nullptr;

} // namespace vorn
