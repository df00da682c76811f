/* SPDX-License-Identifier: MIT */
#pragma once

#include "asking.h"
#include "request.h"

namespace vorn::gate {

Answer get_trial(Desk &desk, const Caller &caller, const Request &request);
Answer confirm_trial(Desk &desk, const Caller &caller, const Request &request);
Answer revert_trial(Desk &desk, const Caller &caller, const Request &request);

} // namespace vorn::gate
