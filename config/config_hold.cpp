/* SPDX-License-Identifier: MIT */
/*
 * Whether what is served may be saved. What is on trial is not, so that whatever resets the device
 * takes it back; this is the one place that says so, whoever asks for a save.
 */
#include "config/config_hold.h"

#include "core/base/result.h"
#include "core/guard.h"
#include "vorn/config.h"
#include "vorn/debug.h"

#include <utility>

namespace vorn {

namespace {

constinit bool is_held = false;
constinit SaveReason reason_held = {};

} // namespace

const char *reason_to_hold()
{
    return is_held ? reason_held.get() : nullptr;
}

bool is_saving_held()
{
    if (is_held) vorn_debug_eprintf("Not saving: %s.\n", reason_held.get());
    return is_held;
}

bool is_saving_held(SaveReason &reason)
{
    if (is_held) reason = reason_held;
    return is_saving_held();
}

bool end_hold()
{
    return std::exchange(is_held, false);
}

} // namespace vorn

using namespace vorn;

int vorn_config_hold(const char *sentence)
{
    if (absent(sentence, "sentence")) return failed;

    is_held = true;
    reason_held.set("%s", sentence);
    return ok;
}

int vorn_config_is_held()
{
    return is_held;
}
