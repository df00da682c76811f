/* SPDX-License-Identifier: MIT */
/*
 * The doors for local programs. At one of them a length and one LSQL request go in, the reply out,
 * the end; at the other clients stay, and requests and replies have a head with a number.
 */
#include "api/sockets/client.h"
#include "api/sockets/clients.h"
#include "core/base/result.h"
#include "vorn/eloop.h"
#include "vorn/query.h"
#include "vorn/socket.h"

namespace vorn {

namespace {

constexpr char socket_name[] = "vorn_sock_lsql";

void answer(Client &client, char *request)
{
    client.reply(Text(vorn_query_eval(request)));
}

constexpr Door door = {"LSQL", "do_sockapi accept", "do_sockapi fcntl", 4, nullptr, false, answer};

void handle_lsql_connection(int listener, void *, void *)
{
    take_client(listener, door);
}

} // namespace

} // namespace vorn

using namespace vorn;

int vorn_socket_api_init()
{
    Fd listener(vorn_socket_get_unix(socket_name, VORN_SOCKET_ABSTRACT));
    if (!listener || !look_after_clients()) return failed;
    if (eloop_register_read_sock(listener.get(), handle_lsql_connection, nullptr, nullptr)) {
        return failed;
    }
    listener.release();
    return ok;
}
