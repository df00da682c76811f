/* SPDX-License-Identifier: MIT */
/* Lists of nodes, which anonymous classes and groups keep their instances in. */
#include "model/instances_nodes.h"

namespace vorn {

bool NodeList::append(vorn_instance *instance) const
{
    Owned<vorn_instance_node> node = make<vorn_instance_node>();
    if (!node) return false;

    node->instance = instance;
    node->previous = last;
    (last ? last->next : first) = node.get();
    last = node.release();
    if (index.nodes) note(last);
    return true;
}

/* Without the memory for it there is no index, and what it would be asked is found by walking. */
void NodeList::note(vorn_instance_node *node) const
{
    constexpr int taken = -1;
    const int result = index.nodes.insert(node->instance, node);
    if (result == taken) index.has_twins = true;
    if (result != 0) index.nodes.discard();
}

void NodeList::make_index() const
{
    constexpr unsigned int buckets = 64;
    index.far_walks = 0;
    if (index.has_twins || !index.nodes.create(buckets)) return;
    for (vorn_instance_node *node = first; node && index.nodes; node = node->next)
        note(node);
}

vorn_instance_node *NodeList::find(const vorn_instance *instance) const
{
    constexpr unsigned int far = 64;
    constexpr unsigned int often = 16;
    if (index.nodes) return index.nodes.get(instance);

    vorn_instance_node *node = first;
    unsigned int steps = 0;
    for (; node && node->instance != instance; node = node->next)
        steps++;
    if (steps > far && ++index.far_walks == often) make_index();
    return node;
}

void NodeList::unlink(vorn_instance_node *node) const
{
    const Owned<vorn_instance_node> unlinked(node);
    index.nodes.remove(node->instance);
    (node->previous ? node->previous->next : first) = node->next;
    (node->next ? node->next->previous : last) = node->previous;
}

void NodeList::replace(vorn_instance_node *node, vorn_instance *instance) const
{
    index.nodes.remove(node->instance);
    node->instance = instance;
    if (index.nodes) note(node);
}

void NodeList::append_all(const NodeList &other) const
{
    if (!other.first) return;
    vorn_instance_node *taken = other.first;
    other.index.nodes.discard();
    taken->previous = last;
    (last ? last->next : first) = taken;
    last = other.last;
    other.first = nullptr;
    other.last = nullptr;
    for (; taken && index.nodes; taken = taken->next)
        note(taken);
}

void NodeList::free_nodes() const
{
    index.nodes.discard();
    while (first)
        unlink(first);
}

void NodeList::delete_instances() const
{
    for (const vorn_instance_node *node = first; node; node = node->next) {
        vorn_instance_delete(node->instance);
    }
    free_nodes();
}

bool NodeList::append_copies_of(const vorn_instance_node *source,
                                const vorn_class_instances &target) const
{
    for (; source; source = source->next) {
        vorn_instance *copy = copy_for(target, *source->instance);
        if (!copy) return false;
        if (!append(copy)) {
            vorn_instance_delete(copy);
            return false;
        }
    }
    return true;
}

} // namespace vorn
