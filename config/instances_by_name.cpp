/* SPDX-License-Identifier: MIT */
#include "config/instances_by_name.h"

namespace vorn {

bool InstancesByName::add(const char *name, std::size_t place)
{
    constexpr unsigned int buckets = 64;
    constexpr int no_memory = -2;
    if (name) {
        if (!places_.create(buckets) || places_.insert(name, member(place)) == no_memory)
            return false;
    } else if (unnamed_ == none) {
        unnamed_ = place;
    }
    if (count_++ == 0) first_ = place;
    return true;
}

std::size_t InstancesByName::named(const char *name) const
{
    const char *found = places_.get(name);
    return found ? reinterpret_cast<std::size_t>(found) - 1 : none;
}

} // namespace vorn
