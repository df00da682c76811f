/* SPDX-License-Identifier: MIT */
#pragma once

#include "asking.h"
#include "request.h"

namespace vorn::gate {

/* POST /tokens: a new token, which is told this once. */
Answer post_token(Desk &desk, const Caller &caller, const Request &request);

} // namespace vorn::gate
