/* SPDX-License-Identifier: MIT */
#ifndef VORN_PEER_H
#define VORN_PEER_H

#include "vorn/api.h"

#include <stdint.h>

/**
 * Who asked for what is being done: the process at the other end of the door that the request came
 * through, be it an LSQL request or an inform.
 *
 *     const vorn_peer *peer = vorn_query_get_peer();
 *     if (peer != NULL && vorn_peer_get_uid(peer) != 0)
 *         vorn_debug_printf("asked for by %s\n", vorn_peer_get_user(peer));
 *
 * User, group and process are what the kernel noted when the client connected, so that nobody can
 * lie about them. The program's name is what the process calls itself, and a process that has gone
 * has none. Nothing is looked up before it is asked for, and no memory is taken.
 *
 * Getters answer 0 or "" for a null peer.
 */

VORN_BEGIN

/** One end of a connection, which belongs to the daemon. */
typedef struct vorn_peer vorn_peer;

/**
 * The peer of the request that is being served. Null when nobody asked: in what the daemon does by
 * itself, as at a boot and in timers. What a provider requests while it serves somebody is asked
 * for by that one. The pointer, and every text of it, is gone when the request has been served.
 */
VORN_API const vorn_peer *vorn_query_get_peer(void);

/** The number of the user; 4294967295 when the system does not tell. */
VORN_API uint32_t vorn_peer_get_uid(const vorn_peer *peer);

/** The number of the user's group; 4294967295 when the system does not tell. */
VORN_API uint32_t vorn_peer_get_gid(const vorn_peer *peer);

/** The number of the process, as the daemon sees it; 0 when it doesn't. */
VORN_API int32_t vorn_peer_get_pid(const vorn_peer *peer);

/**
 * The name that /etc/passwd has for the user, cut at 32 bytes, or the number when it has none. A
 * byte that is no printable ASCII is shown as "?". When the peer speaks for somebody, "gate:" and
 * that name. Good until the next call, for whichever peer.
 */
VORN_API const char *vorn_peer_get_user(const vorn_peer *peer);

/**
 * For whom the peer speaks: the name that its request gave with for-user, which only root and the
 * user of the gate may; at most 64 letters, digits and "._@+-". "" when it speaks for itself. What
 * is root's alone is not done for such a peer, whoever it is.
 */
VORN_API const char *vorn_peer_get_for_user(const vorn_peer *peer);

/**
 * The name of the program, at most 15 bytes, as the process list has it; "" when it can't be read.
 * A byte that is no printable ASCII is shown as "?".
 */
VORN_API const char *vorn_peer_get_program(const vorn_peer *peer);

/**
 * Writes the numbers of the further groups of the user into an array of so many, and returns how
 * many there are. Of more than the array has room for none is written. 0 when the system does not
 * tell.
 */
VORN_API unsigned int vorn_peer_get_groups(const vorn_peer *peer, uint32_t *groups,
                                           unsigned int most);

VORN_END

#endif
