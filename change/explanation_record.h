/* SPDX-License-Identifier: MIT */
#pragma once

#include "core/base/memory.h"
#include "core/base/text.h"
#include "vorn/explanation.h"

#include <cstdint>

namespace vorn {

/* What a change does, as a sentence for people. */
struct Effect : Record {
    std::int32_t weight = VORN_EXPLAIN_NOTHING;
    Text sentence;
    Effect *next = nullptr;
};

/* The word for a weight. */
const char *weight_word(std::int32_t weight);

} // namespace vorn

struct vorn_explanation : vorn::Record {
    vorn_explanation() = default;
    vorn_explanation(const vorn_explanation &) = delete;
    ~vorn_explanation();

    vorn::Effect *first = nullptr; /* in the order in which they were added */
    vorn::Effect *last = nullptr;
};
