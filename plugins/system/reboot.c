/* SPDX-License-Identifier: MIT */
/*
 * A reboot that a local program asks for, and one into the configuration of the factory. The daemon
 * may serve one more request before it ends, and a save of that must not bring the old
 * configuration back.
 */
#include "reboot.h"

#include "vorn/vorn.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include "declare.h"
#include "describe.h"
#include "history_folder.h"
#include "host_key_file.h"
#include "keys_file.h"
#include "vorn-plugin/whole_file.h"

static const char startup_file[] = "/etc/config/config.xml";
static const char default_file[] = "/etc/defaultconfig.xml";
static const char rescue_file[] = "/etc/rescueconfig.xml";

static int is_resetting;
static char failure[128]; /* of the last try; empty for none */

int reboot_restart(void)
{
    vorn_commit_report_set_result("restarts the device");
    vorn_util_reboot();
    return 0;
}

static int is_same(FILE *left, FILE *right)
{
    int character;
    if (left == NULL || right == NULL) return 0;
    do {
        character = getc(left);
        if (character != getc(right)) return 0;
    } while (character != EOF);
    return !ferror(left) && !ferror(right);
}

static int startup_is_rescue(void)
{
    FILE *startup = whole_file_read(startup_file);
    FILE *rescue = whole_file_read(rescue_file);
    const int same = is_same(startup, rescue);
    if (startup != NULL) fclose(startup);
    if (rescue != NULL) fclose(rescue);
    return same;
}

/*
 * A default that can't be used gives way to the rescue. On a disk that takes neither the old
 * configuration goes all the same: what can be used is what the device then boots from.
 */
static int take_default(void)
{
    failure[0] = '\0';
    if (vorn_config_is_held()) {
        snprintf(failure, sizeof failure, "failed: a change is on trial");
    } else if (vorn_config_copy_default_to_startup() == 0 || startup_is_rescue()) {
        return 1;
    } else if (access(rescue_file, R_OK) != 0) {
        snprintf(failure, sizeof failure, "failed: %s can't be used or copied, and there is no %s",
                 default_file, rescue_file);
    } else if (unlink(startup_file) != 0 && errno != ENOENT) {
        snprintf(failure, sizeof failure, "failed: can't replace %s: %s", startup_file,
                 strerror(errno));
    }
    if (failure[0] != '\0') vorn_debug_eprintf("system: factory reset %s.\n", failure);
    return failure[0] == '\0';
}

/* Also what a write that a power cut ended may have left. */
static void forget_keys(void)
{
    static const char *const files[] = {KEYS_FILE, KEYS_FILE ".new", UNPROVEN_FILE};
    for (size_t i = 0; i < sizeof files / sizeof *files; i++) {
        if (unlink(files[i]) == 0 || errno == ENOENT) continue;
        vorn_debug_eprintf("system: can't remove %s: %s.\n", files[i], strerror(errno));
    }
}

/* Whatever is in it, also under the name that a file had while it was written. */
static void empty_folder(const char *path)
{
    DIR *folder = opendir(path);
    if (folder == NULL) return;
    for (struct dirent *entry; (entry = readdir(folder)) != NULL;) {
        if (entry->d_name[0] == '.' || unlinkat(dirfd(folder), entry->d_name, 0) == 0) continue;
        vorn_debug_eprintf("system: can't remove %s/%s: %s.\n", path, entry->d_name,
                           strerror(errno));
    }
    closedir(folder);
}

/* Only once the old configuration, which refers to its keys, is gone. */
static int reset(void)
{
    if (!take_default()) return 0;
    forget_keys();
    empty_folder(HISTORY_FOLDER); /* each configuration has the keys of its time */
    empty_folder(HOST_KEY_FOLDER);
    return 1;
}

static int has_what_to_take(void)
{
    return access(default_file, R_OK) == 0 || access(rescue_file, R_OK) == 0;
}

static const char *possibility(vorn_instance *instance, const char *property,
                               vorn_refresh_info *info)
{
    static char text[128];
    (void)instance;
    (void)property;
    (void)info;
    if (has_what_to_take()) return failure[0] != '\0' ? failure : "possible";
    snprintf(text, sizeof text, "impossible: neither %s nor %s can be read", default_file,
             rescue_file);
    return text;
}

int reboot_to_factory(void)
{
    if (!has_what_to_take()) {
        vorn_debug_eprintf("system: neither %s nor %s can be read.\n", default_file, rescue_file);
        return 1;
    }
    vorn_commit_report_set_result("goes back to the first configuration");
    if (vorn_process_no_actions) return reboot_restart();
    if (!reset()) return 1;
    is_resetting = 1;
    return reboot_restart();
}

static void commit(vorn_commit_info *info)
{
    (void)info;
    if (is_resetting) reset();
}

static void explain(vorn_commit_info *info, vorn_explanation *explanation)
{
    (void)info;
    if (!is_resetting) return;
    vorn_explanation_add(explanation, VORN_EXPLAIN_RESTARTS_DEVICE,
                         "the device is about to go back to its first configuration, with "
                         "nothing left of this change");
}

int reboot_declare(vorn_class *klass, vorn_refresher *refresher)
{
    static const char property[] = "factory-reset";
    return declare_state(klass, property) ||
           describe(klass, property, "Factory reset",
                    "Whether the device can go back to its first configuration, or why not.",
                    NULL) ||
           vorn_refresher_set_property_fn(refresher, property, possibility);
}

int reboot_serve(void)
{
    vorn_provider *after_save = vorn_provider_new("factory-reset");
    if (after_save == NULL) return 1;
    vorn_provider_set_commit_fn(after_save, commit, NULL);
    vorn_provider_set_explain_fn(after_save, explain, NULL);
    return vorn_providers_add(after_save) || vorn_providers_order("save", "factory-reset") ||
           vorn_inform_fn_add("reboot", reboot_restart) ||
           vorn_inform_fn_add("factory-reset", reboot_to_factory);
}
