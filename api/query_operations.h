/* SPDX-License-Identifier: MIT */
#pragma once

#include "api/query_context.h"

namespace vorn {

/*
 * Evaluates the operation that the context stands at, in whichever pass the request is, and puts
 * what it answers into the result. The request-level count becomes the operation's error count.
 * Returns the next operation, or null when there is none or the request's shape is broken.
 */
xmlNode *evaluate_operation(QueryContext &context, xmlDoc *result, std::int32_t &count);

} // namespace vorn
