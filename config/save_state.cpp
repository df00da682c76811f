/* SPDX-License-Identifier: MIT */
/*
 * What became of the last save. Providers cannot refuse, so the answer to a request can't tell
 * whether what it changed will be there after a reboot; who wants to know asks here.
 */
#include "config/save_state.h"

#include "vorn/config.h"

#include <cstdarg>

namespace vorn {

constinit SaveState last_save = {VORN_SAVE_NONE, 0, {}};

void SaveReason::set(const char *pattern, ...)
{
    std::va_list arguments;
    va_start(arguments, pattern);
    format_cut(text_, sizeof text_, pattern, arguments);
    va_end(arguments);
}

void note_save(const SaveReason &reason)
{
    last_save.time = std::time(nullptr);
    last_save.result = reason.is_empty() ? VORN_SAVE_DONE : VORN_SAVE_FAILED;
    last_save.reason = reason;
}

} // namespace vorn

using namespace vorn;

int vorn_config_get_save_result()
{
    return last_save.result;
}

const char *vorn_config_get_save_reason()
{
    return last_save.reason.get();
}

int64_t vorn_config_get_save_time()
{
    return last_save.time;
}
