/* SPDX-License-Identifier: MIT */
#pragma once

#include "vorn/instance.h"
#include "vorn/refresh_info.h"

#include <libxml/tree.h>

namespace vorn {

/*
 * Evaluates an expression for one instance. The answer is a text, or null: null is false, any
 * text is true. It points into the request or the instance.
 */
const char *eval_expr(const xmlNode *expression, const vorn_instance *instance);

/* Selects every property that an expression looks at for the refresh; false without memory. */
bool collect_where_properties(vorn_refresh_info *info, const xmlNode *expression,
                              const char *class_name, const char *instance_name);

} // namespace vorn
