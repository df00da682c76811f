/* SPDX-License-Identifier: MIT */
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "agent/link.h"
#include "agent/protocol/agent.h"
#include "simulated_daemon.h"

namespace vorn::fleet {

class SimulatedDevice;

/* What the devices of one process share. */
class Street {
public:
    virtual ~Street() = default;

    virtual Time now() const = 0;
    /* Done soon, unless the device's agent has been killed by then. */
    virtual void later(SimulatedDevice &device, std::function<void()> job) = 0;
    virtual void count_dial() = 0;
    virtual void count_connection() = 0;
    /* True when the message is not for the agent: it is only measured how long such take. */
    virtual bool measures(SimulatedDevice &device, const Message &message) = 0;
    /* The same of an acknowledgement. */
    virtual bool measures(SimulatedDevice &device, unsigned token) = 0;
    virtual std::uint32_t chance() = 0;
};

/* The agent as it is, with its connection, in front of a daemon that is none. */
class SimulatedDevice : public Outside {
public:
    SimulatedDevice(Street &street, const Settings &shared, const Broker &broker,
                    const std::string &name);

    void start();
    /* With whether its descriptor was ready. */
    void serve(bool has_heard);
    std::int64_t wake_at() const;
    /* What to wait for; none when the device is cut off. */
    void add_descriptors(std::vector<pollfd> &descriptors) const;

    /* By SIGKILL; each comes back by itself. */
    void kill_agent();
    void kill_daemon();

    bool is_connected() const { return agent_ && agent_->is_connected(); }
    std::string topic(const char *leaf) const
    {
        return "v1/" + settings_.identity.tenant + '/' + settings_.identity.device + '/' + leaf;
    }
    const SimulatedDaemon &daemon() const { return daemon_; }
    unsigned life() const { return life_; }
    /* Whoever watched its descriptor has to begin anew. */
    unsigned links() const { return links_; }
    bool lives() const { return agent_ != nullptr; }

    void connect() override;
    void disconnect() override;
    void subscribe(const std::string &topic) override;
    void publish(const Publication &publication) override;
    void look(std::shared_ptr<const Desired> document) override;
    void apply(std::shared_ptr<const Desired> document) override;
    void confirm(const std::string &trial_id) override;
    void revert(const std::string &trial_id) override;
    void ask(const std::string &lsql) override;
    Note read_note() override { return note_; }
    bool write_note(const Note &note) override;
    std::uint32_t chance() override { return street_.chance(); }

private:
    void make_agent();
    void make_link();
    void answer_look(const std::shared_ptr<const Desired> &document);

    Street &street_;
    Settings settings_;
    LinkOptions link_options_;
    SimulatedDaemon daemon_;
    Note note_; /* on the disk, as the configuration is */
    unsigned life_ = 0;
    unsigned links_ = 0;
    std::int64_t agent_back_ms_ = never;
    std::int64_t daemon_back_ms_ = never;
    std::unique_ptr<Agent> agent_;
    std::unique_ptr<Link> link_;
    /* Asked while there was no daemon; the agent's real one waits for it, too. */
    std::function<void()> waiting_look_;
};

} // namespace vorn::fleet
