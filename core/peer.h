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
    mutable char program[longest_program + 1]; /* empty until it is looked up */
};

namespace vorn {

/* The name that the system has for a user, or the number; good until the next call. */
const char *user_name(std::uint32_t uid);

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
