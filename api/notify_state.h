/* SPDX-License-Identifier: MIT */
#pragma once

#include <cstdint>
#include <cstdio>

namespace vorn {

constexpr int notify_slots = 8;

struct NotifyConnection {
    bool in_use;
    int fd;
    std::FILE *stream;
};

extern NotifyConnection notify_connection[notify_slots];
extern std::int32_t conf_change_counter;

int vorn_notify_add_connection(int fd, std::FILE *stream);
void notify_remove_connection(int fd);
void notify_new_connection(int listener, void *eloop_data, void *user_data);
void notify_read(int fd, void *eloop_data, void *stream);

} // namespace vorn
