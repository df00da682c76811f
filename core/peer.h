/* SPDX-License-Identifier: MIT */
#pragma once

#include "core/announce.h"
#include "vorn/peer.h"

#include <cstdint>

namespace vorn {

/* Who connected. It does not change while a connection lasts, so that the kernel is asked once. */
struct PeerCredentials {
    bool are_known = false;
    std::uint32_t uid = 0;
    std::uint32_t gid = 0;
    std::int32_t pid = 0;
};

} // namespace vorn

struct vorn_peer {
    static constexpr unsigned int longest_user = 32;
    static constexpr unsigned int longest_program = 15;
    static constexpr unsigned int longest_for_user = 64;

    int descriptor;
    vorn::PeerCredentials *credentials;
    mutable char program[longest_program + 1]; /* empty until it is looked up */
    const char *for_user;                      /* the request's; null when it says none */
    bool asks;                                 /* with a request of its own, that comes next */
    bool stays;                                /* so that it can be told something later */
    mutable vorn::Awaited awaits;              /* what it shall be told of */
};

namespace vorn {

/* The name that the system has for a user, or the number; good until the next call. */
const char *user_name(std::uint32_t uid);
/* The same, or for whom the user spoke, which may be the empty text. */
const char *user_name(std::uint32_t uid, const char *for_user);

/*
 * As vorn_peer_get_groups(); -1 where the kernel doesn't tell, which is not the same as having
 * none.
 */
int known_groups(const vorn_peer *peer, std::uint32_t *groups, unsigned int most);

/*
 * While it lives, what is done is done for who is at the other end of the descriptor. What is found
 * out of him is kept for his next request where there is room for it.
 */
class PeerOfRequest {
public:
    explicit PeerOfRequest(int descriptor, PeerCredentials *kept = nullptr);
    PeerOfRequest(const PeerOfRequest &) = delete;
    ~PeerOfRequest();

    /* From here on the innermost peer speaks for that user; the text outlives the request. */
    static void speaks_for(const char *user);
    /*
     * The next request that is evaluated is the innermost peer's own. Those that come while it is
     * served are not; what they may is nobody's but the daemon's.
     */
    static void asks(bool stays = false);
    /* What the innermost peer is to be told of next. */
    static Awaited awaits();
    static const vorn_peer *take_asking();

private:
    vorn_peer peer_;
    PeerCredentials own_; /* without room for more than this request */
    vorn_peer *outer_;
};

} // namespace vorn
