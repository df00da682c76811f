/* SPDX-License-Identifier: MIT */
/*
 * Files that belong to the configuration and lie beside it, such as keys that nobody may read. They
 * go where it goes: while it may not be saved, what is written to them is kept in memory.
 */
#include "vorn/config_files.h"

#include "config/config_files.h"
#include "config/config_hold.h"
#include "config/file_replace.h"
#include "core/base/file.h"
#include "core/base/memory.h"
#include "core/base/result.h"
#include "core/base/text.h"
#include "core/base/text_buffer.h"
#include "core/guard.h"
#include "core/plugin_page.h"
#include "vorn/config.h"

#include <cerrno>
#include <cstring>
#include <utility>

namespace vorn {

namespace {

struct ConfigFile : Record {
    Text path;
    vorn_config_file_fn take = nullptr;
    void *data = nullptr;
    PluginOwner owner = no_plugin;
    Text kept; /* with an end that is not counted; empty when the disk has all there is */
    std::size_t kept_size = 0;
    ConfigFile *next = nullptr;
};

constinit ConfigFile *first_file = nullptr;

ConfigFile *file_at(const char *path)
{
    ConfigFile *each = first_file;
    while (each && std::strcmp(each->path.get(), path) != 0)
        each = each->next;
    if (!each) vorn_debug_1printf("File \"%s\" is not one of the configuration.\n", path);
    return each;
}

void hand_over(const ConfigFile &file, const char *bytes, std::size_t size)
{
    const InPlugin watched(file.owner, Callback::file);
    file.take(bytes, size, file.data);
}

Text copy_of_bytes(const char *bytes, std::size_t size)
{
    TextBuffer copy;
    copy.append(bytes, size);
    return copy.take();
}

Text read_whole(const char *path, std::size_t &size)
{
    char piece[512];
    const File file = read_regular(path);
    if (!file) return {};
    TextBuffer whole;
    whole.append("", 0);
    while (const std::size_t count = std::fread(piece, 1, sizeof piece, file.get()))
        whole.append(piece, count);
    if (std::ferror(file.get())) return {};
    size = whole.size();
    return whole.take();
}

/* Nobody but root may read it, whatever was there. 0, or what the system said. */
int write_whole(const char *path, const char *bytes, std::size_t size)
{
    FileReplacement file(path, FileKind::scratch);
    if (!file) return file.error();
    std::fwrite(bytes, 1, size, file.stream());
    return file.commit() ? 0 : file.error();
}

} // namespace

bool write_kept_files(SaveReason &reason)
{
    for (ConfigFile *each = first_file; each; each = each->next) {
        if (!each->kept) continue;
        if (const int error = write_whole(each->path.get(), each->kept.get(), each->kept_size)) {
            reason.set("%s: %s", each->path.get(), std::strerror(error));
            return false;
        }
        each->kept = Text();
    }
    return true;
}

namespace {

/* Those whose it was are told what is on the disk. */
void drop_kept_files()
{
    for (ConfigFile *each = first_file; each; each = each->next) {
        if (!each->kept) continue;
        each->kept = Text();
        std::size_t size = 0;
        const Text bytes = read_whole(each->path.get(), size);
        hand_over(*each, or_empty(bytes.get()), size);
    }
}

} // namespace

} // namespace vorn

using namespace vorn;

void vorn_config_release()
{
    if (!end_hold()) return;
    forget_no_save();
    drop_kept_files();
}

int vorn_config_add_file(const char *path, vorn_config_file_fn take, void *data)
{
    if (absent(path, "path") || absent(reinterpret_cast<void *>(take), "take")) return failed;

    Owned<ConfigFile> file = make<ConfigFile>();
    if (!file) return failed;
    file->path = copy_of(path);
    if (!file->path) return failed;
    file->take = take;
    file->data = data;
    file->owner = current_plugin();
    ConfigFile **end = &first_file;
    while (*end)
        end = &(*end)->next;
    *end = file.release();
    return ok;
}

const char *vorn_config_get_file(unsigned int index)
{
    const ConfigFile *each = first_file;
    for (; each && index > 0; index--)
        each = each->next;
    return each ? each->path.get() : nullptr;
}

int vorn_config_write_file(const char *path, const char *bytes, size_t size)
{
    if (absent(path, "path") || absent(bytes, "bytes")) return EINVAL;
    ConfigFile *file = file_at(path);
    if (!file) return EINVAL;
    if (!reason_to_hold()) return write_whole(path, bytes, size);

    Text kept = copy_of_bytes(bytes, size);
    if (!kept) return ENOMEM;
    file->kept = std::move(kept);
    file->kept_size = size;
    return 0;
}

char *vorn_config_read_file(const char *path, size_t *size)
{
    if (absent(path, "path") || absent(size, "size")) return nullptr;
    const ConfigFile *file = file_at(path);
    if (!file) return nullptr;
    if (!file->kept) return read_whole(path, *size).release();

    *size = file->kept_size;
    return copy_of_bytes(file->kept.get(), file->kept_size).release();
}

int vorn_config_take_file(const char *path, const char *bytes, size_t size)
{
    if (absent(path, "path") || absent(bytes, "bytes")) return failed;
    const ConfigFile *file = file_at(path);
    if (!file) return failed;

    hand_over(*file, bytes, size);
    return ok;
}
