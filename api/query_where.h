/* SPDX-License-Identifier: MIT */
#pragma once

#include "core/base/memory.h"
#include "vorn/instance.h"
#include "vorn/refresh_info.h"

#include <libxml/tree.h>

#include <cstdint>

#include "access/view.h"

namespace vorn {

/*
 * A where-expression, read once into steps that are then taken for each instance: an expression
 * first, its operands after it. Texts stay the request's. Without an expression it is true of
 * everything.
 */
class Condition {
public:
    struct Step;

    /*
     * False when memory is gone. From a client secrets are hidden: who could compare one would soon
     * know it. What the view keeps from him yields nothing.
     */
    bool read(const xmlNode *expression, bool hides_secrets, const AccessView *view);

    explicit operator bool() const { return static_cast<bool>(steps_); }
    /* What is done for one instance at most, in comparisons of short texts. */
    std::uint64_t effort() const;

    bool is_true_of(const vorn_instance *instance) const;

    /* Selects every property that it looks at for the refresh; false when memory is gone. */
    bool collect_properties(vorn_refresh_info *info, const char *class_name,
                            const char *instance_name) const;

private:
    Allocated<Step> steps_;
    std::uint32_t size_ = 0;
};

} // namespace vorn
