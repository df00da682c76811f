/* SPDX-License-Identifier: MIT */
#pragma once

#include "asking.h"
#include "request.h"

namespace vorn::gate {

/* GET /metrics. */
Answer get_metrics(Desk &desk, const Caller &caller, const Request &request);

} // namespace vorn::gate
