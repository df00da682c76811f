/* SPDX-License-Identifier: MIT */
#include "config/instances_by_name.h"

namespace vorn {

bool InstancesByName::add(const char *name, std::size_t place)
{
    constexpr unsigned int buckets = 64;
    if (name) {
        if (!places_.create(buckets)) return false;
        const int inserted = places_.insert(name, member(place, false));
        if (inserted == TableOwner::no_memory) return false;
        if (inserted != 0) places_.replace(name, member(named(name), true));
    } else if (unnamed_ == none) {
        unnamed_ = place;
    }
    if (count_++ == 0) first_ = place;
    return true;
}

std::size_t InstancesByName::named(const char *name) const
{
    const std::size_t found = member_named(name);
    return found > 0 ? found / 2 - 1 : none;
}

bool InstancesByName::are_several(const char *name) const
{
    return member_named(name) % 2 == 1;
}

} // namespace vorn
