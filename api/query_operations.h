/* SPDX-License-Identifier: MIT */
#pragma once

#include "api/query_request.h"
#include "api/query_result.h"

#include <libxml/tree.h>

namespace vorn {

/*
 * Evaluates the operation that an element asks for, in whichever pass the request is, and writes
 * down what it answers. The request-level count becomes the operation's error count.
 * Returns the next operation, or null when there is none or the request's shape is broken.
 */
xmlNode *evaluate_operation(QueryRequest &request, xmlNode *element, Answer &answer,
                            std::int32_t &count);

} // namespace vorn
