/* SPDX-License-Identifier: MIT */
/*
 * The doors for local programs. At one of them a length and one LSQL request go in, the reply out,
 * the end; at the other clients stay, and requests and replies have a head with a number.
 */
#include "api/door_access.h"
#include "api/inform_record.h"
#include "api/sockets/client.h"
#include "api/sockets/clients.h"
#include "core/announce.h"
#include "core/base/result.h"
#include "core/peer.h"
#include "vorn/config.h"
#include "vorn/query.h"
#include "vorn/socket.h"

namespace vorn {

namespace {

void answer(Client &client, char *request)
{
    PeerOfRequest::asks();
    client.reply(Text(vorn_query_eval(request)));
}

/* Once: who wants to hear of the next change, too, asks for it. */
void hear_of_change(const vorn_instances *store)
{
    if (store && store != vorn_config_get_running()) return;
    change_awaited = nullptr;
    tell_clients_of(Awaited::change);
}

void hear_of_rights()
{
    rights_awaited = nullptr;
    tell_clients_of(Awaited::rights);
}

void answer_who_stays(Client &client, char *request)
{
    PeerOfRequest::asks(true);
    client.reply(Text(vorn_query_eval(request)));
    const Awaited awaited = PeerOfRequest::awaits();
    client.awaits(awaited);
    if (awaited == Awaited::change) change_awaited = hear_of_change;
    if (awaited == Awaited::rights) rights_awaited = hear_of_rights;
}

constexpr Door door = {"LSQL", "do_sockapi accept", "do_sockapi fcntl", 4, nullptr, false, answer};
constexpr Door stream_door = {"LSQL stream", "LSQL stream accept", "LSQL stream fcntl", 8, nullptr,
                              true,          answer_who_stays};

void handle_lsql_connection(int listener, void *, void *)
{
    take_client(listener, door);
}

void handle_stream_connection(int listener, void *, void *)
{
    take_client(listener, stream_door);
}

} // namespace

} // namespace vorn

using namespace vorn;

/* Clients do without the second door, so that it is no failure. */
int vorn_socket_api_init()
{
    watch_doors();
    keep_records_of_informs();
    if (!open_door("vorn_sock_lsql", handle_lsql_connection)) return failed;
    open_door("vorn_sock_lsql_stream", handle_stream_connection);
    return ok;
}
