/* SPDX-License-Identifier: MIT */
#include "config/plugins_of_last_save.h"

#include "config/file_replace.h"
#include "core/base/paths.h"
#include "core/plugins.h"
#include "vorn/debug.h"

#include <climits>
#include <cstdio>
#include <cstring>

namespace vorn {

namespace {

/* Whether the file says so already; while plugins are the same it is written once. */
constinit bool are_remembered = false;

bool holds(const char *path, const Text &list)
{
    const File file = read_regular(path);
    const char *at = list.get();
    int byte = 0;
    while (file && (byte = std::getc(file.get())) != EOF && byte == *at)
        at++;
    return file && byte == EOF && *at == '\0';
}

} // namespace

/* A device that can't remember is as well off as one that has nothing to remember. */
void remember_plugins()
{
    if (are_remembered) return;
    const Text list = plugins_that_take_part();
    if (!list) return;
    are_remembered = holds(paths::plugins_of_last_save, list);
    if (are_remembered) return;

    FileReplacement file(paths::plugins_of_last_save);
    if (file) {
        std::fputs(list.get(), file.stream());
        are_remembered = file.commit();
    } else {
        vorn_debug_1printf("Can't open %s.\n", paths::plugins_of_last_save);
    }
}

bool find_missing_plugin(char *name, int room)
{
    const File file = read_regular(paths::plugins_of_last_save);
    while (file && std::fgets(name, room, file.get())) {
        name[std::strcspn(name, "\n")] = '\0';
        if (*name && !plugin_takes_part(name)) return true;
    }
    return false;
}

} // namespace vorn
