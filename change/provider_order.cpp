/* SPDX-License-Identifier: MIT */
/*
 * The depth-first sort of providers. A name is placed after everything that must come before it;
 * one that is met again while it is still being visited closes a loop, and the names on the way
 * back out are the report.
 */
#include "change/provider_order.h"

#include "core/base/result.h"
#include "core/base/text.h"
#include "vorn/debug.h"

#include <utility>

namespace vorn {

namespace {

constexpr unsigned int ordered_buckets = 32;
constexpr unsigned int predecessor_buckets = 1;

struct Sorting {
    ProviderNodes &nodes;
    NameSet &ordered;
    Text loop; /* its names so far, for one line of log */
};

Outcome report_in_loop(Sorting &sorting, const char *name)
{
    Text names = sorting.loop ? format("%s, %s", sorting.loop.get(), name) : copy_of(name);
    if (!names) return Outcome::out_of_memory;

    sorting.loop = std::move(names);
    return Outcome::refused;
}

/* Every level of the recursion is another name, so their number bounds its depth. */
Outcome visit(Sorting &sorting, const char *name)
{
    vorn_providers_node &node = *sorting.nodes.get(name);
    if (node.state == Visit::done) return Outcome::done;
    if (node.state == Visit::under_way) return report_in_loop(sorting, name);

    node.state = Visit::under_way;
    for (const char *predecessor : node.predecessors) {
        const Outcome outcome = visit(sorting, predecessor);
        if (outcome == Outcome::refused) return report_in_loop(sorting, name);
        if (outcome == Outcome::out_of_memory) return outcome;
    }
    if (!sorting.ordered.add(name)) return Outcome::out_of_memory;

    node.state = Visit::done;
    return Outcome::done;
}

void start_afresh(Sorting &sorting)
{
    sorting.ordered.discard();
    for (auto [name, node] : sorting.nodes)
        node->state = Visit::none;
}

void remove_node(ProviderNodes &nodes, const char *name)
{
    delete nodes.remove(name);
}

} // namespace

bool add_node(ProviderNodes &nodes, const char *name)
{
    if (nodes.get(name)) return true;

    Owned<vorn_providers_node> node = make<vorn_providers_node>();
    if (!node || !node->predecessors.create(predecessor_buckets)) return false;
    if (nodes.insert(name, node.get()) != ok) return false;

    node.release();
    return true;
}

bool add_constraint(ProviderNodes &nodes, const char *first, const char *later)
{
    const bool later_is_new = !nodes.get(later);
    if (!add_node(nodes, later)) return false;

    const bool first_is_new = !nodes.get(first);
    if (add_node(nodes, first) && nodes.get(later)->predecessors.add(first)) return true;

    if (first_is_new) remove_node(nodes, first);
    if (later_is_new) remove_node(nodes, later);
    return false;
}

bool order_nodes(ProviderNodes &nodes, NameSet &ordered)
{
    if (!ordered.create(ordered_buckets)) return false;

    Sorting sorting = {nodes, ordered, Text()};
    for (auto [name, node] : nodes) {
        const Outcome outcome = visit(sorting, name);
        if (outcome == Outcome::done) continue;

        if (outcome == Outcome::out_of_memory) {
            start_afresh(sorting);
        } else {
            vorn_debug_1printf("Loop detected in providers order: %s.\n", sorting.loop.get());
        }
        return false;
    }
    return true;
}

void discard_nodes(ProviderNodes &nodes)
{
    for (auto [name, node] : nodes)
        delete node;
    nodes.discard();
}

} // namespace vorn
