/* SPDX-License-Identifier: MIT */
#pragma once

#include "core/base/memory.h"
#include "core/hash_table/table.h"
#include "core/plugin_page.h"

namespace vorn {

/* A handler's name to a record that holds the function: a table's data are object pointers. */
struct InformHandler : Record {
    int (*fn)() = nullptr;
    PluginOwner owner = no_plugin;
};
struct InformHandlers : Record {
    Table<InformHandler> by_name;
};

/* Parameter name to value; the values lie in the request's buffer. */
struct InformValues : Record {
    Table<char> by_name;
};

/* Null until the first handler is added. */
extern InformHandlers *inform_handlers;

/* Null between requests. */
extern InformValues *vorn_inform_socket_request_values;

/* Without the memory for its parameters no request has started. */
void start_inform_socket_request(char *body);
const char *dispatch_inform_request();
void end_inform_socket_request();
void handle_inform_connection(int listener, void *eloop_data, void *user_data);

} // namespace vorn
