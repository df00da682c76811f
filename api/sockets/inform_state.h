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

/*
 * Whether the client may have the object told, and speaks for whom the request says; null while
 * everybody may.
 */
extern bool (*may_be_informed)(const char *object, const char *for_user);

/*
 * Has a request served by the function, which answers the reply, and keeps a record of it where it
 * deserves one; null while nobody does.
 */
extern const char *(*keep_record_of)(const char *object, const char *(*serve)(const char *object));

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
