/* SPDX-License-Identifier: MIT */
#pragma once

#include "core/base/memory.h"
#include "core/base/shared_text.h"
#include "model/class_record.h"
#include "model/values.h"
#include "vorn/instance.h"

struct vorn_instance : vorn::Record {
    vorn_class *klass = nullptr;
    vorn::SharedText name;
    vorn::Values values;
    vorn_instance_listener_fn listener = nullptr;
    void *listener_data = nullptr;
};
