/* SPDX-License-Identifier: MIT */
/* Lists of nodes, which anonymous classes and groups keep their instances in. */
#include "model/instances_kind.h"

namespace vorn {

bool NodeList::append(vorn_instance *instance) const
{
    Owned<vorn_instance_node> node = make<vorn_instance_node>();
    if (!node) return false;

    node->instance = instance;
    node->previous = last;
    (last ? last->next : first) = node.get();
    last = node.release();
    return true;
}

vorn_instance_node *NodeList::find(const vorn_instance *instance) const
{
    vorn_instance_node *node = first;
    while (node && node->instance != instance)
        node = node->next;
    return node;
}

void NodeList::unlink(vorn_instance_node *node) const
{
    const Owned<vorn_instance_node> unlinked(node);
    (node->previous ? node->previous->next : first) = node->next;
    (node->next ? node->next->previous : last) = node->previous;
}

void NodeList::free_nodes() const
{
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
