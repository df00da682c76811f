/* SPDX-License-Identifier: MIT */
/* What check functions are told of a configuration that nobody serves yet, and what they find. */
#include "change/check_info_record.h"
#include "core/base/result.h"
#include "core/guard.h"
#include "model/class_record.h"
#include "model/instance_record.h"

#include <cstdarg>
#include <utility>

namespace vorn {

namespace {

/* Whose fault it is, as a sentence begins; "" for nobody's. */
Text blame(const vorn_instance *instance, const char *property)
{
    if (!instance) return copy_of("");
    const char *klass = instance->klass->name.get();
    const char *name = instance->name.get();
    if (property && name) {
        return format("Property \"%s\" of instance \"%s\" of class \"%s\": ", property, name,
                      klass);
    }
    if (property) return format("Property \"%s\" of class \"%s\": ", property, klass);
    if (name) return format("Instance \"%s\" of class \"%s\": ", name, klass);
    return format("Class \"%s\": ", klass);
}

Text sentence_of(const Text &blamed, const Text &reason)
{
    return blamed && reason ? format("%s%s.", blamed.get(), reason.get()) : Text();
}

bool append(vorn_check_info &info, Text sentence, const vorn_instance *instance,
            const char *property)
{
    Owned<Refusal> refusal = make<Refusal>();
    if (!sentence || !refusal) return false;
    refusal->sentence = std::move(sentence);
    refusal->klass = instance ? instance->klass : nullptr;
    if (instance && property)
        refusal->property = vorn_class_get_property(instance->klass, property);
    Refusal *&place = info.last ? info.last->next : info.first;
    info.last = place = refusal.release();
    return true;
}

} // namespace

bool refuse(vorn_check_info &info, const vorn_instance *instance, const char *property,
            const char *pattern, std::va_list arguments)
{
    const Text reason = format_list(pattern, arguments);
    const bool appended =
        append(info, sentence_of(blame(instance, property), reason), instance, property);
    if (!appended) info.out_of_memory = true;
    return appended;
}

void log_refusals(const vorn_check_info &info)
{
    for (const Refusal *each = info.first; each; each = each->next)
        vorn_debug_eprintf("Loaded in spite of this: %s\n", each->sentence.get());
}

} // namespace vorn

using namespace vorn;

vorn_check_info::~vorn_check_info()
{
    while (Refusal *gone = first) {
        first = gone->next;
        delete gone;
    }
}

vorn_instances *vorn_check_info_get_instances(const vorn_check_info *info)
{
    return info ? info->instances : nullptr;
}

vorn_changes *vorn_check_info_get_changes(const vorn_check_info *info)
{
    return info ? info->changes : nullptr;
}

int vorn_check_info_is_rehearsal(const vorn_check_info *info)
{
    return info && info->is_rehearsal;
}

int vorn_check_info_refuse(vorn_check_info *info, const vorn_instance *instance,
                           const char *property, const char *pattern, ...)
{
    if (absent(info, "info") || absent(pattern, "format")) return failed;

    std::va_list arguments;
    va_start(arguments, pattern);
    const bool refused = refuse(*info, instance, property, pattern, arguments);
    va_end(arguments);
    return refused ? ok : failed;
}
