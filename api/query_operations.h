/* SPDX-License-Identifier: MIT */
#pragma once

#include "api/query_context.h"
#include "api/query_result.h"

namespace vorn {

/*
 * Evaluates the operation that the context stands at, in whichever pass the request is, and writes
 * down what it answers. The request-level count becomes the operation's error count.
 * Returns the next operation, or null when there is none or the request's shape is broken.
 */
xmlNode *evaluate_operation(QueryContext &context, Answer &answer, std::int32_t &count);

} // namespace vorn
