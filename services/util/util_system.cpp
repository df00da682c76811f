/* SPDX-License-Identifier: MIT */
/* Utilities about the system as a whole: rebooting it, its directories, its processes. */
#include "core/base/file.h"
#include "core/base/text.h"
#include "core/guard.h"
#include "core/process.h"
#include "vorn/debug.h"
#include "vorn/eloop.h"
#include "vorn/util.h"

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <sys/stat.h>

namespace vorn {

namespace {

constexpr int none = -1;
constexpr int status_line_room = 255;

bool is_process(const char *entry)
{
    return std::isdigit(static_cast<unsigned char>(*entry)) &&
           std::strspn(entry, "0123456789") == std::strlen(entry);
}

bool status_line_contains(const char *process, const char *name)
{
    const Line<64> path("/proc/%s/stat", process);
    const File status = read_regular(path.get());
    char line[status_line_room];
    return status && std::fgets(line, sizeof line, status.get()) && std::strstr(line, name);
}

} // namespace

} // namespace vorn

using namespace vorn;

void vorn_reboot()
{
    reboot_requested = 1;
    eloop_terminate();
}

void vorn_util_reboot()
{
    if (vorn_process_no_actions) {
        vorn_debug_printf("Rebooting the system is disabled.\n");
        return;
    }
    vorn_debug_printf("Rebooting the system.\n");
    vorn_reboot();
}

int vorn_util_mkdir(const char *path)
{
    struct stat status;

    if (absent(path, "path")) return -1;
    return stat(path, &status) == 0 ? 0 : mkdir(path, 0777);
}

int vorn_util_findpid(const char *name)
{
    if (absent(name, "name")) return none;

    const Directory processes(opendir("/proc"));
    if (!processes) return none;
    while (const dirent *entry = readdir(processes.get())) {
        if (is_process(entry->d_name) && status_line_contains(entry->d_name, name)) {
            return std::atoi(entry->d_name);
        }
    }
    return none;
}
