/* SPDX-License-Identifier: MIT */
#pragma once

#include "core/hash_table/table.h"

#include <cstddef>

namespace vorn {

/* The places of a class's instances in a document, by their names. */
class InstancesByName {
public:
    static constexpr std::size_t none = SIZE_MAX;

    /* Of several of a name the first counts. False without memory. */
    bool add(const char *name, std::size_t place);

    std::size_t count() const { return count_; }
    /* Each none when there is none. */
    std::size_t first() const { return first_; }
    std::size_t unnamed() const { return unnamed_; }
    std::size_t named(const char *name) const;
    /* Whether there is more than one of a name. */
    bool are_several(const char *name) const;

private:
    /* A place as what a table keeps: never followed, only told from null. */
    static char *member(std::size_t place, bool is_one_of_several)
    {
        return reinterpret_cast<char *>(2 * (place + 1) + is_one_of_several);
    }
    std::size_t member_named(const char *name) const
    {
        return reinterpret_cast<std::size_t>(places_.get(name));
    }

    Table<char> places_;
    std::size_t count_ = 0;
    std::size_t first_ = none;
    std::size_t unnamed_ = none;
};

} // namespace vorn
