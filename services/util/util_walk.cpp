/* SPDX-License-Identifier: MIT */
/*
 * The directory walker. An entry whose name holds a "*" is a name like any other: the search for
 * the next wildcard goes on after it, so that no entry can make the walk go round in circles.
 */
#include "core/guard.h"
#include "vorn/util.h"

#include <cstdio>
#include <cstring>

#include <dirent.h>
#include <sys/stat.h>

namespace vorn {

namespace {

constexpr int text_room = 79;

struct Walk {
    char *output;
    int size;
    vorn_util_dir_walk_fn callback;
    const void *user;
};

int visit_file(const Walk &walk, const char *path, const char *label)
{
    struct stat status;
    const int result = stat(path, &status);
    if (result != 0 || !S_ISREG(status.st_mode)) return result;

    const int used = static_cast<int>(std::strlen(walk.output));
    return walk.callback(walk.output + used, walk.size - used, path, label, walk.user);
}

/* The wildcards before `from` have been replaced already. */
int walk_pattern(const Walk &walk, const char *pattern, std::size_t from, const char *label)
{
    if (from > std::strlen(pattern) || !std::strchr(pattern + from, '*')) {
        return visit_file(walk, pattern, label);
    }

    char folder[text_room + 1];
    std::snprintf(folder, sizeof folder, "%s", pattern);
    char *wildcard = std::strchr(folder + from, '*');
    if (!wildcard) return 0;
    *wildcard = '\0';
    const char *rest = wildcard + 1;

    DIR *entries = opendir(folder);
    if (!entries) return 0;
    while (const dirent *entry = readdir(entries)) {
        if (entry->d_name[0] == '.') continue;
        char next_label[text_room];
        char next_pattern[text_room];
        std::snprintf(next_label, sizeof next_label, "%s%s ", label, entry->d_name);
        std::snprintf(next_pattern, sizeof next_pattern, "%s%s%s", folder, entry->d_name, rest);
        const std::size_t replaced = std::strlen(folder) + std::strlen(entry->d_name);
        walk_pattern(walk, next_pattern, replaced, next_label);
    }
    return closedir(entries);
}

} // namespace

} // namespace vorn

using namespace vorn;

int vorn_util_dir_walk(const char *pattern, char *output, int size, const char *label,
                       vorn_util_dir_walk_fn callback, const void *user)
{
    if (absent(pattern, "pattern") || absent(output, "output")) return -1;
    if (absent(reinterpret_cast<const void *>(callback), "callback")) return -1;

    return walk_pattern({output, size, callback, user}, pattern, 0, label ? label : "");
}
