/* SPDX-License-Identifier: MIT */
/* vornctl repair: what somebody has changed past the configuration is put right. */
#include "device.h"
#include "effects.h"
#include "schema.h"
#include "text.h"
#include "transaction.h"
#include "verb.h"

namespace vorn::client {

int repair(const Invocation &invocation)
{
    Device device(invocation.options.timeout_ms());
    const Schema schema = Schema::of(device);
    Transaction transaction(schema, invocation.options);
    Target meant;
    if (invocation.words.size() > 1) meant.name = invocation.word(1);
    transaction.update(
        "repair", {"repair", {}, {}},
        {{"what", invocation.words.empty() ? "all" : joined(invocation.words, " ")}});
    for (const auto &[family, property] : states_in(schema)) {
        meant.class_name = family;
        if (invocation.words.empty() || schema.family_of(invocation.word(0)) == family)
            transaction.look_at(meant);
    }
    return transaction.execute(device);
}

} // namespace vorn::client
