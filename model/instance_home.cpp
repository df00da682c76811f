/* SPDX-License-Identifier: MIT */
#include "model/instance_home.h"

namespace vorn {

constinit std::uint64_t listener_clock = 0;

void InstanceHome::remove(const Witness &witness)
{
    for (Witness **place = &witnesses; *place; place = &(*place)->next) {
        if (*place != &witness) continue;
        *place = witness.next;
        return;
    }
}

bool InstanceHome::ask(StoreEvent event, vorn_instance &instance) const
{
    for (Witness *each = witnesses; each;) {
        Witness *next = each->next; /* one that has copied everything leaves */
        if (!each->before(*each, event, instance)) return false;
        each = next;
    }
    return true;
}

} // namespace vorn
