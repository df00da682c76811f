/* SPDX-License-Identifier: MIT */
#pragma once

#include "core/base/memory.h"
#include "core/hash_table/table.h"
#include "model/class_record.h"

namespace vorn {

/* Every class by name, in the order of registration. It owns them until the process ends. */
struct ClassRegistry : Record {
    Table<vorn_class> classes;
};

/* Null until the first class is added. */
extern ClassRegistry *class_registry;

} // namespace vorn
