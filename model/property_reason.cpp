/* SPDX-License-Identifier: MIT */
/*
 * A validity function answers yes or no. What it says beside that is kept here until the next value
 * is judged, in fixed room: a refusal must not lack its reason because memory ran out.
 */
#include "model/property_reason.h"

#include "core/base/text.h"
#include "core/guard.h"
#include "vorn/property.h"

#include <cstdarg>

namespace vorn {

namespace {

constinit char reason[reason_room - 1] = "";

} // namespace

void forget_reason()
{
    reason[0] = '\0';
}

const char *reason_given()
{
    return reason;
}

const char *before_reason()
{
    return reason[0] != '\0' ? " " : "";
}

} // namespace vorn

using namespace vorn;

int vorn_property_refuse_value(const char *pattern, ...)
{
    if (absent(pattern, "format")) return 0;

    std::va_list arguments;
    va_start(arguments, pattern);
    format_cut(reason, sizeof reason, pattern, arguments);
    va_end(arguments);
    return 0;
}
