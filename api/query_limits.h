/* SPDX-License-Identifier: MIT */
#pragma once

#include "core/base/text.h"

#include <libxml/tree.h>

namespace vorn {

/*
 * What a request has too much of, as the error it is answered with; empty when there is nothing, or
 * no memory to say it. Whoever sends a request can put no more into names, values, expressions and
 * the rest than the limits say.
 */
struct Excess {
    bool found = false;
    Text message;
};

/* To be asked before the request is evaluated, with the first operation. */
Excess find_excess(xmlNode *root, xmlNode *first_operation);

} // namespace vorn
