/* SPDX-License-Identifier: MIT */
/*
 * A reboot that a local program asks for, and one into the configuration of the factory. The daemon
 * may serve one more request before it ends, and a save of that must not bring the old
 * configuration back.
 */
#include "reboot.h"

#include "vorn/vorn.h"

#include <errno.h>
#include <string.h>
#include <unistd.h>

#include "keys_file.h"

static const char default_file[] = "/etc/defaultconfig.xml";
static const char rescue_file[] = "/etc/rescueconfig.xml";

static int is_resetting;

/* object=reboot */
static int reboot(void)
{
    vorn_util_reboot();
    return 0;
}

/* A default that can't be used gives way to the rescue, which then is what the device boots from.
 */
static int take_default(void)
{
    return vorn_config_copy_default_to_startup() == 0 || access(rescue_file, R_OK) == 0;
}

/* Also what a write that a power cut ended may have left. */
static void forget_keys(void)
{
    static const char *const files[] = {KEYS_FILE, KEYS_FILE ".new"};
    for (size_t i = 0; i < sizeof files / sizeof *files; i++) {
        if (unlink(files[i]) == 0 || errno == ENOENT) continue;
        vorn_debug_eprintf("system: can't remove %s: %s.\n", files[i], strerror(errno));
    }
}

/* Only once the old configuration, which refers to its keys, is gone. */
static int reset(void)
{
    if (!take_default()) return 0;
    forget_keys();
    return 1;
}

/* object=factory-reset: refused where there is nothing to go back to. */
static int factory_reset(void)
{
    if (access(default_file, R_OK) != 0 && access(rescue_file, R_OK) != 0) {
        vorn_debug_eprintf("system: neither %s nor %s can be read.\n", default_file, rescue_file);
        return 1;
    }
    if (vorn_process_no_actions) return reboot();
    if (!reset()) return 1;
    is_resetting = 1;
    return reboot();
}

static void commit(vorn_commit_info *info)
{
    (void)info;
    if (is_resetting) reset();
}

int reboot_declare(void)
{
    vorn_provider *after_save = vorn_provider_new("factory-reset");
    if (after_save == NULL) return 1;
    vorn_provider_set_commit_fn(after_save, commit, NULL);
    return vorn_providers_add(after_save) || vorn_providers_order("save", "factory-reset") ||
           vorn_inform_fn_add("reboot", reboot) ||
           vorn_inform_fn_add("factory-reset", factory_reset);
}
