/* SPDX-License-Identifier: MIT */
/* What one provider says that its commit would do. */
#include "change/explanation_record.h"
#include "core/base/result.h"
#include "core/guard.h"
#include "vorn/debug.h"

#include <cstdarg>
#include <utility>

namespace vorn {

namespace {

constexpr const char *words[] = {"nothing", "live", "interrupts", "restarts the device"};

bool is_weight(int weight)
{
    return weight >= VORN_EXPLAIN_NOTHING && weight <= VORN_EXPLAIN_RESTARTS_DEVICE;
}

} // namespace

const char *weight_word(std::int32_t weight)
{
    return words[weight];
}

} // namespace vorn

using namespace vorn;

vorn_explanation::~vorn_explanation()
{
    while (Effect *gone = first) {
        first = gone->next;
        delete gone;
    }
}

int vorn_explanation_add(vorn_explanation *explanation, int weight, const char *pattern, ...)
{
    if (absent(explanation, "explanation") || absent(pattern, "format")) return failed;
    if (!is_weight(weight)) {
        vorn_debug_1printf("Invalid weight.\n");
        return failed;
    }
    std::va_list arguments;
    va_start(arguments, pattern);
    Text sentence = format_list(pattern, arguments);
    va_end(arguments);
    Owned<Effect> effect = make<Effect>();
    if (!sentence || !effect) return failed;

    effect->weight = weight;
    effect->sentence = std::move(sentence);
    Effect *&place = explanation->last ? explanation->last->next : explanation->first;
    explanation->last = place = effect.release();
    return ok;
}
