/* SPDX-License-Identifier: MIT */
/*
 * Where the configuration is kept and how it gets from one place to another: running, startup,
 * default, rescue. The fallbacks chain: a startup file that can't be read gives way to the default,
 * once its digest has been checked, and that to the rescue file, which the daemon never writes.
 */
#include "vorn/config.h"

#include "change/providers_check.h"
#include "config/config_read.h"
#include "config/config_state.h"
#include "config/config_write.h"
#include "config/default_file.h"
#include "config/file_replace.h"
#include "core/base/file.h"
#include "core/base/guard.h"
#include "core/base/memory.h"
#include "core/base/paths.h"
#include "core/base/result.h"
#include "core/base/text.h"
#include "model/class_record.h"
#include "model/instances_walk.h"
#include "services/xml.h"
#include "vorn/changes.h"
#include "vorn/debug.h"
#include "vorn/notify.h"
#include "vorn/process.h"
#include "vorn/provider.h"
#include "vorn/xml.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

#include <sys/stat.h>
#include <unistd.h>

namespace vorn {

constinit char default_path[default_path_room] = "";

namespace {

constexpr int in_line = 1;

/* Whether memory did not suffice for all of the last load. */
constinit bool lacks_instances = false;

struct DeleteChanges {
    void operator()(vorn_changes *changes) const noexcept { vorn_changes_delete(changes); }
};
using OwnedChanges = std::unique_ptr<vorn_changes, DeleteChanges>;

bool exists(const char *path)
{
    struct stat status;
    return stat(path, &status) == 0;
}

/* A missing default is no error: many devices are delivered with a rescue file alone. */
void report_default(int code)
{
    constexpr int no_default = 1;
    if (code != no_default) vorn_debug_eprintf("Error %d copying default config.\n", code);
}

void announce_change()
{
    sync();
    vorn_notify_conf_change(vorn_query_origin);
}

/* Want of memory says nothing about a file, which then must not be replaced. */
XmlDocument startup_or_fallback()
{
    XmlDocument document = parse_config(paths::startup_config);
    if (document || libxml2_was_short_of_memory()) return document;

    vorn_debug_eprintf("Unable to parse startup config - resetting to default.\n");
    vorn_config_copy_default_to_startup();
    document = parse_config(paths::startup_config);
    if (!document) vorn_debug_eprintf("Unable to read the default either.");
    return document;
}

/* Without any document the device serves what it has, at boot an empty configuration. */
int serve_something(bool lacked_memory)
{
    if (!running_config) {
        running_config = vorn_instances_new();
        lacks_instances = lacked_memory;
    }
    return failed;
}

/* What memory did not suffice for would be lost for good with the file that still has it. */
bool may_be_saved()
{
    if (!lacks_instances) return true;
    vorn_debug_eprintf("Not saving: the configuration was not loaded whole for want of memory.\n");
    return false;
}

/* What has been read of another configuration goes; nobody was told of it. */
int serve_again(vorn_instances *before, OwnedChanges changes)
{
    vorn_debug_eprintf("No memory for the configuration.\n");
    changes.reset();
    vorn_instances_delete_all(std::exchange(running_config, before));
    return failed;
}

/* A device with a configuration that is wrong somewhere has to come up all the same. */
void report_what_checks_find(vorn_changes *changes)
{
    vorn_check_info info(running_config, changes);
    check_by_providers(info);
    for (const Refusal *each = info.first; each; each = each->next)
        vorn_debug_eprintf("Loaded in spite of this: %s\n", each->sentence.get());
}

/* Short of memory, a boot serves what it could read; later there is something better to serve. */
int load_startup()
{
    const XmlDocument document = startup_or_fallback();
    if (!document) return serve_something(libxml2_was_short_of_memory());

    StoreShell store(vorn_instances_new());
    OwnedChanges changes(store ? vorn_changes_new(store.get()) : nullptr);
    if (!changes) {
        vorn_debug_eprintf("No memory for the configuration.\n");
        return serve_something(true);
    }
    StoreShell before(std::exchange(running_config, store.release()));
    bool whole = read_instances(document.get(), running_config, changes.get());
    whole &= add_missing_singletons(running_config, changes.get());
    if (!whole && before) return serve_again(before.release(), std::move(changes));

    lacks_instances = !whole;
    before.reset();
    report_what_checks_find(changes.get());
    vorn_providers_commit(running_config, changes.get(), nullptr);
    return ok;
}

char *error_document(const char *message)
{
    return format("<?xml version=\"1.0\"?><error>%s</error>\n", message).release();
}

xmlNode *find_child(const xmlNode *element, const char *name)
{
    for (xmlNode *child = element->children; child; child = child->next) {
        if (is_element(child) && xmlStrEqual(child->name, xml(name))) return child;
    }
    return nullptr;
}

/* The concrete class that an element of an abstract one asks for; null after a message. */
const char *subclass_of(const vorn_class &klass, xmlDoc *document, const xmlNode *element)
{
    const char *base = klass.name.get();
    const char *identifier =
        klass.subclass_identifier ? klass.subclass_identifier->name.get() : "(none)";

    const xmlNode *child = find_child(element, identifier);
    if (!child) {
        vorn_debug_eprintf("Instance of class \"%s\" does not contain a subclass identifier "
                           "property \"%s\".\n",
                           base, identifier);
        return nullptr;
    }
    const char *value = vorn_util_xmlNodeListGetString(document, child->children, in_line);
    if (!value) {
        vorn_debug_eprintf("Instance of class \"%s\" subclass identifier property \"%s\" has a "
                           "null value.\n",
                           base, identifier);
        return nullptr;
    }
    const vorn_class *subclass = vorn_classes_get(value);
    if (!subclass) {
        vorn_debug_eprintf("Instance of class \"%s\" subclass identifier property \"%s\" value is "
                           "an unknown class \"%s\".\n",
                           base, identifier, value);
        return nullptr;
    }
    if (!subclass->superclass_name || std::strcmp(subclass->superclass_name.get(), base) != 0) {
        vorn_debug_eprintf("Instance of class \"%s\" subclass identifier property \"%s\" value is "
                           "\"%s\", which is not a subclass of \"%s\".\n",
                           base, identifier, value, base);
        return nullptr;
    }
    return subclass->name.get();
}

} // namespace

} // namespace vorn

using namespace vorn;

int vorn_config_init()
{
    std::snprintf(default_path, sizeof default_path, "%s", paths::default_config);
    if (exists(paths::startup_config)) return ok;

    if (const int code = copy_checked_default(default_path, paths::startup_config)) {
        report_default(code);
        copy_file(paths::rescue_config, paths::startup_config);
        sync();
    }
    return ok;
}

int vorn_config_copy_running_to_startup()
{
    if (may_be_saved()) write_config(vorn_config_get_running(), paths::startup_config);
    announce_change();
    return ok;
}

int vorn_config_copy_running_to_default()
{
    if (!may_be_saved()) return failed;
    /* What an earlier copy left there must not become the default. */
    if (!write_config(vorn_config_get_running(), paths::scratch_default, FileKind::scratch)) {
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
    const int code = copy_checked_default(default_path, paths::startup_config);
    if (code == 0) {
        announce_change();
        return ok;
    }
    report_default(code);
    vorn_config_copy_rescue_to_startup();
    return failed;
}

int vorn_config_copy_rescue_to_startup()
{
    copy_file(paths::rescue_config, paths::startup_config);
    announce_change();
    return ok;
}

int vorn_config_copy_rescue_to_default()
{
    if (unlink(default_path) == 0) return ok;
    vorn_debug_perror("unlink");
    return failed;
}

const char *vorn_config_get_class_name(struct _xmlDoc *document, struct _xmlNode *element)
{
    if (absent(element, "element")) return nullptr;

    const char *name = plain(element->name);
    const vorn_class *klass = vorn_classes_get(name);
    if (!klass) {
        vorn_debug_eprintf("Instance has an unknown class \"%s\".\n", name ? name : "(null)");
        return nullptr;
    }
    return klass->abstract == 1 ? subclass_of(*klass, document, element) : name;
}

char *vorn_config_get_startup_as_xml()
{
    struct stat status;
    const File file(std::fopen(paths::startup_config, "re"));
    if (!file || fstat(fileno(file.get()), &status) != 0) {
        return error_document("Can't read config file.");
    }
    if (status.st_size == 0) return error_document("Config file is zero-length.");

    const auto size = static_cast<std::size_t>(status.st_size);
    Text text(static_cast<char *>(std::malloc(size + 1)));
    if (!text) return error_document("vorn_config_get_startup_as_xml malloc failed");
    text.data()[std::fread(text.data(), 1, size, file.get())] = '\0';
    if (std::ferror(file.get())) return error_document("Can't read config file.");
    return text.release();
}
