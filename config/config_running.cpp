/* SPDX-License-Identifier: MIT */
/* The one running configuration: what requests read and what a transaction replaces whole. */
#include "config/config_state.h"
#include "core/announce.h"
#include "vorn/config.h"

#include <utility>

namespace vorn {

constinit vorn_instances *running_config = nullptr;

} // namespace vorn

using namespace vorn;

vorn_instances *vorn_config_get_running()
{
    return running_config;
}

/* The old store goes, its instances stay: plugins may hold them. */
vorn_instances *vorn_config_replace_running(vorn_instances *instances)
{
    if (!instances || instances == running_config) return running_config;

    about_to_change();
    vorn_instances_delete(std::exchange(running_config, instances));
    return instances;
}
