/* SPDX-License-Identifier: MIT */
/*
 * Process-wide values that several floors share. They live at the bottom so that the one who
 * sets a value and the one who reads it need not know each other.
 */
#include "core/process.h"

int vorn_process_no_actions = 0;
int vorn_debug_override = 0;
const char *vorn_query_origin = nullptr;

const char *vorn_get_version()
{
    return VORN_VERSION;
}

namespace vorn {

int reboot_requested = 0;
const char *(*value_for_others)(const char *, const char *, const char *) = nullptr;

} // namespace vorn
