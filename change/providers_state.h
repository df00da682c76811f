/* SPDX-License-Identifier: MIT */
#pragma once

#include "change/provider_order.h"
#include "core/base/memory.h"
#include "core/hash_table/table.h"
#include "vorn/provider.h"

namespace vorn {

/*
 * Providers are collected while both tables and no order exist. Once ordered, the nodes are gone;
 * after a loop they stay, beside the order as far as it came.
 */
struct ProviderRegistry : Record {
    Table<vorn_provider> registered; /* owned until the process ends */
    ProviderNodes nodes;
    NameSet ordered; /* every name that was registered or mentioned, first to run first */
    vorn_provider *first = nullptr; /* of those that are registered, linked in that order */
};

/* Null until vorn_providers_init. */
extern ProviderRegistry *provider_registry;

} // namespace vorn
