/* SPDX-License-Identifier: MIT */
#pragma once

#include <atomic>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "inbox.h"
#include "router.h"

namespace vorn::gate {

/*
 * Looks at the device for those who listen to events, each user with his own rights: when the
 * daemon tells of a change, and each second whether there was one that it did not tell.
 */
class Watcher {
public:
    Watcher(House &house, Inbox &inbox) : house_(house), inbox_(inbox) {}

    /* In a thread of its own, until stop is set. */
    void run(const std::atomic<bool> &stop);
    /* Who listens now. */
    void set_users(std::set<std::string> users);

private:
    struct Seen {
        long long number = -1; /* of the last commit; below 0 before the first look */
        std::string trial;
        std::vector<State> states;
    };

    void wait_for_change();
    void look(client::Device &device);
    void look_for(client::Device &device, const std::string &user, Seen &seen, bool is_anew);

    House &house_;
    Inbox &inbox_;
    std::mutex mutex_;
    std::set<std::string> users_;
    std::map<std::string, Seen> seen_;
    std::string epoch_;
    std::string commit_;
    bool was_notified_ = false;
    std::int64_t next_states_ = 0;
    std::unique_ptr<vorn_client, decltype(&vorn_client_delete)> notices_ = {nullptr,
                                                                            &vorn_client_delete};
};

} // namespace vorn::gate
