/* SPDX-License-Identifier: MIT */
#pragma once

#include "core/base/memory.h"
#include "core/hash_table/table.h"

namespace vorn {

enum class Visit { none, under_way, done };

/* One name that was registered or that a constraint mentions. */
struct vorn_providers_node : Record {
    Visit state = Visit::none;
    NameSet predecessors; /* the names that must come before this one */
};

/* By name. The order of creation decides among names that no constraint orders. */
using ProviderNodes = Table<vorn_providers_node>;

/* Makes sure that the name has a node. False, and nothing done, when memory is gone. */
bool add_node(ProviderNodes &nodes, const char *name);

/* The same for both names, later before first, and puts the one before the other. */
bool add_constraint(ProviderNodes &nodes, const char *first, const char *later);

/*
 * Sorts the names of all nodes into the set, whose order of insertion is the order of providers.
 * False for a loop, which is logged, with the set as far as it was filled; also, with an empty
 * set and the nodes as before, when memory is gone.
 */
bool order_nodes(ProviderNodes &nodes, NameSet &ordered);

/* Frees the nodes and their table. */
void discard_nodes(ProviderNodes &nodes);

} // namespace vorn
