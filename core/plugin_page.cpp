/* SPDX-License-Identifier: MIT */
/*
 * The page that tells whose code the daemon is in. It lies in a file that is mapped, so that a
 * store is all it takes and the next daemon finds it whatever ended this one. What it protects: a
 * device does not stay down because of one plugin; and it is never the page that brings it down.
 */
#include "core/plugin_page.h"

#include "core/base/file.h"
#include "core/plugin_page_record.h"

#include <algorithm>
#include <cstring>

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>

/* Set by the linker: where the program's own code begins and ends. */
extern "C" __attribute__((visibility("hidden"))) const char __executable_start;
extern "C" __attribute__((visibility("hidden"))) const char etext;

namespace vorn {

namespace {

constexpr char mark[sizeof PluginPage::mark] = "vorn plugins 1\n";
constexpr char no_place = '\0';
constexpr const char *words[] = {
    "",          "init",  "commit", "refresh", "check",     "amend",   "explain",
    "validator", "timer", "socket", "signal",  "inform",    "service", "listener",
    "file",      "saved", "load",   "report",  "migration",
};
constexpr auto last_callback = Callback::migration;
static_assert(std::size(words) == static_cast<std::size_t>(last_callback) + 1);

/* Where the code goes that nobody watches. */
constinit volatile std::uint32_t unwatched = 0;

/* Where the file of each plugin lies in memory; null for none. */
constinit const void *code_of[most_plugins + 1] = {};

bool is_in_use(const PluginSlot &slot)
{
    return slot.name[0] != no_place;
}

/* What others wrote there must not be believed; what a daemon wrote is as it was. */
bool is_sound(const PluginSlot &slot)
{
    constexpr std::uint32_t absurd = 1000;
    return std::memchr(slot.name, '\0', sizeof slot.name) && slot.deaths <= absurd &&
           slot.callback <= last_callback;
}

/* Only those under suspicion keep their place: the others may be gone by now. */
void clear_places(PluginPage &page)
{
    for (PluginSlot &slot : page.slots) {
        if (!is_sound(slot) || slot.deaths == 0) slot = {};
        slot.is_loaded = false;
    }
}

void count_death(PluginPage &page)
{
    const auto owner = static_cast<PluginOwner>(page.under_way);
    const std::uint32_t what = page.under_way >> 8;
    if (owner == no_plugin || owner > most_plugins) return;
    PluginSlot &slot = page.slots[owner - 1];
    if (!is_sound(slot) || !is_in_use(slot) || what > static_cast<std::uint32_t>(last_callback))
        return;
    slot.deaths++;
    slot.signal = page.signal;
    slot.callback = static_cast<Callback>(what);
}

bool is_of_a_daemon(const PluginPage &page)
{
    return std::memcmp(page.mark, mark, sizeof mark) == 0 && page.size == sizeof page;
}

/* Of this user alone, and with this one name: what is written here must harm no other file. */
bool is_our_own(int file)
{
    constexpr mode_t others = 0077;
    struct stat status;
    return fstat(file, &status) == 0 && S_ISREG(status.st_mode) && status.st_nlink == 1 &&
           status.st_uid == geteuid() && (status.st_mode & others) == 0;
}

Fd open_own_file(const char *path)
{
    constexpr mode_t nobody_elses = 0600;
    Fd file = open_regular(path, O_RDWR | O_CREAT | O_NOFOLLOW, nobody_elses);
    if (file && is_our_own(file.get())) return file;
    unlink(path);
    return open_regular(path, O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW, nobody_elses);
}

void *map(int file, int flags)
{
    void *memory = mmap(nullptr, sizeof(PluginPage), PROT_READ | PROT_WRITE, flags, file, 0);
    return memory == MAP_FAILED ? nullptr : memory;
}

/* The room is taken at once: a store that finds none would be struck by a signal. */
PluginPage *map_file(const char *path)
{
    const Fd file = open_own_file(path);
    if (!file) return nullptr;
    struct stat status;
    const bool is_whole = fstat(file.get(), &status) == 0 && status.st_size == sizeof(PluginPage);
    void *memory = nullptr;
    if ((is_whole || ftruncate(file.get(), 0) == 0) &&
        posix_fallocate(file.get(), 0, sizeof(PluginPage)) == 0)
        memory = map(file.get(), MAP_SHARED);
    if (!memory) unlink(path); /* what is told there would be old */
    return static_cast<PluginPage *>(memory);
}

void start_afresh(PluginPage &page)
{
    page = {};
    read_plugin_record(page);
    std::copy(std::begin(mark), std::end(mark), page.mark);
    page.size = sizeof page;
}

FileIdentity identity_of(const char *path)
{
    struct stat status;
    if (stat(path, &status) != 0) return {};
    return {static_cast<std::uint64_t>(status.st_size), 0};
}

std::uint64_t digest_of(const char *path)
{
    constexpr std::uint64_t prime = 0x100000001b3;
    std::uint64_t digest = 0xcbf29ce484222325;
    const File file = read_regular(path);
    for (int byte; file && (byte = std::getc(file.get())) != EOF;)
        digest = (digest ^ static_cast<std::uint64_t>(byte)) * prime;
    return std::max<std::uint64_t>(digest, 1);
}

void look_at_file(PluginSlot &slot, const char *path)
{
    FileIdentity now = identity_of(path);
    if (slot.deaths > 0) {
        now.digest = digest_of(path);
        const bool is_the_same =
            now.size == slot.file.size && (slot.file.digest == 0 || slot.file.digest == now.digest);
        if (!is_the_same) forget_deaths_of(slot);
    }
    slot.file = now;
}

bool may_be_named(const char *name)
{
    const auto is_control = [](char byte) { return static_cast<unsigned char>(byte) < ' '; };
    const std::size_t length = std::strlen(name);
    return length < sizeof PluginSlot::name && std::none_of(name, name + length, is_control);
}

PluginSlot *make_slot(const char *name)
{
    for (PluginSlot &slot : plugin_page->slots) {
        if (is_in_use(slot)) continue;
        slot = {};
        std::memcpy(slot.name, name, std::strlen(name) + 1);
        return &slot;
    }
    return nullptr;
}

bool is_own_code(const void *function)
{
    const auto *code = static_cast<const char *>(function);
    return code >= &__executable_start && code < &etext;
}

PluginOwner plugin_of_code(const void *function)
{
    Dl_info found;
    if (is_own_code(function) || dladdr(function, &found) == 0) return no_plugin;
    const auto *at = std::find(std::begin(code_of) + 1, std::end(code_of), found.dli_fbase);
    return at == std::end(code_of) ? no_plugin : static_cast<PluginOwner>(at - code_of);
}

} // namespace

constinit volatile std::uint32_t *code_under_way = &unwatched;
constinit PluginPage *plugin_page = nullptr;

const char *word_for(Callback callback)
{
    return words[static_cast<std::size_t>(callback)];
}

Callback callback_of(const char *word)
{
    const auto *found = std::find_if(std::begin(words), std::end(words), [word](const char *each) {
        return std::strcmp(each, word) == 0;
    });
    return found == std::end(words) ? Callback::none : static_cast<Callback>(found - words);
}

PluginOwner owner_of_handler(const void *function)
{
    return is_own_code(function) ? no_plugin : current_plugin();
}

InPlugin InPlugin::by_code(const void *function, Callback callback)
{
    const PluginOwner owner = plugin_of_code(function);
    if (owner != no_plugin) return InPlugin(owner, callback);
    const std::uint32_t now = *code_under_way;
    return InPlugin(static_cast<PluginOwner>(now), static_cast<Callback>(now >> 8));
}

void note_code(PluginOwner owner, const void *function)
{
    Dl_info found;
    if (owner != no_plugin && dladdr(function, &found) != 0) code_of[owner] = found.dli_fbase;
}

void open_plugin_page(const char *path)
{
    close_plugin_page();
    plugin_page = map_file(path);
    const bool outlives = plugin_page != nullptr;
    if (!outlives) {
        plugin_page = static_cast<PluginPage *>(map(-1, MAP_PRIVATE | MAP_ANONYMOUS));
        if (!plugin_page) return;
    }
    if (outlives && is_of_a_daemon(*plugin_page)) {
        count_death(*plugin_page);
        clear_places(*plugin_page);
    } else {
        start_afresh(*plugin_page);
    }
    plugin_page->under_way = 0;
    plugin_page->signal = 0;
    code_under_way = &plugin_page->under_way;
}

void close_plugin_page()
{
    if (!plugin_page) return;
    code_under_way = &unwatched;
    munmap(plugin_page, sizeof *plugin_page);
    plugin_page = nullptr;
    std::fill(std::begin(code_of), std::end(code_of), nullptr);
}

PluginSlot *slot_of(PluginOwner owner)
{
    return plugin_page && owner != no_plugin ? &plugin_page->slots[owner - 1] : nullptr;
}

PluginSlot *find_slot(const char *name)
{
    if (!plugin_page) return nullptr;
    for (PluginSlot &slot : plugin_page->slots) {
        if (is_in_use(slot) && std::strcmp(slot.name, name) == 0) return &slot;
    }
    return nullptr;
}

PluginOwner place_on_page(const char *path, const char *name)
{
    if (!plugin_page || !may_be_named(name)) return no_plugin;
    PluginSlot *slot = find_slot(name);
    if (!slot) slot = make_slot(name);
    if (!slot) return no_plugin;
    look_at_file(*slot, path);
    return static_cast<PluginOwner>(slot - plugin_page->slots + 1);
}

bool is_left_out(const PluginSlot &slot)
{
    return slot.deaths >= deaths_until_left_out;
}

void forget_deaths_of(PluginSlot &slot)
{
    slot.deaths = 0;
    slot.signal = 0;
    slot.callback = Callback::none;
}

void forget_deaths()
{
    if (!plugin_page) return;
    for (PluginSlot &slot : plugin_page->slots) {
        if (slot.is_loaded) forget_deaths_of(slot);
    }
    write_plugin_record(false, 0);
}

void end_in_order()
{
    const bool in_own_code = *code_under_way == 0;
    *code_under_way = 0;
    if (in_own_code) forget_deaths();
}

} // namespace vorn
