/* SPDX-License-Identifier: MIT */
#pragma once

#include "core/base/text.h"
#include "vorn/instances.h"

#include <cstdint>

namespace vorn {

/*
 * Names what a configuration is: the number of the commit since the daemon started, for people, and
 * a digest of everything that a save would write, for the comparison. The digest is the same after
 * a reboot from the file that was saved, whatever the order of values and instances in it.
 */
class CommitId {
public:
    /* Without memory for the walk over a class the id equals none. */
    CommitId() = default;
    static CommitId of(const vorn_instances *instances, std::uint32_t number);

    /*
     * From here on another id, made by chance, that is the same as long as the configuration is:
     * for who must not be able to try out which values the digest is of.
     */
    void veil();

    Line<40> text() const;
    /* Whether an id that a client was told names the same configuration. */
    bool is_named_by(const char *text) const;
    bool failed() const { return failed_; }

private:
    std::uint32_t number_ = 0;
    std::uint64_t digest_ = 0;
    bool failed_ = false;
};

/* Of what a save would write of one instance, whatever the order of its values. */
std::uint64_t digest_of_instance(const vorn_instance &instance);
/* The same whatever its name. */
std::uint64_t digest_of_values(const vorn_instance &instance);

} // namespace vorn
