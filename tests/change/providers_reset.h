/* SPDX-License-Identifier: MIT */
#pragma once

#include "change/provider_record.h"
#include "change/providers_state.h"

#include <utility>

namespace vorn::tests {

/* Forgets and frees every provider; the registry is as it was at start-up. */
inline void forget_providers()
{
    const Owned<ProviderRegistry> forgotten(std::exchange(provider_registry, nullptr));
    if (!forgotten) return;
    for (auto [name, provider] : forgotten->registered)
        delete provider;
    discard_nodes(forgotten->nodes);
}

/* While alive, the provider registry starts out empty and ready for providers. */
struct ProvidersReset {
    ProvidersReset()
    {
        forget_providers();
        vorn_providers_init();
    }
    ProvidersReset(const ProvidersReset &) = delete;
    ~ProvidersReset() { forget_providers(); }
};

} // namespace vorn::tests
