/* SPDX-License-Identifier: MIT */
#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "bounds.h"

namespace vorn::gate {

/* Counts streams, of each session or token and of all. */
class Tickets {
public:
    class Ticket {
    public:
        Ticket(Tickets &tickets, std::string key) : tickets_(tickets), key_(std::move(key)) {}
        ~Ticket() { tickets_.leave(key_); }
        Ticket(const Ticket &) = delete;
        Ticket &operator=(const Ticket &) = delete;

    private:
        Tickets &tickets_;
        std::string key_;
    };

    /* Null when there are too many. Whoever holds it has a stream. */
    std::unique_ptr<Ticket> enter(const std::string &key)
    {
        const std::lock_guard lock(mutex_);
        const auto found = counts_.find(key);
        if (all_ >= most_streams ||
            (found != counts_.end() && found->second >= most_streams_of_one))
            return nullptr;
        counts_[key]++;
        all_++;
        return std::make_unique<Ticket>(*this, key);
    }

private:
    void leave(const std::string &key)
    {
        const std::lock_guard lock(mutex_);
        all_--;
        if (--counts_[key] == 0) counts_.erase(key);
    }

    std::mutex mutex_;
    std::map<std::string, std::size_t> counts_;
    std::size_t all_ = 0;
};

} // namespace vorn::gate
