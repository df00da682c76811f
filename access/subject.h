/* SPDX-License-Identifier: MIT */
#pragma once

#include "core/peer.h"

#include <cstdint>

#include "access/rules.h"

namespace vorn {

/*
 * Whom rules are about, as the kernel knows him: numbers alone. Who speaks for somebody is nobody
 * himself.
 */
struct Subject {
    static constexpr unsigned int most_groups = 64;
    static constexpr unsigned int longest_gate_name = vorn_peer::longest_for_user;
    static constexpr std::uint32_t unknown = UINT32_MAX;

    std::uint32_t uid = unknown;
    std::uint32_t gid = unknown;
    unsigned int group_count = 0;
    bool knows_groups = false;
    std::uint32_t groups[most_groups];          /* so many of them are known */
    char gate_name[longest_gate_name + 1] = ""; /* who the gate speaks for; empty for nobody */

    bool is_same(const Subject &other) const;
    bool has_group(std::uint32_t number) const;
};

/* Whether a text may be the name of somebody whom the gate speaks for. */
bool is_gate_name(const char *text);

/* Whether a rule is about the subject. Where that can't be told, one that denies is. */
class SubjectNames {
public:
    /* Reads what the system says of users and groups; false when memory is gone. */
    bool read(const Subject &subject, const AccessRules &rules);
    bool is_meant(const AccessRule &rule) const;

private:
    bool read_file(const char *path, AccessRule::Whom whom);

    const Subject *subject_ = nullptr;
    NameSet users_;  /* of his number */
    NameSet groups_; /* of his groups */
    bool knows_users_ = false;
    bool knows_groups_ = false;
};

} // namespace vorn
