/* SPDX-License-Identifier: MIT */
#pragma once

#include <memory>
#include <string>

#include "device/daemon.h"
#include "device/notices.h"
#include "link.h"
#include "protocol/agent.h"
#include "worker.h"

namespace vorn::fleet {

struct HomeOptions {
    Settings settings;
    LinkOptions link;
    std::string note;   /* a path */
    std::string status; /* a path; empty for nobody who reads it */
};

/* An agent with the daemon and the broker of a real device. */
class Home : public Outside {
public:
    explicit Home(const HomeOptions &options);

    /* Until the descriptor is ready, then the broker gets the will. */
    void run(int stop);

    void connect() override;
    void disconnect() override;
    void subscribe(const std::string &topic) override { link_.subscribe(topic); }
    void publish(const Publication &publication) override { link_.publish(publication); }
    void look(std::shared_ptr<const Desired> document) override;
    void apply(std::shared_ptr<const Desired> document) override;
    void confirm(const std::string &trial_id) override;
    void revert(const std::string &trial_id) override;
    void ask(const std::string &lsql) override;
    void read(const std::vector<Selection> &what) override;
    Note read_note() override;
    bool write_note(const Note &note) override;
    std::uint32_t chance() override;

private:
    void tell_status();

    const HomeOptions &options_;
    std::shared_ptr<Daemon> daemon_; /* the worker's */
    Notices notices_;
    Worker worker_;
    Link link_;
    Agent agent_;
    std::string link_failure_;
    std::string told_;
    std::int64_t connected_since_ = 0; /* of the wall clock; 0 while there is no connection */
};

} // namespace vorn::fleet
