/* SPDX-License-Identifier: MIT */
#pragma once

#include "config/edited_values.h"
#include "config/losses.h"
#include "config/migration_plan.h"

namespace vorn {

/* Whether a step concerns nothing but the values of one instance. */
bool is_within_instance(const PlannedStep &planned);

/* An instance that takes such steps. */
struct InstanceOnItsWay {
    ConfigDocument &document;
    EditedValues &values;
    InstanceTitle title;
    Losses *losses; /* null when nobody asks */
};

/* Takes one. False without memory. Counts the values that are dropped. */
bool take_step(const PlannedStep &planned, InstanceOnItsWay &instance, unsigned int &dropped);

} // namespace vorn
