/* SPDX-License-Identifier: MIT */
#pragma once

#include <atomic>
#include <memory>

#include "bounds.h"

namespace vorn::gate {

/* Counts streams, those that are just being made included. */
class Tickets {
public:
    class Ticket {
    public:
        explicit Ticket(std::atomic<std::size_t> &count) : count_(count), others_(count++) {}
        ~Ticket() { count_--; }
        Ticket(const Ticket &) = delete;
        Ticket &operator=(const Ticket &) = delete;

        std::size_t others() const { return others_; }

    private:
        std::atomic<std::size_t> &count_;
        std::size_t others_; /* that were there when it came */
    };

    /* Null when there are too many. Whoever holds it has a stream. */
    std::unique_ptr<Ticket> enter()
    {
        auto ticket = std::make_unique<Ticket>(count_);
        return ticket->others() < most_streams ? std::move(ticket) : nullptr;
    }

private:
    std::atomic<std::size_t> count_ = 0;
};

} // namespace vorn::gate
