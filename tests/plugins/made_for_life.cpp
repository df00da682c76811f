/* SPDX-License-Identifier: MIT */
/*
 * What a plugin makes for the life of the daemon, again and again where each test begins it: kept,
 * for those who look for leaks.
 */
#include "vorn/plugin.h"
#include "vorn/refresher.h"

#include <vector>

namespace {

template <typename Made>
Made *keep(Made *made)
{
    static auto *const all = new std::vector<const Made *>;
    all->push_back(made);
    return made;
}

} // namespace

extern "C" {
vorn_plugin *__real_vorn_plugin_new(const char *version);
vorn_plugin *__wrap_vorn_plugin_new(const char *version)
{
    return keep(__real_vorn_plugin_new(version));
}
vorn_refresher *__real_vorn_refresher_new(const char *class_name);
vorn_refresher *__wrap_vorn_refresher_new(const char *class_name)
{
    return keep(__real_vorn_refresher_new(class_name));
}
}
