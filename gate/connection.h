/* SPDX-License-Identifier: MIT */
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include <unistd.h>

#include "events.h"
#include "request.h"

namespace vorn::gate {

/* One connection of the web server: a request, then its answer or a stream. */
struct Connection {
    explicit Connection(int accepted) : descriptor(accepted) {}
    ~Connection() { close(descriptor); }
    Connection(const Connection &) = delete;
    Connection &operator=(const Connection &) = delete;

    /* Adds a piece of what has come: how many bytes, 0 at the end, below 0 with errno set. */
    ssize_t receive();
    /* Sends what the system takes at once and keeps the rest. False when it is broken. */
    bool send(std::string_view bytes);
    bool send_rest();

    int descriptor;
    std::int64_t began = 0;
    bool is_stream = false;
    bool ends = false;   /* once all is sent */
    bool drains = false; /* and the other side has written all that it wants */
    bool is_watched_for_room = false;
    StreamStart stream = {};
    Request request = {};
    std::string received = {};
    std::string unsent = {};
};

using Owned = std::unique_ptr<Connection>;

} // namespace vorn::gate
