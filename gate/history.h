/* SPDX-License-Identifier: MIT */
#pragma once

#include "asking.h"
#include "request.h"

namespace vorn::gate {

/* GET /history, /history/N, /history/N/diff, /history/N/diff/M. */
Answer get_history(Desk &desk, const Caller &caller, const Request &request);
/* POST /history/N/rollback. */
Answer post_rollback(Desk &desk, const Caller &caller, const Request &request);

} // namespace vorn::gate
