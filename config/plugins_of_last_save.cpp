/* SPDX-License-Identifier: MIT */
#include "config/plugins_of_last_save.h"

#include "config/file_replace.h"
#include "core/base/paths.h"
#include "core/plugins.h"
#include "vorn/debug.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <utility>

#include <unistd.h>

namespace vorn {

namespace {

/* Whether a file says so already; while plugins are the same it is written once. */
constinit bool are_remembered = false;

/* The one beside the startup file is there only where /etc could not be written, and is newer. */
File open_list()
{
    File file = read_regular(paths::plugins_beside_startup);
    return file ? std::move(file) : read_regular(paths::plugins_of_last_save);
}

bool is_written_down(const Text &list)
{
    const File file = open_list();
    const char *at = list.get();
    int byte = 0;
    while (file && (byte = std::getc(file.get())) != EOF && byte == *at)
        at++;
    return file && byte == EOF && *at == '\0';
}

bool write_down(const char *path, const Text &list)
{
    FileReplacement file(path);
    if (!file) {
        vorn_debug_1printf("Can't open %s.\n", path);
        return false;
    }
    std::fputs(list.get(), file.stream());
    return file.commit();
}

bool is_gone(const char *path)
{
    return unlink(path) == 0 || errno == ENOENT;
}

} // namespace

/* Where the startup file can be written there is room beside it for the list. */
bool remember_plugins()
{
    if (are_remembered) return true;
    const Text list = plugins_of_a_save();
    if (!list) return false;
    are_remembered =
        is_written_down(list) ||
        (write_down(paths::plugins_of_last_save, list) && is_gone(paths::plugins_beside_startup)) ||
        write_down(paths::plugins_beside_startup, list);
    return are_remembered;
}

bool find_missing_plugin(char *name, int room)
{
    const File file = open_list();
    while (file && std::fgets(name, room, file.get())) {
        name[std::strcspn(name, "\n")] = '\0';
        if (*name && !plugin_takes_part(name)) return true;
    }
    return false;
}

} // namespace vorn
