/* SPDX-License-Identifier: MIT */
/*
 * Named events for handlers that plugins registered. One request is served at a time; its
 * parameters exist while it is, and two assertions guard that discipline.
 */
#include "vorn/inform.h"

#include "api/sockets/client.h"
#include "api/sockets/clients.h"
#include "api/sockets/inform_state.h"
#include "core/base/assert.h"
#include "core/base/limits.h"
#include "core/base/result.h"
#include "core/base/text.h"
#include "core/guard.h"
#include "vorn/debug.h"

#include <cstring>

namespace vorn {

bool (*may_be_informed)(const char *object, const char *for_user) = nullptr;
const char *(*keep_record_of)(const char *object, const char *(*serve)(const char *)) = nullptr;
constinit InformHandlers *inform_handlers = nullptr;
constinit InformValues *vorn_inform_socket_request_values = nullptr;

namespace {

constexpr char socket_name[] = "vorn_sock_inform";
constexpr unsigned int buckets = 8;
constexpr int failure = 1;
constexpr int no_memory = -2;

template <typename Tables>
Tables *make_tables()
{
    Owned<Tables> tables = make<Tables>();
    return tables && tables->by_name.create(buckets) ? tables.release() : nullptr;
}

enum class Parsed { whole, too_much, out_of_memory };

/* name=value pairs joined by "&"; a repeated name keeps its first value. */
Parsed parse_pairs(Table<char> &values, char *rest)
{
    for (unsigned int count = 0; rest; count++) {
        if (count == most_parameters) {
            vorn_debug_eprintf("Inform request of more than %u parameters.\n", most_parameters);
            return Parsed::too_much;
        }
        const char *name = strsep(&rest, "=");
        if (!rest) {
            vorn_debug_eprintf("Bad inform request.\n");
            return Parsed::whole;
        }
        char *value = strsep(&rest, "&");
        if (values.insert(name, value) == no_memory) return Parsed::out_of_memory;
    }
    return Parsed::whole;
}

const char *serve(const char *object)
{
    const char *for_user = vorn_inform_get_value("for-user");
    if (may_be_informed && !may_be_informed(object, for_user)) return "ERR Access denied";
    const InformHandler *handler = inform_handlers ? inform_handlers->by_name.get(object) : nullptr;
    if (!handler) return "ERR no handler";
    const InPlugin watched(handler->owner, Callback::inform);
    return handler->fn() == failure ? "ERR returned by handler" : "OK";
}

} // namespace

void start_inform_socket_request(char *body)
{
    assert_that(!vorn_inform_socket_request_values,
                "vorn_inform_socket_request_values == ((void *)0)", "inform", __LINE__, __func__);

    Owned<InformValues> values(make_tables<InformValues>());
    const Parsed parsed = values ? parse_pairs(values->by_name, body) : Parsed::out_of_memory;
    if (parsed == Parsed::out_of_memory) vorn_debug_fatal("malloc");
    if (parsed != Parsed::whole) return;
    vorn_inform_socket_request_values = values.release();
}

const char *dispatch_inform_request()
{
    const char *object = vorn_inform_get_value("object");
    if (!object) return "ERR no object parameter";
    if (std::strlen(object) > longest_object) {
        vorn_debug_eprintf("Inform object of more than %zu bytes.\n", longest_object);
        return "ERR no handler";
    }
    return keep_record_of ? keep_record_of(object, serve) : serve(object);
}

void end_inform_socket_request()
{
    assert_that(vorn_inform_socket_request_values,
                "vorn_inform_socket_request_values != ((void *)0)", "inform", __LINE__, __func__);

    delete vorn_inform_socket_request_values;
    vorn_inform_socket_request_values = nullptr;
}

namespace {

void answer(Client &client, char *body)
{
    start_inform_socket_request(body);
    if (!vorn_inform_socket_request_values) return;
    const char *reply = dispatch_inform_request();
    end_inform_socket_request();
    client.reply_line(reply);
}

constexpr Door door = {
    "inform", "inform accept", "inform fcntl", 8, "Inform version number unrecognized.\n",
    false,    answer};

} // namespace

void handle_inform_connection(int listener, void *, void *)
{
    take_client(listener, door);
}

} // namespace vorn

using namespace vorn;

int vorn_inform_init()
{
    return open_door(socket_name, handle_inform_connection) ? ok : failed;
}

int vorn_inform_fn_add(const char *name, vorn_inform_fn handler)
{
    if (!name) {
        vorn_debug_1printf("Name is null.\n");
        return failed;
    }
    if (!handler) {
        vorn_debug_1printf("inform_fn is null.\n");
        return failed;
    }
    if (!inform_handlers) inform_handlers = make_tables<InformHandlers>();
    if (!inform_handlers) return failed;

    Owned<InformHandler> record = make<InformHandler>();
    if (!record) return failed;
    record->fn = handler;
    record->owner = current_plugin();
    if (inform_handlers->by_name.insert(name, record.get()) != 0) return failed;
    record.release();
    return ok;
}

const char *vorn_inform_get_value(const char *name)
{
    if (absent(name, "name") || !vorn_inform_socket_request_values) return nullptr;
    return vorn_inform_socket_request_values->by_name.get(name);
}
