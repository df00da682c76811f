/* SPDX-License-Identifier: MIT */
/*
 * Makes one call of the interface when it is informed of its name, and logs what became of it.
 * What the daemon calls by itself while it boots or serves is not among them.
 */
#include "calls.h"

#include "vorn/vorn.h"

#include <string.h>

static const struct call *const lists[] = {store_calls, configuration_calls, system_calls,
                                           validator_calls, description_calls};

enum { list_count = sizeof lists / sizeof *lists };

enum outcome done_if(int condition)
{
    return condition ? DONE : REFUSED;
}

static const struct call *find_call(const char *name)
{
    for (int i = 0; name != NULL && i < list_count; i++) {
        for (const struct call *call = lists[i]; call->name != NULL; call++) {
            if (strcmp(call->name, name) == 0) return call;
        }
    }
    return NULL;
}

static int make_call(void)
{
    static const char *const words[] = {"done", "refused", "broken"};
    const struct call *call = find_call(vorn_inform_get_value("name"));

    if (call != NULL) vorn_debug_printf("calls: %s\n", words[call->make()]);
    return call == NULL;
}

static int list_calls(void)
{
    static const char *const appetites[] = {"frees", "keeps", "takes-none"};

    for (int i = 0; i < list_count; i++) {
        for (const struct call *call = lists[i]; call->name != NULL; call++) {
            vorn_debug_printf("calls: name %s %s\n", call->name, appetites[call->appetite]);
        }
    }
    return 0;
}

void vorn_plugin_init(void)
{
    if (vorn_plugin_new("1.0") == NULL) return;

    prepare_store_calls();
    prepare_system_calls();
    prepare_validator_calls();
    vorn_inform_fn_add("call", make_call);
    vorn_inform_fn_add("calls", list_calls);
}
