/* SPDX-License-Identifier: MIT */
/* What amend functions are told of a configuration that they may still change, and what they say.
 */
#include "change/amend_info_record.h"
#include "core/base/result.h"
#include "core/guard.h"

#include <cstdarg>

using namespace vorn;

vorn_instances *vorn_amend_info_get_instances(const vorn_amend_info *info)
{
    return vorn_check_info_get_instances(info);
}

vorn_changes *vorn_amend_info_get_changes(const vorn_amend_info *info)
{
    return vorn_check_info_get_changes(info);
}

int vorn_amend_info_is_rehearsal(const vorn_amend_info *info)
{
    return vorn_check_info_is_rehearsal(info);
}

int vorn_amend_info_refuse(vorn_amend_info *info, const vorn_instance *instance,
                           const char *property, const char *pattern, ...)
{
    if (absent(info, "info") || absent(pattern, "format")) return failed;

    std::va_list arguments;
    va_start(arguments, pattern);
    const bool refused = refuse(*info, instance, property, pattern, arguments);
    va_end(arguments);
    return refused ? ok : failed;
}

void vorn_amend_info_accept(vorn_amend_info *info)
{
    if (info) info->is_accepted = true;
}
