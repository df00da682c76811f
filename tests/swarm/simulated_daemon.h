/* SPDX-License-Identifier: MIT */
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "agent/protocol/outside.h"

namespace vorn::fleet {

/*
 * What stands for a device's daemon: a configuration that runs, one that is saved, and a trial
 * between the two. A configuration is the document that made it.
 *
 * It keeps the books of what an agent makes it do, by which a fleet is judged afterwards.
 */
class SimulatedDaemon {
public:
    using Document = std::shared_ptr<const Desired>;

    View look(const Document &document) const;
    Applied apply(const Document &document, std::int64_t now_ms);
    Refusal confirm(const std::string &trial_id);
    void revert(const std::string &trial_id);

    /* Ends a trial whose time is over; true if it did. */
    bool wake(std::int64_t now_ms);
    std::int64_t wake_at() const { return trial_end_ms_; }

    /* By SIGKILL: what was saved is what is there after the next start. */
    void kill();
    void start() { is_alive_ = true; }
    bool is_alive() const { return is_alive_; }

    /* What runs leaves the device without a way to its broker. */
    bool is_cut_off() const { return is_cut_off_; }
    std::int64_t saved_generation() const { return saved_ ? saved_->generation : 0; }

    struct Books {
        std::uint32_t applied = 0;
        std::uint32_t confirmed = 0;
        std::uint32_t taken_back = 0;
        /* Of a number that was not above the one before. */
        std::uint32_t out_of_order = 0;
    };
    const Books &books() const { return books_; }

private:
    void run(const Document &document);
    void take_back();

    Document running_; /* null for what a device comes with */
    Document saved_;
    std::int64_t trial_end_ms_ = never; /* also: nothing is on trial */
    std::uint32_t changes_ = 0;
    bool is_alive_ = true;
    bool is_cut_off_ = false;
    Books books_;
};

} // namespace vorn::fleet
