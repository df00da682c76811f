/* SPDX-License-Identifier: MIT */
#pragma once

#include <cstdint>
#include <memory>

#include <vorn-client.h>

namespace vorn::fleet {

/*
 * Hears from the daemon that something has changed, so that nobody has to look. Who is not heard
 * (there is no daemon, or others are its subscribers) takes it that something has, at times.
 */
class Notices {
public:
    Notices();

    /* To be read from; -1 while there is nothing to hear. */
    int descriptor() const { return vorn_client_get_descriptor(client_.get()); }
    std::int64_t wake_at() const;
    /* After the wait: whether something may have changed. */
    bool serve(std::int64_t now_ms);

private:
    struct Delete {
        void operator()(vorn_client *client) const { vorn_client_delete(client); }
    };

    bool take_all();

    std::unique_ptr<vorn_client, Delete> client_;
    std::int64_t subscribed_at_ = 0;
    std::int64_t subscribe_at_ = 0; /* while there is no subscription */
};

} // namespace vorn::fleet
