/* SPDX-License-Identifier: MIT */
#pragma once

#include "api/sockets/door.h"
#include "core/announce.h"
#include "vorn/eloop.h"

namespace vorn {

/*
 * Takes the next client of a listener, or -1 with errno. Whoever could not be taken still waits, so
 * that the listener would be found readable again at once: it rests a while then.
 */
int accept_or_rest(int listener);

/* Has the loop look after the clients of the framed doors; again does nothing. False: it can't. */
bool look_after_clients();

/* Listens on an abstract name, and has the loop call the handler, without data. */
bool open_door(const char *name, eloop_sock_handler handler);

/* Takes the next client of a listener in, and serves it if its request is there already. */
void take_client(int listener, const Door &door);

/* Tells those who await it that it comes; once, unless they await the next, too. */
void tell_clients_of(Awaited what);

/*
 * For the daemon's end: who has not taken its reply has a second more, all together; then every
 * client is closed.
 */
void end_clients();

} // namespace vorn
