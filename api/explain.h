/* SPDX-License-Identifier: MIT */
#pragma once

#include "api/query_request.h"
#include "api/query_result.h"

#include <cstdint>

namespace vorn {

/*
 * Completes an explanation whose operations have been carried out on a copy, with so many errors:
 * what they changed, what the checks have against it and, if nothing, what each provider would do.
 * Nobody is told of the change. Memory that ran out is noted in the request.
 */
void explain(QueryRequest &request, std::int32_t errors, Answer &answer);

} // namespace vorn
