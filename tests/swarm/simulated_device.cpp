/* SPDX-License-Identifier: MIT */
/*
 * A device that is cut off has a connection nonetheless, on which nothing goes back and forth: as
 * with a wrong gateway, it may be used again when the change has been taken back.
 */
#include "simulated_device.h"

#include <algorithm>
#include <utility>

#include <poll.h>

namespace vorn::fleet {

namespace {

constexpr std::int64_t agent_start_ms = 1000; /* its supervision's pause */
constexpr std::int64_t daemon_start_ms = 2000;

} // namespace

SimulatedDevice::SimulatedDevice(Street &street, const Settings &shared, const Broker &broker,
                                 const std::string &name)
    : street_(street), settings_(shared)
{
    settings_.identity.device = name;
    link_options_.brokers = {broker};
    link_options_.identity = settings_.identity;
    link_options_.is_encrypted = false;
}

void SimulatedDevice::make_link()
{
    link_ = std::make_unique<Link>(
        link_options_,
        LinkEvents{[this] {
                       street_.count_connection();
                       agent_->connected(street_.now());
                   },
                   [this](const std::string &) { agent_->disconnected(street_.now()); },
                   [this](unsigned token) {
                       if (!street_.measures(*this, token))
                           agent_->acknowledged(token, street_.now());
                   },
                   [this](const Message &message) {
                       if (!street_.measures(*this, message))
                           agent_->received(message, street_.now());
                   }});
}

void SimulatedDevice::make_agent()
{
    make_link();
    agent_ = std::make_unique<Agent>(settings_, *this);
    agent_->start(street_.now());
}

void SimulatedDevice::start()
{
    make_agent();
}

void SimulatedDevice::serve(bool has_heard)
{
    const std::int64_t now = street_.now().ms;
    if (daemon_.wake(now) && agent_) agent_->changed(street_.now());
    if (now >= daemon_back_ms_) {
        daemon_back_ms_ = never;
        daemon_.start();
        if (agent_) agent_->changed(street_.now());
        if (waiting_look_ && agent_) street_.later(*this, std::exchange(waiting_look_, nullptr));
    }
    if (now >= agent_back_ms_) {
        agent_back_ms_ = never;
        make_agent();
    }
    if (!agent_) return;
    if (!daemon_.is_cut_off()) link_->serve(now, has_heard);
    if (now >= agent_->wake_at()) agent_->wake(street_.now());
}

std::int64_t SimulatedDevice::wake_at() const
{
    const std::int64_t own = std::min({daemon_.wake_at(), agent_back_ms_, daemon_back_ms_});
    if (!agent_) return own;
    return std::min({own, agent_->wake_at(), daemon_.is_cut_off() ? never : link_->wake_at()});
}

void SimulatedDevice::add_descriptors(std::vector<pollfd> &descriptors) const
{
    if (link_ && !daemon_.is_cut_off()) link_->add_descriptors(descriptors);
}

void SimulatedDevice::kill_agent()
{
    if (!agent_) return;
    life_++;
    links_++;
    waiting_look_ = nullptr;
    agent_.reset();
    link_.reset();
    agent_back_ms_ = street_.now().ms + agent_start_ms;
}

void SimulatedDevice::kill_daemon()
{
    daemon_.kill();
    daemon_back_ms_ = street_.now().ms + daemon_start_ms;
}

void SimulatedDevice::connect()
{
    street_.count_dial();
    links_++;
    if (!daemon_.is_cut_off()) {
        link_->connect(street_.now().ms);
        return;
    }
    street_.later(*this, [this] { agent_->disconnected(street_.now()); });
}

void SimulatedDevice::disconnect()
{
    if (!daemon_.is_cut_off()) {
        link_->disconnect(street_.now().ms);
        return;
    }
    make_link();
    street_.later(*this, [this] { agent_->disconnected(street_.now()); });
}

void SimulatedDevice::subscribe(const std::string &topic)
{
    if (!daemon_.is_cut_off()) link_->subscribe(topic);
}

void SimulatedDevice::publish(const Publication &publication)
{
    if (!daemon_.is_cut_off()) link_->publish(publication);
}

void SimulatedDevice::answer_look(const std::shared_ptr<const Desired> &document)
{
    if (daemon_.is_alive()) {
        agent_->looked(daemon_.look(document), street_.now());
        return;
    }
    waiting_look_ = [this, document] { answer_look(document); };
}

void SimulatedDevice::look(std::shared_ptr<const Desired> document)
{
    street_.later(*this, [this, document] { answer_look(document); });
}

void SimulatedDevice::apply(std::shared_ptr<const Desired> document)
{
    street_.later(*this, [this, document] {
        agent_->applied(daemon_.apply(document, street_.now().ms), street_.now());
        agent_->changed(street_.now());
    });
}

void SimulatedDevice::confirm(const std::string &trial_id)
{
    street_.later(
        *this, [this, trial_id] { agent_->confirmed(daemon_.confirm(trial_id), street_.now()); });
}

void SimulatedDevice::revert(const std::string &trial_id)
{
    street_.later(*this, [this, trial_id] {
        daemon_.revert(trial_id);
        agent_->reverted(street_.now());
    });
}

void SimulatedDevice::ask(const std::string &lsql)
{
    street_.later(*this, [this, lsql] {
        const std::string reply = "<lsql_result><asked>" + std::to_string(lsql.size()) +
                                  "</asked><rc>0</rc></lsql_result>";
        agent_->answered({}, reply, street_.now());
    });
}

bool SimulatedDevice::write_note(const Note &note)
{
    note_ = note;
    return true;
}

} // namespace vorn::fleet
