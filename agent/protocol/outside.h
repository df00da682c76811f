/* SPDX-License-Identifier: MIT */
#pragma once

#include <cstdint>
#include <limits>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "document.h"
#include "reason.h"

namespace vorn::fleet {

constexpr std::int64_t ms_of_s = 1000;
constexpr std::int64_t never = std::numeric_limits<std::int64_t>::max();

/* When something happens. */
struct Time {
    std::int64_t ms;   /* of a clock that nobody sets, from any start on */
    std::int64_t wall; /* seconds since 1970, as the device believes */
};

/* What came from the broker. */
struct Message {
    std::string_view topic;
    std::string_view payload;
    std::string_view response_topic; /* empty for none, as the next */
    std::string_view correlation;
};

struct Publication {
    unsigned token = 0; /* comes back when it is acknowledged */
    std::string topic;
    std::string payload;
    std::string correlation; /* empty for none */
    bool is_retained = false;
    std::uint32_t expires_after = 0; /* seconds; 0 for never */
};

/* How one instance differs from what the document in force says. */
struct Difference {
    std::string class_name;
    std::string name;
    std::string property; /* empty for the instance itself */
    std::string wanted;
    std::string found;

    bool operator==(const Difference &) const = default;
};

/* The device, as its daemon tells. */
struct View {
    std::int64_t generation = 0; /* what runs, on trial or not; 0 for none */
    std::string digest;          /* of its document */
    enum class Trial : std::uint8_t { none, ours, others } trial = Trial::none;
    std::string trial_id;
    std::string commit;
    std::string schema;
    std::map<std::string, std::string> versions;
    std::map<std::string, std::string> labels; /* what the device is among the others */
    std::vector<std::string> problems;         /* none for a healthy device */
    /* The next three are empty unless a document was given to look at. */
    std::string hash;         /* of what is in force of what the document is about */
    std::string desired_hash; /* of what it says, with what is secret as it is shown */
    std::vector<Difference> differences;

    bool operator==(const View &) const = default;
};

struct Applied {
    Refusal refusal;
    std::string trial_id; /* when there is no refusal */
};

/* What is written down before a document is tried, in case nobody is there to tell afterwards. */
struct Note {
    std::int64_t generation = 0;
    std::int64_t attempts = 0;
    Reason ended = Reason::interrupted; /* how the last attempt did, if not well */
};

/* What an agent can ask for. Each question is answered once, by a call of the agent, later. */
class Outside {
public:
    virtual ~Outside() = default;

    /* Answered by connected or disconnected; the will and the identity are the outside's. */
    virtual void connect() = 0;
    /* With the will, which the broker holds back for a while. Answered by disconnected. */
    virtual void disconnect() = 0;
    virtual void subscribe(const std::string &topic) = 0;
    /* At QoS 1. Lost with the connection. */
    virtual void publish(const Publication &publication) = 0;

    /* Answered by looked, as soon as the daemon answers; the document may be null. */
    virtual void look(std::shared_ptr<const Desired> document) = 0;
    /* One transaction, on trial: what the document says, its number, its digest. By applied. */
    virtual void apply(std::shared_ptr<const Desired> document) = 0;
    virtual void confirm(const std::string &trial_id) = 0;
    virtual void revert(const std::string &trial_id) = 0;
    /* By answered. */
    virtual void ask(const std::string &lsql) = 0;
    /* By states_read. A device that has no values to watch need not answer. */
    virtual void read(const std::vector<Selection> &) {}

    virtual Note read_note() = 0;
    /* False when it may be lost by a loss of power. */
    virtual bool write_note(const Note &note) = 0;
    virtual std::uint32_t chance() = 0;
};

} // namespace vorn::fleet
