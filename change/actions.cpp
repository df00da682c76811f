/* SPDX-License-Identifier: MIT */
/*
 * The requests that travel with one commit, each kept as the text made of its names. Asking is
 * built so that what cannot be answered is answered with yes.
 */
#include "vorn/actions.h"

#include "core/base/assert.h"
#include "core/base/memory.h"
#include "core/base/result.h"
#include "core/base/text.h"
#include "core/hash_table/table.h"
#include "vorn/debug.h"

#include <cstdio>
#include <cstring>

struct vorn_actions : vorn::Record {
    vorn::NameSet requests;
};

namespace vorn {

namespace {

constexpr unsigned int initial_buckets = 8;

bool absent_actions(const vorn_actions *actions)
{
    if (actions) return false;
    vorn_debug_1printf("No actions.\n");
    return true;
}

bool makes_a_request(const char *provider, const char *action, const char *class_name,
                     const char *instance_name)
{
    if (!provider) {
        vorn_debug_1printf("No provider.\n");
        return false;
    }
    if (!action) {
        vorn_debug_1printf("No action.\n");
        return false;
    }
    if (instance_name && !class_name) {
        vorn_debug_1printf("Instance, but no class.\n");
        return false;
    }
    return true;
}

/* The last term of the length counts the terminating NUL. */
Text vorn_actions_get_string(const char *provider, const char *action, const char *class_name,
                             const char *instance_name)
{
    if (!makes_a_request(provider, action, class_name, instance_name)) return Text();

    std::size_t action_length = std::strlen(provider) + std::strlen(action) + 1;
    if (class_name) action_length += std::strlen(class_name) + 1;
    action_length += instance_name ? std::strlen(instance_name) + 2 : 1;

    Text action_string(static_cast<char *>(noted(std::malloc(action_length))));
    if (!action_string) return action_string;

    std::snprintf(action_string.data(), action_length, "%s-%s%s%s%s%s", provider, action,
                  class_name ? "-" : "", class_name ? class_name : "", instance_name ? "-" : "",
                  instance_name ? instance_name : "");
    assert_that(std::strlen(action_string.get()) == action_length - 1,
                "strlen(action_string) == action_length - 1", "actions", __LINE__, __func__);
    return action_string;
}

} // namespace

} // namespace vorn

using namespace vorn;

vorn_actions *vorn_actions_new(void)
{
    Owned<vorn_actions> actions = make<vorn_actions>();
    if (!actions || !actions->requests.create(initial_buckets)) return nullptr;

    return actions.release();
}

int vorn_actions_add(vorn_actions *actions, const char *provider, const char *action,
                     const char *class_name, const char *instance_name)
{
    if (absent_actions(actions)) return failed;

    const Text request = vorn_actions_get_string(provider, action, class_name, instance_name);
    if (!request || !actions->requests.add(request.get())) return failed;

    return ok;
}

/* Every failure answers 1, the same as a request that is in the set. */
int vorn_actions_exists(const vorn_actions *actions, const char *provider, const char *action,
                        const char *class_name, const char *instance_name)
{
    if (absent_actions(actions)) return 1;

    const Text request = vorn_actions_get_string(provider, action, class_name, instance_name);
    if (!request) return 1;

    return actions->requests.contains(request.get()) ? 1 : 0;
}

void vorn_actions_delete(vorn_actions *actions)
{
    if (absent_actions(actions)) return;

    delete actions;
}
