/* SPDX-License-Identifier: MIT */
#pragma once

#include "core/base/text_buffer.h"

namespace vorn {

/* Whose instance something is said of. */
struct InstanceTitle {
    const char *class_name;
    const char *name; /* null for none */
};

/* Why something is lost, in a few words. */
using LossReason = Line<200>;

/* What a migration loses, a line for each: Radio "r0": turbo: dropped in version 3 */
class Losses {
public:
    /* Of a property, or of the whole instance for null. */
    void add(const InstanceTitle &title, const char *property, const LossReason &reason);
    /* One that is of no instance. */
    void add_line(const char *text);

    bool failed() const { return lines_.failed(); }
    Text take();

private:
    TextBuffer lines_;
};

} // namespace vorn
