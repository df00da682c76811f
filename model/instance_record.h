/* SPDX-License-Identifier: MIT */
#pragma once

#include "core/base/memory.h"
#include "core/base/table.h"
#include "core/base/text.h"
#include "model/class_record.h"
#include "vorn/instance.h"

struct vorn_instance : vorn::Record {
    ~vorn_instance(); /* frees the values */

    vorn_class *klass = nullptr;
    vorn::Text name;
    vorn::Table<char> values; /* property name to owned text, in the order last set */
    vorn_instance_listener_fn listener = nullptr;
    void *listener_data = nullptr;
};
