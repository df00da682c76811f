/* SPDX-License-Identifier: MIT */
/*
 * What became of the last save. Providers cannot refuse, so the answer to a request can't tell
 * whether what it changed will be there after a reboot; who wants to know asks here.
 */
#include "config/save_state.h"

#include "config/listeners.h"
#include "core/guard.h"
#include "vorn/config.h"

#include <cstdarg>
#include <cstring>

namespace vorn {

constinit SaveState last_save = {VORN_SAVE_NONE, 0, {}};

namespace {

constinit Listeners<vorn_config_saved_fn> listeners;
constinit SaveState save_before_hold = {};

void note(int result, const SaveReason &reason)
{
    last_save.time = std::time(nullptr);
    last_save.result = result;
    last_save.reason = reason;
}

} // namespace

void SaveReason::set(const char *pattern, ...)
{
    std::va_list arguments;
    va_start(arguments, pattern);
    format_cut(text_, sizeof text_, pattern, arguments);
    va_end(arguments);
}

void note_save(const SaveReason &reason)
{
    note(reason.is_empty() ? VORN_SAVE_DONE : VORN_SAVE_FAILED, reason);
}

void note_no_save(const SaveReason &reason)
{
    if (last_save.result != VORN_SAVE_HELD) save_before_hold = last_save;
    note(VORN_SAVE_HELD, reason);
}

void forget_no_save()
{
    if (last_save.result == VORN_SAVE_HELD) last_save = save_before_hold;
}

void tell_of_save(const Text &document)
{
    const std::size_t size = std::strlen(document.get());
    listeners.tell(Callback::saved, document.get(), size);
}

} // namespace vorn

using namespace vorn;

int vorn_config_add_saved_fn(vorn_config_saved_fn fn, void *data)
{
    if (absent(reinterpret_cast<void *>(fn), "fn")) return failed;

    return listeners.add(fn, data);
}

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
