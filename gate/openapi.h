/* SPDX-License-Identifier: MIT */
#pragma once

#include "asking.h"
#include "request.h"

namespace vorn::gate {

/* GET /openapi.json: this API with exactly the classes that the caller sees. */
Answer get_openapi(Desk &desk, const Caller &caller, const Request &request);

} // namespace vorn::gate
