/* SPDX-License-Identifier: MIT */
#pragma once

#include "core/base/file.h"
#include "core/base/memory.h"
#include "core/base/text.h"
#include "core/hash_table/table.h"
#include "core/plugin_page.h"
#include "vorn/service.h"

#include <sys/types.h>

namespace vorn {

enum class ServiceState { stopped, running, stopping };

/* What is needed to start a service again whose fork failed. */
struct PlannedStart : Record {
    Allocated<char *> arguments; /* with the texts after the pointers */
    Text directory;
    int output_mode = 0;
    Fd output; /* in place of the mode, when there is one */
};

struct vorn_service : Record {
    ServiceState state = ServiceState::stopped;
    pid_t pid = 0;       /* of the last start */
    bool reaped = false; /* the number is the process's no more */
    int status = -1;     /* what the reaper was told; -1 while that is not known */
    pid_t starter = 0;   /* whose child it is: a daemon is another process after daemonising */
    unsigned long long birth = 0; /* of the process, to know it by when it is no child any more */
    Owned<PlannedStart> planned;
    vorn_service_exited_fn exited_fn = nullptr;
    void *exited_data = nullptr;
    PluginOwner owner = no_plugin; /* of the function above */
};

struct ServiceTable : Record {
    Table<vorn_service> services;
};

/* Null until vorn_service_init. */
extern ServiceTable *service_table;

} // namespace vorn
