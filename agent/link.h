/* SPDX-License-Identifier: MIT */
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <mosquitto.h>

#include "protocol/document.h"
#include "protocol/outside.h"
#include "worker.h"

struct pollfd;

namespace vorn::fleet {

/* How the broker is reached. */
struct Broker {
    std::string host;
    int port;
};
struct LinkOptions {
    std::vector<Broker> brokers; /* in turn */
    Identity identity;
    bool is_encrypted = true;
    std::string authorities; /* a file; the system's where it is empty */
    std::string certificate; /* files of the device's own; may be empty */
    std::string key;
};

/* What a link tells. */
struct LinkEvents {
    std::function<void()> connected;
    std::function<void(const std::string &why)> disconnected;
    std::function<void(unsigned token)> acknowledged;
    std::function<void(const Message &message)> received;
};

/*
 * One connection to the broker at a time, with a client of libmosquitto for each: nothing that was
 * published on one is sent again on the next.
 */
class Link {
public:
    Link(const LinkOptions &options, LinkEvents events);

    void connect(std::int64_t now_ms);
    /* With the will. */
    void disconnect(std::int64_t now_ms);
    void subscribe(const std::string &topic);
    /* Whoever does not acknowledge what he is given loses the connection in the end. */
    void publish(const Publication &publication);

    /* What to wait for, at most two; and until when. */
    void add_descriptors(std::vector<pollfd> &descriptors) const;
    std::int64_t wake_at() const;
    /* After the wait, with whether a descriptor was ready. */
    void serve(std::int64_t now_ms, bool has_heard);

private:
    using Handle = std::shared_ptr<mosquitto>;
    enum class State : std::uint8_t { idle, dialling, opening, open, closing };

    Handle make_handle();
    void give_up(const std::string &why);
    void keep_alive(std::int64_t now_ms, bool has_heard);
    void read_all();
    std::int64_t until_ping_ms() const;
    void on_connect(int reason, const mosquitto_property *properties);
    void on_message(const mosquitto_message &message, const mosquitto_property *properties);

    const LinkOptions &options_;
    LinkEvents events_;
    State state_ = State::idle;
    std::size_t next_broker_ = 0;
    std::int64_t deadline_ms_ = never; /* of what is under way */
    std::int64_t next_misc_ms_ = never;
    int keep_alive_s_ = 0; /* what holds for this connection */
    bool is_pinging_ = false;
    std::unique_ptr<Worker> dialler_;
    Handle handle_;
    std::vector<std::pair<int, unsigned>> sent_; /* libmosquitto's number, ours */
    std::string failure_;                        /* that a callback has noticed */
};

} // namespace vorn::fleet
