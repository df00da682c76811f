/* SPDX-License-Identifier: MIT */
#pragma once

#include "core/base/text.h"
#include "vorn/migration.h"

namespace vorn {

/* What is wrong with a table, in a sentence without a full stop. */
using SchemaFault = Line<200>;

/* The steps of a plugin as it handed them over. */
struct SchemaTable {
    const vorn_migration *steps;
    unsigned int count;

    const vorn_migration *begin() const { return steps; }
    const vorn_migration *end() const { return steps + count; }
};

/* The property that a rename or a move leads to. */
inline const char *property_after(const vorn_migration &step)
{
    return step.to_property ? step.to_property : step.property;
}

/* Whether a table makes sense by itself; else what is wrong with it. */
bool is_sound(const SchemaTable &table, unsigned int version, SchemaFault &fault);

/* A class of which both tell; null when there is none. */
const char *find_claimed_by_both(const SchemaTable &one, const SchemaTable &other);

} // namespace vorn
