/* SPDX-License-Identifier: MIT */
/*
 * Where the configuration is kept and how it gets from one place to another: running, startup,
 * default, rescue. The fallbacks chain: a startup file that can't be read gives way to the default,
 * once its digest has been checked, and that to the rescue file, which the daemon never writes.
 */
#include "vorn/config.h"

#include "change/commit_report_record.h"
#include "config/broken_file.h"
#include "config/class_of_element.h"
#include "config/config_files.h"
#include "config/config_hold.h"
#include "config/config_load.h"
#include "config/config_state.h"
#include "config/config_write.h"
#include "config/default_file.h"
#include "config/listeners.h"
#include "config/plugins_of_last_save.h"
#include "core/base/file.h"
#include "core/base/memory.h"
#include "core/base/paths.h"
#include "core/base/result.h"
#include "core/base/text.h"
#include "core/guard.h"
#include "model/class_record.h"
#include "services/xml/xml.h"
#include "vorn/debug.h"
#include "vorn/notify.h"
#include "vorn/process.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <sys/stat.h>
#include <unistd.h>

namespace vorn {

namespace {

constinit Listeners<vorn_config_load_fn> before_load;

bool exists(const char *path)
{
    struct stat status;
    return stat(path, &status) == 0;
}

char *error_document(const char *message)
{
    return format("<?xml version=\"1.0\"?><error>%s</error>\n", message).release();
}

Identifier find_identifier(const void *element, const char *property)
{
    for (const xmlNode *child = static_cast<const xmlNode *>(element)->children; child;
         child = child->next) {
        if (is_element(child) && xmlStrEqual(child->name, xml(property)))
            return {true, text_in(child)};
    }
    return {false, nullptr};
}

void tell_that_plugins_are_not_remembered()
{
    vorn_debug_eprintf("Can't remember the plugins of this save: neither %s nor %s can be written. "
                       "One that is missing at a later boot will lose what is its own.\n",
                       paths::plugins_of_last_save, paths::plugins_beside_startup);
}

bool write_startup(SaveReason &reason, Text &document)
{
    if (!may_be_saved(reason) || !keep_broken_file_first(reason)) return false;
    const bool remembered = remember_plugins();
    const bool written = write_config(vorn_config_get_running(), paths::startup_config,
                                      FileKind::kept, reason, document);
    if (written && !remembered) tell_that_plugins_are_not_remembered();
    return written;
}

/* Whether there is a new startup file, be it one from which something had to be left out. */
bool save_running(SaveReason &reason)
{
    Text document;
    const bool written = write_startup(reason, document);
    note_save(reason);
    if (written) tell_of_save(document);
    return written;
}

} // namespace

} // namespace vorn

using namespace vorn;

int vorn_config_add_load_fn(vorn_config_load_fn fn, void *data)
{
    if (absent(reinterpret_cast<void *>(fn), "fn")) return failed;

    return before_load.add(fn, data);
}

int vorn_config_init()
{
    std::snprintf(default_path, sizeof default_path, "%s", paths::default_config);
    before_load.tell(Callback::load);
    if (exists(paths::startup_config)) return ok;

    const int code = copy_default_or_report();
    if (code == 0) note_startup_made_from(Source::fallback);
    /* The load will serve it from where it lies. */
    if (code == 0 || could_not_be_copied(code)) return ok;
    if (copy_rescue()) note_startup_made_from(Source::rescue);
    sync();
    return ok;
}

int vorn_config_copy_running_to_startup()
{
    SaveReason reason;
    Stopwatch watch;
    if (is_saving_held(reason)) {
        note_no_save(reason);
        vorn_notify_conf_change(vorn_query_origin);
        return ok;
    }
    save_running(reason);
    announce_change();
    note_save_took(watch.lap());
    return ok;
}

/* The files first: they serve the configuration of before as well. */
int vorn_config_confirm_held()
{
    SaveReason reason;
    if (!reason_to_hold()) return failed;
    if (!write_kept_files(reason)) {
        note_save(reason);
        return failed;
    }
    if (!save_running(reason)) return failed;
    vorn_config_release();
    announce_change();
    return ok;
}

char *vorn_config_write_document(const vorn_instances *instances)
{
    if (absent(instances, "instances")) return nullptr;

    return config_document(instances).release();
}

int vorn_config_copy_running_to_default()
{
    SaveReason reason;
    Text document;
    if (is_saving_held() || !may_be_saved(reason)) return failed;
    /* What an earlier copy left there must not become the default. */
    if (!write_config(vorn_config_get_running(), paths::scratch_default, FileKind::scratch, reason,
                      document)) {
        unlink(paths::scratch_default);
    }
    return write_default_file(default_path);
}

int vorn_config_copy_startup_to_running()
{
    const int result = load_startup();
    give_memory_back();
    return result;
}

int vorn_config_copy_default_to_startup()
{
    if (is_saving_held()) return failed;
    if (copy_default_or_report() == 0) {
        announce_change();
        return ok;
    }
    vorn_config_copy_rescue_to_startup();
    return failed;
}

int vorn_config_copy_rescue_to_startup()
{
    if (is_saving_held()) return ok;
    copy_rescue();
    announce_change();
    return ok;
}

int vorn_config_copy_rescue_to_default()
{
    if (is_saving_held()) return failed;
    if (unlink(default_path) == 0) return ok;
    vorn_debug_perror("unlink");
    return failed;
}

const char *vorn_config_get_class_name(struct _xmlDoc *, struct _xmlNode *element)
{
    if (absent(element, "element")) return nullptr;

    return class_of_element(plain(element->name), element, find_identifier);
}

char *vorn_config_get_startup_as_xml()
{
    struct stat status;
    const File file = read_regular(paths::startup_config);
    if (!file || fstat(fileno(file.get()), &status) != 0) {
        return error_document("Can't read config file.");
    }
    if (status.st_size == 0) return error_document("Config file is zero-length.");

    const auto size = static_cast<std::size_t>(status.st_size);
    Text text(static_cast<char *>(noted(std::malloc(size + 1))));
    if (!text) return error_document("vorn_config_get_startup_as_xml malloc failed");
    text.data()[std::fread(text.data(), 1, size, file.get())] = '\0';
    if (std::ferror(file.get())) return error_document("Can't read config file.");
    return text.release();
}
