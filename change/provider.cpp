/* SPDX-License-Identifier: MIT */
/* One provider: what it is made of, and how it is told of a commit or asked to refresh. */
#include "change/commit_info_record.h"
#include "change/provider_record.h"
#include "core/announce.h"
#include "core/base/result.h"
#include "core/base/tracepoint.h"
#include "core/guard.h"

using namespace vorn;

namespace {

template <typename Fn>
int set_callback(vorn_provider *provider, Fn vorn_provider::*fn_place, Fn fn,
                 void *vorn_provider::*data_place, void *data)
{
    if (absent(provider, "provider")) return failed;

    provider->*fn_place = fn;
    provider->*data_place = data;
    return ok;
}

} // namespace

vorn_provider *vorn_provider_new(const char *name)
{
    if (absent(name, "name")) return nullptr;

    Owned<vorn_provider> provider = make<vorn_provider>();
    if (!provider) return nullptr;

    provider->name = copy_of(name);
    provider->owner = current_plugin();
    return provider->name ? provider.release() : nullptr;
}

int vorn_provider_set_commit_fn(vorn_provider *provider, vorn_commit_fn commit, void *data)
{
    return set_callback(provider, &vorn_provider::commit_fn, commit, &vorn_provider::commit_data,
                        data);
}

/* What was said of the function before is not said of this one. */
int vorn_provider_set_refresh_fn(vorn_provider *provider, vorn_refresh_fn refresh, void *data)
{
    if (provider) {
        about_to_change();
        provider->asks_first = false;
    }
    return set_callback(provider, &vorn_provider::refresh_fn, refresh, &vorn_provider::refresh_data,
                        data);
}

int vorn_provider_set_asks_first(vorn_provider *provider)
{
    if (absent(provider, "provider")) return failed;

    provider->asks_first = true;
    return ok;
}

int vorn_provider_set_check_fn(vorn_provider *provider, vorn_check_fn check, void *data)
{
    return set_callback(provider, &vorn_provider::check_fn, check, &vorn_provider::check_data,
                        data);
}

int vorn_provider_set_explain_fn(vorn_provider *provider, vorn_explain_fn explain, void *data)
{
    return set_callback(provider, &vorn_provider::explain_fn, explain, &vorn_provider::explain_data,
                        data);
}

int vorn_provider_set_amend_fn(vorn_provider *provider, vorn_amend_fn amend, void *data)
{
    return set_callback(provider, &vorn_provider::amend_fn, amend, &vorn_provider::amend_data,
                        data);
}

int vorn_provider_is_valid(const vorn_provider *provider)
{
    if (absent(provider, "provider")) return 0;
    if (provider->commit_fn || provider->refresh_fn || provider->check_fn) return 1;
    if (provider->amend_fn || provider->explain_fn) return 1;

    vorn_debug_1printf("Provider \"%s\" has no commit or refresh function.\n",
                       provider->name.get());
    return 0;
}

/* Nobody can answer for a commit that did not reach a provider, so its loss must be seen. */
void vorn_provider_commit(vorn_provider *provider, vorn_instances *after, vorn_changes *changes,
                          vorn_actions *actions)
{
    if (absent(provider, "provider") || !provider->commit_fn) return;

    const Owned<vorn_commit_info> info(
        vorn_commit_info_new(nullptr, after, changes, actions, provider->commit_data));
    if (!info) {
        vorn_debug_eprintf("Out of memory, provider \"%s\" was not committed.\n",
                           provider->name.get());
        return;
    }
    info->before_of_changes = true;
    VORN_TRACEPOINT(provider__begin, provider->name.get());
    {
        const InPlugin watched(provider->owner, Callback::commit);
        provider->commit_fn(info.get());
    }
    VORN_TRACEPOINT(provider__end, provider->name.get());
}

void vorn_provider_refresh(vorn_provider *provider, vorn_refresh_info *info)
{
    if (absent(provider, "provider") || !provider->refresh_fn) return;

    vorn_refresh_info_set_data(info, provider->refresh_data);
    const InPlugin watched(provider->owner, Callback::refresh);
    provider->refresh_fn(info, provider->refresh_data);
}
