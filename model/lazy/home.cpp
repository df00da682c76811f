/* SPDX-License-Identifier: MIT */
#include "model/lazy/home.h"

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
    /* One that has copied everything leaves, and still knows who comes after it. */
    for (Witness *each = witnesses; each; each = each->next)
        if (!each->before_change(*each, event, instance)) return false;
    return true;
}

void InstanceHome::tell_of_succession(const vorn_instance &original,
                                      const vorn_instance &copy) const
{
    for (Witness *each = witnesses; each; each = each->next)
        if (each->succeeded) each->succeeded(*each, original, copy);
}

} // namespace vorn
