/* SPDX-License-Identifier: MIT */
#pragma once

#include "core/base/memory.h"
#include "core/base/text.h"
#include "vorn/check_info.h"

namespace vorn {

/* One thing that is wrong, as a sentence for people. */
struct Refusal : Record {
    Text sentence;
    Refusal *next = nullptr;
};

} // namespace vorn

struct vorn_check_info : vorn::Record {
    vorn_check_info(vorn_instances *checked, vorn_changes *made) : instances(checked), changes(made)
    {}
    vorn_check_info(const vorn_check_info &) = delete;
    ~vorn_check_info();

    vorn_instances *instances;
    vorn_changes *changes;
    vorn::Refusal *first = nullptr; /* in the order in which they were found */
    vorn::Refusal *last = nullptr;
    bool is_rehearsal = false;
    bool out_of_memory = false; /* what was found, or looked at, is not all there is */
};
