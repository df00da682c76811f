/* SPDX-License-Identifier: MIT */
/*
 * Which document a load takes, and what is served when there is none. The fallbacks chain: the
 * startup file, then the default, then the rescue. Each is copied to the startup file's place to be
 * read there; on a disk that takes no copy it is read where it lies, so that a device whose flash
 * has become read-only does not lose its configuration with it.
 */
#include "config/config_load.h"

#include "change/changes_record.h"
#include "change/commit_report_record.h"
#include "change/providers_check.h"
#include "config/broken_file.h"
#include "config/config_hold.h"
#include "config/config_read.h"
#include "config/config_state.h"
#include "config/default_file.h"
#include "config/file_replace.h"
#include "config/kept_pieces.h"
#include "config/plugins_of_last_save.h"
#include "core/announce.h"
#include "core/base/memory.h"
#include "core/base/paths.h"
#include "core/base/result.h"
#include "model/instances_record.h"
#include "model/instances_walk.h"
#include "services/xml/xml.h"
#include "vorn/changes.h"
#include "vorn/config.h"
#include "vorn/debug.h"
#include "vorn/notify.h"
#include "vorn/process.h"
#include "vorn/provider.h"

#include <climits>
#include <utility>

#include <sys/stat.h>
#include <unistd.h>

#include "access/access.h"

namespace vorn {

constinit char default_path[default_path_room] = "";
constinit Source running_from = Source::nothing;

namespace {

/* What the startup file was made of before the boot load, when it was not there. */
constinit Source made_from = Source::startup;

/* Whether memory did not suffice for all of the last load. */
constinit bool lacks_instances = false;

/* The plugin without which the last load could not read all there was; "" for none. */
constinit char lacking_plugin[NAME_MAX + 2] = "";

/* A document to load, and where it came from. */
struct Loadable {
    ConfigDocument document;
    Source source = Source::nothing;
};

bool exists(const char *path)
{
    struct stat status;
    return stat(path, &status) == 0;
}

Loadable read_in_place(const char *path, ConfigDocument document, Source source)
{
    if (!document) return {};
    vorn_debug_eprintf("It can't be copied: %s is read where it lies.\n", path);
    return {std::move(document), source};
}

/* The default goes before the rescue, even if only the rescue finds room for a copy. */
Loadable take_default(int code)
{
    if (code == 0) {
        announce_change();
        return {parse_config(paths::startup_config), Source::fallback};
    }
    if (!could_not_be_copied(code)) return {};
    return read_in_place(default_path, parse_default(default_path), Source::fallback);
}

Loadable take_rescue()
{
    const char *path = paths::rescue_config;
    const bool copied = copy_rescue();
    announce_change();
    if (copied) return {parse_config(paths::startup_config), Source::rescue};
    if (!exists(path)) return {};
    return read_in_place(path, parse_config(path), Source::rescue);
}

/* For a default that was copied and is no configuration: the copy stays, to be looked at. */
Loadable read_rescue_instead()
{
    const char *path = paths::rescue_config;
    if (!exists(path)) return {};
    Loadable taken{parse_config(path), Source::rescue};
    if (taken.document) vorn_debug_eprintf("%s is read where it lies.\n", path);
    return taken;
}

Loadable fallback()
{
    BrokenFile broken;
    const int code = copy_default_or_report();
    const bool was_copied = code == 0;
    Loadable taken = take_default(code);
    if (!taken.document && !was_copied && !libxml2_was_short_of_memory()) taken = take_rescue();
    if (!taken.document) vorn_debug_eprintf("Unable to read the default either.");
    if (!taken.document && was_copied && !libxml2_was_short_of_memory()) {
        taken = read_rescue_instead();
    }
    if (!taken.document && !libxml2_was_short_of_memory()) broken.keep();
    return taken;
}

/* A lack of memory says nothing about a file, which then must not be replaced. */
Loadable startup_or_fallback()
{
    const Source made = std::exchange(made_from, Source::startup);
    ConfigDocument document = parse_config(paths::startup_config);
    if (document) startup_file_is_good();
    if (document || libxml2_was_short_of_memory()) return {std::move(document), made};

    vorn_debug_eprintf("Unable to parse startup config - resetting to default.\n");
    return fallback();
}

/* A device with a configuration that is wrong somewhere has to come up all the same. */
void report_what_checks_find(vorn_changes *changes)
{
    vorn_check_info info(running_config, changes);
    check_by_providers(info);
    log_refusals(info);
}

/* From the document, or from none, with every singleton that it leaves out. */
bool fill(ConfigDocument &document, vorn_changes *changes, unsigned int &unknown, KeptPieces &kept)
{
    bool whole = true;
    if (document) whole &= read_instances(document, running_config, changes, unknown, &kept);
    whole &= add_missing_singletons(running_config, changes);
    return whole;
}

/*
 * What nobody could read is kept, and no loss. What can't be kept is no loss either when no plugin
 * has gone: it has been so at the last save.
 */
void note_missing_plugin(unsigned int unknown, unsigned int lost)
{
    if (lost > 0) {
        vorn_debug_eprintf("More than can be kept is unknown: %u pieces are not.\n", lost);
    }
    if (unknown == 0 || !find_missing_plugin(lacking_plugin, sizeof lacking_plugin)) {
        lacking_plugin[0] = '\0';
        return;
    }
    if (lost > 0) {
        vorn_debug_eprintf(
            "The plugin \"%s\" is missing: what is its own is not loaded, and nothing is "
            "saved until it is back.\n",
            lacking_plugin);
        return;
    }
    vorn_debug_eprintf("The plugin \"%s\" is missing: what is its own is not loaded, but kept.\n",
                       lacking_plugin);
    lacking_plugin[0] = '\0';
}

/* What has been read of another configuration goes; nobody was told of it. */
int serve_again(vorn_instances *before, Owned<vorn_changes> changes)
{
    vorn_debug_eprintf("No memory for the configuration.\n");
    changes.reset();
    about_to_change();
    vorn_instances_delete_all(std::exchange(running_config, before));
    return failed;
}

/* Rules that could not be read would be missed by those only whom they are to keep out. */
void watch_for_rules()
{
    look_for_missing_rules(running_config);
    put_rules_in_force(running_config);
}

int serve_empty_store()
{
    vorn_debug_eprintf("No memory for the configuration.\n");
    if (running_config) return failed;
    running_config = vorn_instances_new();
    lacks_instances = true;
    watch_for_rules();
    return failed;
}

} // namespace

void note_startup_made_from(Source source)
{
    made_from = source;
}

void look_for_missing_rules(const vorn_instances *instances)
{
    const bool may_be_lost = lacks_instances && vorn_classes_get(access_rule_class);
    note_missing_rules(may_be_lost || (kept_pieces && kept_pieces->hold_rules()), instances);
}

/*
 * Short of memory, a boot serves what it could read; later there is something better to serve, and
 * there always is when there is no document. A load from within a commit or a refresh would free
 * what providers are being handed.
 */
int load_startup()
{
    if (running_config && running_config->home.witnesses) {
        vorn_debug_eprintf("Can't load a configuration while another one is being changed.\n");
        return failed;
    }
    if (is_saving_held()) return failed;
    Loadable taken = startup_or_fallback();
    const bool found = static_cast<bool>(taken.document);
    const bool short_of_memory = !found && libxml2_was_short_of_memory();
    if (!found && running_config) return failed;

    StoreShell store(vorn_instances_new());
    Owned<vorn_changes> changes(store ? vorn_changes_new(store.get()) : nullptr);
    Owned<KeptPieces> kept = make<KeptPieces>();
    if (!changes || !kept) return serve_empty_store();
    about_to_change();
    StoreShell before(std::exchange(running_config, store.release()));
    unsigned int unknown = 0;
    const bool whole = fill(taken.document, changes.get(), unknown, *kept) && !short_of_memory;
    if (!whole && before) return serve_again(before.release(), std::move(changes));

    const bool is_first = !before;
    /* A plugin that found no memory for a class makes what the file has of it unknown. */
    const bool lacks_classes = is_first && unknown > 0 && refused_allocations > 0;
    lacks_instances = !whole || lacks_classes;
    running_from = found ? taken.source : Source::nothing;
    const unsigned int lost = kept->lost();
    delete std::exchange(kept_pieces, kept.release());
    note_missing_plugin(unknown, lost);
    if (!lacks_instances && !*lacking_plugin) remember_plugins();
    before.reset();
    watch_for_rules();
    report_what_checks_find(changes.get());
    if (is_first) number_next_commit_zero();
    vorn_providers_commit(running_config, changes.get(), nullptr);
    return found ? ok : failed;
}

/* What memory did not suffice for would be lost for good with the file that still has it. */
bool may_be_saved(SaveReason &reason)
{
    if (lacks_instances) {
        reason.set("the configuration was not loaded whole because memory ran out");
        vorn_debug_eprintf(
            "Not saving: the configuration was not loaded whole for want of memory.\n");
        return false;
    }
    if (*lacking_plugin) {
        reason.set("the plugin \"%s\" is missing, and what is its own would be lost",
                   lacking_plugin);
        vorn_debug_eprintf("Not saving: %s.\n", reason.get());
        return false;
    }
    return true;
}

/* A missing default is no error: many devices are delivered with a rescue file alone. */
int copy_default_or_report()
{
    constexpr int no_default = 1;
    const int code = copy_checked_default(default_path, paths::startup_config);
    if (code != 0 && code != no_default) {
        vorn_debug_eprintf("Error %d copying default config.\n", code);
    }
    if (code == 0) startup_file_is_good();
    return code;
}

bool copy_rescue()
{
    if (!copy_file(paths::rescue_config, paths::startup_config)) return false;
    startup_file_is_good();
    return true;
}

void announce_change()
{
    sync();
    vorn_notify_conf_change(vorn_query_origin);
}

} // namespace vorn

using namespace vorn;

const char *vorn_config_get_source()
{
    constexpr const char *words[] = {"startup", "default", "rescue", "nothing"};
    return words[static_cast<int>(running_from)];
}

void vorn_config_forget_kept()
{
    delete std::exchange(kept_pieces, nullptr);
    look_for_missing_rules(running_config);
}

unsigned int vorn_config_forget_kept_of(const char *class_name, const char *name)
{
    const unsigned int count = kept_pieces ? kept_pieces->forget(class_name, name) : 0;
    if (count > 0) look_for_missing_rules(running_config);
    return count;
}
