/* SPDX-License-Identifier: MIT */
#pragma once

#include "core/base/memory.h"
#include "core/base/text.h"
#include "model/property_record.h"
#include "vorn/check_info.h"

#include <cstdarg>

namespace vorn {

/* One thing that is wrong, as a sentence for people. */
struct Refusal : Record {
    Text sentence;
    const vorn_class *klass = nullptr;       /* of the instance; null for nobody's fault */
    const vorn_property *property = nullptr; /* of it */
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

namespace vorn {

/* As vorn_check_info_refuse; false when memory is gone. */
bool refuse(vorn_check_info &info, const vorn_instance *instance, const char *property,
            const char *pattern, std::va_list arguments);

/* For a configuration that is served all the same. */
void log_refusals(const vorn_check_info &info);

} // namespace vorn
