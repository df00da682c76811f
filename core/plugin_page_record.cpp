/* SPDX-License-Identifier: MIT */
/*
 * Plugins under suspicion, on the disk. It is written where a daemon is dying, so that nothing here
 * allocates, and nothing is called that a signal handler must not call.
 */
#include "core/plugin_page_record.h"

#include "core/base/file.h"
#include "core/base/paths.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <cstring>

#include <fcntl.h>

namespace vorn {

namespace {

struct Place {
    const char *path;
    const char *beside;
    const char *folder;
};

/* The second is for a device whose /etc can't be written, and newer where it is there. */
constexpr Place places[] = {
    {paths::suspects, paths::suspects_so_far, "/etc"},
    {paths::suspects_beside_startup, paths::suspects_beside_startup_so_far, "/etc/config"},
};
constexpr std::size_t longest_line = 192;
constexpr std::size_t room = most_plugins * longest_line;

/* A text of one's own making, in memory that is there beforehand. */
class Lines {
public:
    void put(const char *text)
    {
        while (*text && length_ < room)
            text_[length_++] = *text++;
    }
    void put(std::uint64_t number, unsigned int base = 10)
    {
        char digits[24];
        char *first = std::end(digits);
        *--first = '\0';
        do {
            *--first = "0123456789abcdef"[number % base];
            number /= base;
        } while (number > 0);
        put(first);
        put(" ");
    }
    void put_signed(std::int64_t number)
    {
        if (number < 0) put("-");
        put(number < 0 ? 0 - static_cast<std::uint64_t>(number)
                       : static_cast<std::uint64_t>(number));
    }
    void clear() { length_ = 0; }
    bool is_empty() const { return length_ == 0; }
    bool equals(const char *text, std::size_t length) const
    {
        return length == length_ && std::memcmp(text, text_, length) == 0;
    }
    bool write_to(int file) const
    {
        return write(file, text_, length_) == static_cast<ssize_t>(length_);
    }

private:
    char text_[room];
    std::size_t length_;
};

constinit Lines lines = {};
constinit char found[room + 1] = {};

/* What the disk has, in found; its length. */
std::size_t read_lines()
{
    for (const Place &each : {places[1], places[0]}) {
        const Fd file = open_regular(each.path, O_RDONLY | O_NOFOLLOW);
        if (!file) continue;
        const ssize_t length = read(file.get(), found, room);
        found[std::max<ssize_t>(length, 0)] = '\0';
        return static_cast<std::size_t>(std::max<ssize_t>(length, 0));
    }
    found[0] = '\0';
    return 0;
}

/* Whole or not at all, as every file that a power cut may interrupt. */
bool write_lines(const Place &place)
{
    unlink(place.beside);
    const Fd file(open(place.beside, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (!file) return false;
    if (!lines.write_to(file.get()) || fsync(file.get()) != 0 ||
        std::rename(place.beside, place.path) != 0) {
        unlink(place.beside);
        return false;
    }
    const Fd folder(open(place.folder, O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (folder) fsync(folder.get());
    return true;
}

void put_line(const PluginSlot &slot, std::uint32_t deaths, Callback callback, int signal_number)
{
    lines.put(deaths);
    lines.put(word_for(callback));
    lines.put(" ");
    lines.put_signed(signal_number);
    lines.put(slot.file.size);
    lines.put(slot.file.digest, 16);
    lines.put(slot.name);
    lines.put("\n");
}

void put_lines(bool dying, int signal_number)
{
    const std::uint32_t under_way = *code_under_way;
    const PluginSlot *dies_in = dying ? slot_of(static_cast<PluginOwner>(under_way)) : nullptr;
    lines.clear();
    for (const PluginSlot &slot : plugin_page->slots) {
        if (&slot == dies_in) {
            put_line(slot, slot.deaths + 1, static_cast<Callback>(under_way >> 8), signal_number);
        } else if (slot.deaths > 0) {
            put_line(slot, slot.deaths, slot.callback, slot.signal);
        }
    }
}

bool parse_line(const char *line, PluginSlot &slot)
{
    char callback[16];
    int name = 0;
    slot = {};
    if (std::sscanf(line, "%" SCNu32 " %15s %" SCNd32 " %" SCNu64 " %" SCNx64 " %n", &slot.deaths,
                    callback, &slot.signal, &slot.file.size, &slot.file.digest, &name) != 5 ||
        name == 0)
        return false;
    slot.callback = callback_of(callback);
    const std::size_t length = std::strlen(line + name);
    if (length == 0 || length >= sizeof slot.name || slot.deaths == 0) return false;
    std::memcpy(slot.name, line + name, length + 1);
    return true;
}

} // namespace

void write_plugin_record(bool dying, int signal_number)
{
    if (!plugin_page) return;
    put_lines(dying, signal_number);
    if (lines.equals(found, read_lines())) return;
    if (lines.is_empty()) {
        for (const Place &each : places)
            unlink(each.path);
    } else if (write_lines(places[0])) {
        unlink(places[1].path);
    } else {
        write_lines(places[1]);
    }
}

void read_plugin_record(PluginPage &page)
{
    read_lines();
    PluginSlot *next = page.slots;
    char *line = found;
    while (char *end = std::strchr(line, '\n')) {
        *end = '\0';
        if (next == std::end(page.slots)) return;
        if (parse_line(line, *next)) {
            next++;
        } else {
            *next = {};
        }
        line = end + 1;
    }
}

} // namespace vorn
