/* SPDX-License-Identifier: MIT */
/*
 * What a configuration is, in a few letters. Nobody gains by making two configurations whose
 * digests agree: whoever can set the values can as well set those of the other.
 */
#include "config/commit_id.h"

#include "config/scattered_digest.h"
#include "model/class_record.h"
#include "model/classes_walk.h"
#include "model/instance_record.h"
#include "model/instances_walk.h"
#include "vorn/class.h"

#include <cinttypes>
#include <cstring>

#include <sys/random.h>

namespace vorn {

std::uint64_t digest_of_values(const vorn_instance &instance)
{
    const vorn_class &klass = *instance.klass;
    std::uint64_t values = 0;
    for (auto [property, value] : instance.values) {
        const vorn_property *declared = vorn_class_get_property(&klass, property);
        if (!declared || declared->persistence == 0 || *value == '\0') continue;
        values += scattered(add_text(add_text(digest_start, property), value));
    }
    return values;
}

std::uint64_t digest_of_instance(const vorn_instance &instance)
{
    const vorn_class &klass = *instance.klass;
    const std::uint64_t values = digest_of_values(instance);
    /* A boot makes the singletons that no file holds. */
    if (klass.type == VORN_CLASS_SINGLETON && values == 0) return 0;
    const char *name = instance.name ? instance.name.get() : "";
    return scattered(add_text(add_text(digest_start, klass.name.get()), name) + values);
}

namespace {

bool add_class(std::uint64_t &digest, const vorn_class &klass, const vorn_instances *instances)
{
    if (klass.persistence == 0 || klass.superclass_name) return true;

    const Walk walk(vorn_instances_new_class_iterator(instances, klass.name.get()));
    if (!walk) return false;
    for (const vorn_instance *instance : walk) {
        if (instance->klass->persistence != 0) digest += digest_of_instance(*instance);
    }
    return true;
}

} // namespace

CommitId CommitId::of(const vorn_instances *instances, std::uint32_t number)
{
    CommitId id;
    id.number_ = number;
    const ClassesWalk classes;
    id.failed_ = !classes;
    for (const vorn_class *klass : classes) {
        if (!add_class(id.digest_, *klass, instances)) id.failed_ = true;
    }
    return id;
}

/* Of one configuration at a time: a client only wants to know whether it is still the same. */
void CommitId::veil()
{
    static constinit std::uint64_t veiled = 0;
    static constinit std::uint64_t shown_instead = 0;
    if (failed_ || (shown_instead != 0 && veiled == digest_)) {
        digest_ = shown_instead;
        return;
    }
    std::uint64_t by_chance = 0;
    failed_ = getrandom(&by_chance, sizeof by_chance, GRND_NONBLOCK) != sizeof by_chance;
    if (failed_) return;
    veiled = digest_;
    digest_ = shown_instead = by_chance | 1;
}

Line<40> CommitId::text() const
{
    return Line<40>("%" PRIu32 "-%016" PRIx64, number_, digest_);
}

bool CommitId::is_named_by(const char *other) const
{
    const Line<40> own = text();
    const char *separator = std::strchr(other, '-');
    return !failed_ && separator && std::strcmp(separator, std::strchr(own.get(), '-')) == 0;
}

} // namespace vorn
