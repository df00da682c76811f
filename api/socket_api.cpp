/* SPDX-License-Identifier: MIT */
/*
 * The door for local programs: a length and one LSQL request in, the reply out, the end. One
 * client is served to completion before the next one is looked at.
 */
#include "api/sockets/connection.h"
#include "core/base/result.h"
#include "core/base/text.h"
#include "vorn/eloop.h"
#include "vorn/query.h"
#include "vorn/socket.h"

namespace vorn {

namespace {

constexpr char socket_name[] = "vorn_sock_lsql";
constexpr Door door = {"LSQL", "do_sockapi accept", "do_sockapi fcntl"};

void handle_lsql_connection(int listener, void *, void *)
{
    Connection client(listener, door);
    if (!client) return;

    const Allocated<char> request = client.read_body(client.read_word());
    if (!request) return;

    const Text reply(vorn_query_eval(request.get()));
    if (reply) client.reply(reply.get());
}

} // namespace

} // namespace vorn

using namespace vorn;

int vorn_socket_api_init()
{
    Fd listener(vorn_socket_get_unix(socket_name, VORN_SOCKET_ABSTRACT));
    if (!listener) return failed;
    if (eloop_register_read_sock(listener.get(), handle_lsql_connection, nullptr, nullptr)) {
        return failed;
    }
    listener.release();
    return ok;
}
