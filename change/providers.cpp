/* SPDX-License-Identifier: MIT */
/*
 * All providers of the process: collected while plugins are loaded, then put into one order for
 * good, in which every check, every commit and every refresh calls them. Nobody can be left out.
 */
#include "change/commit_info_record.h"
#include "change/commit_report_record.h"
#include "change/provider_record.h"
#include "change/providers_check.h"
#include "change/providers_rehearse.h"
#include "change/providers_state.h"
#include "change/refresh_info_record.h"
#include "change/rehearsal.h"
#include "core/base/result.h"
#include "core/guard.h"
#include "core/put_off.h"
#include "model/instance_record.h"
#include "model/lazy/working_copy.h"
#include "vorn/refresher.h"

namespace vorn {

constinit ProviderRegistry *provider_registry = nullptr;

namespace {

constexpr unsigned int table_buckets = 32;
constexpr int name_taken = -1;

/* Too late is as bad as too early: the order is never computed again. */
bool closed()
{
    if (provider_registry && !provider_registry->ordered) return false;
    vorn_debug_1printf("Providers can only be added while plugins are loaded.\n");
    return true;
}

/* The order names strangers too, which were only mentioned in a constraint. */
void link_in_order(ProviderRegistry &registry)
{
    vorn_provider **next = &registry.first;
    for (const char *name : registry.ordered) {
        vorn_provider *provider = registry.registered.get(name);
        if (!provider) continue;
        *next = provider;
        next = &provider->next;
    }
    *next = nullptr;
}

template <typename Visitor>
void for_each_registered(Visitor visit_provider)
{
    if (!provider_registry) return;
    for (vorn_provider *each = provider_registry->first; each; each = each->next)
        visit_provider(*each);
}

/* Nobody knows of it what it will do the next time it is called. */
bool may_do_anything(const vorn_provider &provider)
{
    return provider.refresh_fn && provider.refresh_fn != vorn_refresher_fn && !provider.asks_first;
}

void log_commit(const vorn_instances *after, const vorn_changes *changes)
{
    vorn_debug_printf("Committing with these after instances:\n");
    vorn_instances_print(after, vorn_debug_get_stream());
    vorn_debug_printf("Committing with these changes:\n");
    vorn_changes_print(changes, vorn_debug_get_stream());
}

} // namespace

/* Who found no memory to look has seen nothing wrong, or something missing that is there. */
void check_by_providers(vorn_check_info &info)
{
    const MemoryWatch memory;
    const OnlyLookedAt configuration(info.instances);
    for_each_registered([&](vorn_provider &provider) {
        if (!provider.check_fn) return;
        vorn_debug_lprintf(3, "Checking by provider %s...\n", provider.name.get());
        const InPlugin watched(provider.owner, Callback::check);
        provider.check_fn(&info, provider.check_data);
    });
    if (memory.ran_out()) info.out_of_memory = true;
}

/* As at a commit, all providers share one set of actions. */
bool rehearse_by_providers(vorn_instances *after, vorn_changes *changes,
                           const RehearsalListener &listener)
{
    const MemoryWatch memory;
    const OnlyLookedAt configuration(after);
    vorn_actions *actions = vorn_actions_new();
    const Owned<vorn_commit_info> info(
        vorn_commit_info_new(nullptr, after, changes, actions, nullptr));
    if (actions && info) {
        info->before_of_changes = true;
        for_each_registered(
            [&](vorn_provider &provider) { rehearse_provider(provider, *info, listener); });
    }
    if (actions) vorn_actions_delete(actions);
    return !memory.ran_out();
}

/* A change that went unrecorded would be served, and applied by nobody. */
void amend_by_providers(vorn_amend_info &info)
{
    const MemoryWatch memory;
    for_each_registered([&](vorn_provider &provider) {
        if (!provider.amend_fn) return;
        vorn_debug_lprintf(3, "Amending by provider %s...\n", provider.name.get());
        const InPlugin watched(provider.owner, Callback::amend);
        provider.amend_fn(&info, provider.amend_data);
    });
    if (memory.ran_out()) info.out_of_memory = true;
}

} // namespace vorn

using namespace vorn;

int vorn_providers_init(void)
{
    if (provider_registry) return ok;

    Owned<ProviderRegistry> registry = make<ProviderRegistry>();
    if (!registry || !registry->registered.create(table_buckets) ||
        !registry->nodes.create(table_buckets))
        return failed;

    provider_registry = registry.release();
    return ok;
}

int vorn_providers_add(vorn_provider *provider)
{
    if (absent(provider, "provider")) return failed;
    if (!vorn_provider_is_valid(provider)) {
        vorn_debug_1printf("Provider is invalid.\n");
        return failed;
    }
    if (closed()) return failed;

    const char *name = provider->name.get();
    const int inserted = provider_registry->registered.insert(name, provider);
    if (inserted == name_taken)
        vorn_debug_1printf("Provider with name \"%s\" already in providers.\n", name);
    if (inserted != ok) return failed;
    if (add_node(provider_registry->nodes, name)) return ok;

    provider_registry->registered.remove(name);
    return failed;
}

vorn_provider *vorn_providers_get(const char *name)
{
    if (absent(name, "name")) return nullptr;

    return provider_registry ? provider_registry->registered.get(name) : nullptr;
}

int vorn_providers_order(const char *first, const char *later)
{
    if (absent(first, "name") || absent(later, "name") || closed()) return failed;

    return add_constraint(provider_registry->nodes, first, later) ? ok : failed;
}

/* Also after a loop an order exists, so that a second call has nothing to do. */
int vorn_providers_done_adding(void)
{
    if (!provider_registry) return failed;
    if (provider_registry->ordered) return ok;
    const bool is_ordered = order_nodes(provider_registry->nodes, provider_registry->ordered);
    link_in_order(*provider_registry);
    if (!is_ordered) return failed;

    discard_nodes(provider_registry->nodes);
    return ok;
}

void vorn_providers_print(std::FILE *stream)
{
    if (absent(stream, "stream")) return;

    std::fprintf(stream, "Providers, in order (*** = not present):\n");
    if (!provider_registry) return;
    for (const char *name : provider_registry->ordered) {
        const bool present = provider_registry->registered.get(name);
        std::fprintf(stream, "%s%s\n", present ? "     " : " *** ", name);
    }
}

/* A provider must hear of a commit even without the memory for a set that nobody asked for. */
void vorn_providers_commit(vorn_instances *after, vorn_changes *changes, vorn_actions *actions)
{
    if (vorn_debug_get() > 3) log_commit(after, changes);
    if (!actions) actions = vorn_actions_new();

    const DeletionsWait until_all_have_seen_them;
    CommitWatch watch(changes);
    for_each_registered([=, &watch](vorn_provider &provider) {
        vorn_debug_lprintf(3, "Committing provider %s...\n", provider.name.get());
        vorn_provider_commit(&provider, after, changes, actions);
        watch.provider_is_done(provider);
        do_what_was_put_off();
    });
    if (actions) vorn_actions_delete(actions);
}

void vorn_providers_refresh(vorn_refresh_info *info)
{
    if (vorn_debug_get() > 2) {
        vorn_debug_printf("Refreshing providers with:\n");
        vorn_refresh_info_print(info, vorn_debug_get_stream());
    }
    for_each_registered([=](vorn_provider &provider) {
        vorn_debug_lprintf(3, "Refreshing provider %s...\n", provider.name.get());
        if (info && may_do_anything(provider)) info->is_of_the_moment = true;
        vorn_provider_refresh(&provider, info);
    });
}
