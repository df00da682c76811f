/* SPDX-License-Identifier: MIT */
/*
 * The device's network: interfaces, addresses, routes and the resolver. Each commit runs only what
 * its change asks for, and what failed before once more. All of an interface is set up again when
 * the inform interface tells that the hardware was away.
 */
#include "concerns.h"

static void apply(const vorn_instances *configuration, const vorn_changes *changes)
{
    routes_remove(changes);
    addresses_remove(configuration, changes);
    interfaces_remove(changes);
    interfaces_commit(configuration, changes);
    addresses_commit(configuration, changes);
    routes_commit(configuration, changes);
    resolver_commit(configuration, changes);
}

static void commit(vorn_commit_info *info)
{
    apply(vorn_commit_info_get_after(info), vorn_commit_info_get_changes(info));
}

enum { concerns = 4 };

static vorn_refresher *refreshers[concerns];

static void refresh(vorn_refresh_info *info, void *data)
{
    for (int i = 0; i < concerns; i++) {
        vorn_refresh_info_set_data(info, refreshers[i]);
        vorn_refresher_fn(info, data);
    }
}

/* object=interface&name=NAME: hardware that was away is back, and has forgotten everything. */
static int interface_is_back(void)
{
    const char *name = vorn_inform_get_value("name");
    const vorn_instances *running = vorn_config_get_running();
    if (name == NULL || vorn_instances_get(running, "interface", name) == NULL) return 1;

    interfaces_try_again(running, name);
    outcomes_try_again(&address_outcomes, running, "interface", name);
    outcomes_try_again(&route_outcomes, running, NULL, NULL);
    apply(running, NULL);
    return 0;
}

void vorn_plugin_init(void)
{
    if (vorn_plugin_new("1.0") == NULL) return;

    vorn_provider *provider = vorn_provider_new("network");
    refreshers[0] = interfaces_declare();
    refreshers[1] = addresses_declare();
    refreshers[2] = routes_declare();
    refreshers[3] = resolver_declare();
    if (provider == NULL) return;
    vorn_provider_set_commit_fn(provider, commit, NULL);
    vorn_provider_set_refresh_fn(provider, refresh, NULL);
    vorn_providers_add(provider);
    vorn_providers_order("system", "network");
    vorn_providers_order("network", "save");
    vorn_inform_fn_add("interface", interface_is_back);
}
