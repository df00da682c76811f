/* SPDX-License-Identifier: MIT */
#include "api/query_rights.h"

#include <cstring>

namespace vorn {

namespace {

constexpr AccessWord words[] = {
    {"trial", "confirm", true},
    {"trial", "revert", true},
    {"history", "rollback", false},
};

} // namespace

const AccessWord *find_access_word(const vorn_class &klass, const char *property)
{
    for (const AccessWord &each : words) {
        if (*each.property != *property) continue; /* as with most, which nothing is compared of */
        if (std::strcmp(each.klass, klass.name.get()) == 0 &&
            std::strcmp(each.property, property) == 0)
            return &each;
    }
    return nullptr;
}

bool is_unheard_of(const AccessView &view, const vorn_class &klass, const char *property)
{
    const ClassRights &rights = view.of(klass);
    if (rights.may_read(property)) return false;
    const AccessWord *word = find_access_word(klass, property);
    const bool may_end_trial = word && word->ends_trial && !rights.unconfirmable.contains(property);
    return rights.not_updatable.contains(property) && rights.not_insertable.contains(property) &&
           !may_end_trial;
}

} // namespace vorn
