/* SPDX-License-Identifier: MIT */
#pragma once

#include "vorn/peer.h"

#include <cstdint>

struct vorn_peer {
    static constexpr unsigned int longest_user = 32;
    static constexpr unsigned int longest_program = 15;

    int descriptor;
    mutable bool is_known;
    mutable std::uint32_t uid;
    mutable std::uint32_t gid;
    mutable std::int32_t pid;
    mutable char user[longest_user + 1];       /* empty until it is looked up */
    mutable char program[longest_program + 1]; /* the same */
};

namespace vorn {

/* While it lives, what is done is done for who is at the other end of the descriptor. */
class PeerOfRequest {
public:
    explicit PeerOfRequest(int descriptor);
    PeerOfRequest(const PeerOfRequest &) = delete;
    ~PeerOfRequest();

private:
    vorn_peer peer_;
    const vorn_peer *outer_;
};

} // namespace vorn
