/* SPDX-License-Identifier: MIT */
#pragma once

#include "core/base/limits.h"

#include <cstdint>
#include <cstdio>

namespace vorn {

constexpr int notify_slots = most_subscribers;

struct NotifyConnection {
    bool in_use;
    int fd;
    std::FILE *stream;
};

/*
 * Whether whoever is at the other end of a connection may hear of a class and property, or with
 * nulls that something has changed; null while everybody may.
 */
extern bool (*may_be_noticed)(int fd, const char *class_name, const char *property);

extern NotifyConnection notify_connection[notify_slots];
extern std::int32_t conf_change_counter;
extern int open_notify_connections; /* subscribers or not */

int vorn_notify_add_connection(int fd, std::FILE *stream);
void notify_remove_connection(int fd);
/* From here on the loop watches the connection; false when it can't. */
bool notify_begin_connection(int fd, std::FILE *stream);
void notify_end_connection(int fd, std::FILE *stream);
void notify_new_connection(int listener, void *eloop_data, void *user_data);
void notify_read(int fd, void *eloop_data, void *stream);

} // namespace vorn
