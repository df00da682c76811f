/* SPDX-License-Identifier: MIT */
#pragma once

#include "core/base/memory.h"
#include "core/base/table.h"
#include "vorn/service.h"

#include <sys/types.h>

namespace vorn {

enum class ServiceState { stopped, running, stopping };

struct vorn_service : Record {
    ServiceState state = ServiceState::stopped;
    pid_t pid = 0; /* of the last start */
    vorn_service_exited_fn exited_fn = nullptr;
    void *exited_data = nullptr;
};

struct ServiceTable : Record {
    Table<vorn_service> services;
};

/* Null until vorn_service_init. */
extern ServiceTable *service_table;

} // namespace vorn
