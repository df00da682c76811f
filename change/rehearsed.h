/* SPDX-License-Identifier: MIT */
#pragma once

#include "change/explanation_record.h"
#include "vorn/instance.h"
#include "vorn/provider.h"

#include <cstdint>

namespace vorn {

/* What happens to an instance as a provider is told of it. */
enum class InstanceAction : std::uint8_t { inserted, updated, deleted };

/* Hears what a commit would do, in the order in which it would do it. */
struct RehearsalListener {
    void *data;
    /* The provider's commit function would be told of the instance. */
    void (*hear_instance)(const vorn_provider &provider, InstanceAction action,
                          const vorn_instance &instance, void *data);
    /* The provider has said that of its part. */
    void (*hear_effect)(const vorn_provider &provider, const Effect &effect, void *data);
};

} // namespace vorn
