/* SPDX-License-Identifier: MIT */
/*
 * Finds the plugins, loads them and lets each register what it brings. One that fails does not
 * keep the others from being loaded. Nothing is ever unloaded, so no handle is kept.
 */
#include "core/plugins.h"

#include "core/base/file.h"
#include "core/base/memory.h"
#include "core/base/paths.h"
#include "core/base/result.h"
#include "core/base/text.h"
#include "core/base/text_buffer.h"
#include "core/guard.h"
#include "core/plugin_page.h"
#include "core/plugin_page_record.h"
#include "vorn/debug.h"
#include "vorn/plugin.h"

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <dlfcn.h>
#include <link.h>
#include <sys/stat.h>

const char *vorn_plugins_current = nullptr;

namespace vorn {

namespace {

constexpr char entry_name[] = "vorn_plugin_init";
constexpr char version_accepted[] = "1.0";
constexpr const char *endings[] = {".vorn", ".so"};
using Entry = void (*)();

/* All plugins that were found, the last one first, for the life of the process. */
struct FoundPlugin : Record {
    Text name;
    Text version; /* that it was built for, once it has said so */
    int state = VORN_PLUGIN_BROKEN;
    FoundPlugin *next = nullptr;
};
constinit FoundPlugin *found_plugins = nullptr;

/* Whose entry is called, or was called last. */
constinit FoundPlugin *current = nullptr;

bool is_ending(const char *text)
{
    for (const char *ending : endings) {
        if (std::strcmp(text, ending) == 0) return true;
    }
    return false;
}

bool is_plugin(const char *name)
{
    const char *ending = std::strrchr(name, '.');
    return ending && ending > name && is_ending(ending);
}

/* The loader opens whatever has the name, and would wait for somebody who writes into a pipe. */
bool is_file(const char *path)
{
    struct stat status;
    return stat(path, &status) != 0 || S_ISREG(status.st_mode);
}

/*
 * Whether the file has all the bytes that its own headers promise. The loader maps what is missing
 * and strikes it when it looks there, which would end the daemon at every boot. What is no library
 * at all the loader finds out for itself.
 */
bool is_cut_off(const char *path)
{
    const File file = read_regular(path);
    ElfW(Ehdr) head = {};
    struct stat status;
    if (!file || fstat(fileno(file.get()), &status) != 0) return false;
    if (std::fread(&head, sizeof head, 1, file.get()) != 1) return false;
    if (std::memcmp(head.e_ident, ELFMAG, SELFMAG) != 0 || head.e_phentsize != sizeof(ElfW(Phdr)) ||
        std::fseek(file.get(), static_cast<long>(head.e_phoff), SEEK_SET) != 0)
        return false;
    const auto size = static_cast<std::uint64_t>(status.st_size);
    for (unsigned int i = 0; i < head.e_phnum; i++) {
        ElfW(Phdr) part = {};
        if (std::fread(&part, sizeof part, 1, file.get()) != 1) return true;
        const std::uint64_t end = std::uint64_t{part.p_offset} + part.p_filesz;
        if (part.p_type == PT_LOAD && end > size) return true;
    }
    return false;
}

Entry find_entry(void *library)
{
    dlerror();
    void *symbol = dlsym(library, entry_name);
    if (symbol) return reinterpret_cast<Entry>(symbol);

    if (const char *error = dlerror()) {
        vorn_debug_1printf("Plugin does not contain vorn_plugin_init: %s\n", error);
    } else {
        vorn_debug_1printf("vorn_plugin_init is set to null.\n");
    }
    return nullptr;
}

/* The name outlives the entry call: plugins may keep the pointer. Null when memory is gone. */
FoundPlugin *note(const char *name)
{
    Owned<FoundPlugin> plugin = make<FoundPlugin>();
    if (!plugin) return nullptr;
    plugin->name = copy_of(name);
    if (!plugin->name) return nullptr;

    plugin->next = found_plugins;
    return found_plugins = plugin.release();
}

FoundPlugin *find_or_note(const char *name)
{
    FoundPlugin *plugin = found_plugins;
    while (plugin && std::strcmp(plugin->name.get(), name) != 0)
        plugin = plugin->next;
    return plugin ? plugin : note(name);
}

FoundPlugin *plugin_at(unsigned int rank)
{
    FoundPlugin *plugin = found_plugins;
    while (plugin && rank-- > 0)
        plugin = plugin->next;
    return plugin;
}

PluginSlot *slot_at(unsigned int rank)
{
    const FoundPlugin *plugin = plugin_at(rank);
    return plugin ? find_slot(plugin->name.get()) : nullptr;
}

void report_left_out(const PluginSlot &slot)
{
    const Line<32> by_signal(" of signal %d", static_cast<int>(slot.signal));
    vorn_debug_eprintf("Plugin \"%s\" is left out: the daemon died in its code %u times in a row, "
                       "the last time in its %s function%s.\n",
                       slot.name, static_cast<unsigned int>(slot.deaths), word_for(slot.callback),
                       slot.signal > 0 ? by_signal.get() : "");
}

/* The library's constructors are its code, too. */
void *open_library(const char *path, PluginOwner owner)
{
    const InPlugin watched(owner, Callback::init);
    dlerror();
    return dlopen(path, RTLD_NOW);
}

void enter(Entry entry, FoundPlugin &plugin, PluginOwner owner)
{
    const InPlugin watched(owner, Callback::init);
    note_code(owner, reinterpret_cast<const void *>(entry));
    if (PluginSlot *slot = slot_of(owner)) slot->is_loaded = true;
    plugin.state = VORN_PLUGIN_RUNNING;
    current = &plugin;
    vorn_plugins_current = plugin.name.get();
    entry();
}

void report_missing(const char *directory, int error)
{
    const Line<320> message("Unable to open plugins directory \"%s\"", directory);
    errno = error;
    vorn_debug_perror(message.get());
}

} // namespace

int load_plugin(const char *directory, const char *name)
{
    vorn_debug_1printf("Loading %s.\n", name);

    const Text path = format("%s%s", directory, name);
    FoundPlugin *plugin = path ? find_or_note(name) : nullptr;
    if (!plugin) return failed;
    if (!is_file(path.get())) {
        vorn_debug_1printf("Unable to load plugin \"%s\": it is no file\n", path.get());
        return failed;
    }
    if (is_cut_off(path.get())) {
        vorn_debug_1printf("Unable to load plugin \"%s\": the file is cut off\n", path.get());
        return failed;
    }
    const PluginOwner owner = place_on_page(path.get(), name);
    const PluginSlot *slot = slot_of(owner);
    if (slot && is_left_out(*slot)) {
        plugin->state = VORN_PLUGIN_LEFT_OUT;
        report_left_out(*slot);
        return ok;
    }
    void *library = open_library(path.get(), owner);
    if (!library) {
        vorn_debug_1printf("Unable to load plugin \"%s\": %s\n", path.get(), dlerror());
        return failed;
    }

    const Entry entry = find_entry(library);
    if (!entry) return failed;
    enter(entry, *plugin, owner);
    return ok;
}

namespace {

/* One that is loaded may have seen to it that nothing speaks against the others any more. */
bool load_those_with_another_chance(const char *directory)
{
    bool all = true;
    for (FoundPlugin *each = found_plugins; each; each = each->next) {
        const PluginSlot *slot = find_slot(each->name.get());
        if (each->state != VORN_PLUGIN_LEFT_OUT || !slot || is_left_out(*slot)) continue;
        each->state = VORN_PLUGIN_BROKEN;
        all = load_plugin(directory, each->name.get()) == ok && all;
    }
    return all;
}

} // namespace

int load_plugins_of(const char *directory)
{
    vorn_debug_1printf("Reading plugins.\n");

    const Directory plugins(opendir(directory));
    if (!plugins) {
        report_missing(directory, errno);
        return failed;
    }

    int result = ok;
    while (const dirent *entry = readdir(plugins.get())) {
        if (is_plugin(entry->d_name) && load_plugin(directory, entry->d_name) != ok) {
            result = failed;
        }
    }
    if (!load_those_with_another_chance(directory)) result = failed;
    write_plugin_record(false, 0);
    return result;
}

bool plugin_takes_part(const char *name)
{
    for (const FoundPlugin *each = found_plugins; each; each = each->next) {
        if (each->state == VORN_PLUGIN_RUNNING && std::strcmp(each->name.get(), name) == 0)
            return true;
    }
    return false;
}

bool plugin_takes_part_as(const char *name, std::size_t length)
{
    for (const FoundPlugin *each = found_plugins; each; each = each->next) {
        if (each->state == VORN_PLUGIN_RUNNING &&
            std::strncmp(each->name.get(), name, length) == 0 &&
            is_ending(each->name.get() + length))
            return true;
    }
    return false;
}

Text plugins_of_a_save()
{
    TextBuffer list;
    list.append("", 0);
    for (const FoundPlugin *each = found_plugins; each; each = each->next) {
        if (each->state != VORN_PLUGIN_RUNNING && each->state != VORN_PLUGIN_LEFT_OUT) continue;
        list.append(each->name.get());
        list.append("\n", 1);
    }
    return list.take();
}

} // namespace vorn

using namespace vorn;

int vorn_plugins_init()
{
    return load_plugins_of(paths::plugins);
}

vorn_plugin *vorn_plugin_new(const char *version)
{
    if (absent(version, "version")) return nullptr;
    if (std::strcmp(version, version_accepted) != 0) {
        vorn_debug_eprintf("Plugin \"%s\" version \"%s\" is unsupported.\n",
                           shown(vorn_plugins_current), version);
        if (current) current->state = VORN_PLUGIN_UNSUPPORTED;
        return nullptr;
    }
    Allocated<vorn_plugin> plugin(
        static_cast<vorn_plugin *>(noted(std::malloc(sizeof(vorn_plugin)))));
    Text name = copy_of(vorn_plugins_current ? vorn_plugins_current : "");
    if (!plugin || !name) return nullptr;

    plugin->name = name.release();
    if (current) current->version = copy_of(version);
    return plugin.release();
}

const char *vorn_plugins_get_name(unsigned int rank)
{
    const FoundPlugin *plugin = plugin_at(rank);
    return plugin ? plugin->name.get() : nullptr;
}

int vorn_plugins_get_state(unsigned int rank)
{
    const FoundPlugin *plugin = plugin_at(rank);
    return plugin ? plugin->state : VORN_PLUGIN_BROKEN;
}

const char *vorn_plugins_get_version(unsigned int rank)
{
    const FoundPlugin *plugin = plugin_at(rank);
    return plugin && plugin->version ? plugin->version.get() : "";
}

unsigned int vorn_plugins_get_deaths(unsigned int rank)
{
    const PluginSlot *slot = slot_at(rank);
    return slot ? slot->deaths : 0;
}

const char *vorn_plugins_get_callback(unsigned int rank)
{
    const PluginSlot *slot = slot_at(rank);
    return slot ? word_for(slot->callback) : "";
}

int vorn_plugins_get_signal(unsigned int rank)
{
    const PluginSlot *slot = slot_at(rank);
    return slot ? slot->signal : 0;
}

int vorn_plugins_retry(const char *name)
{
    if (absent(name, "name")) return failed;
    PluginSlot *slot = find_slot(name);
    if (!slot || slot->deaths == 0) return failed;
    forget_deaths_of(*slot);
    write_plugin_record(false, 0);
    return ok;
}

void vorn_plugins_retry_all()
{
    if (!plugin_page) return;
    for (PluginSlot &slot : plugin_page->slots)
        forget_deaths_of(slot);
    write_plugin_record(false, 0);
}
