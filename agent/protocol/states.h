/* SPDX-License-Identifier: MIT */
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "content.h"

namespace vorn::fleet {

/* Some of the values that a class tells; all of them where no property is named. */
struct Selection {
    std::string class_name;
    std::set<std::string> properties;

    bool operator==(const Selection &) const = default;

    /* "CLASS" or "CLASS.PROPERTY"; nothing for what is neither. */
    static std::optional<Selection> of(std::string_view word);
};

/* Whose values are told, how often, and until when. */
struct Watch {
    std::vector<Selection> what;
    std::int64_t every_s = 0;
    std::int64_t until = 0; /* seconds since 1970; 0 for always */
};

/* What the device shows of a class. */
struct Shown {
    std::string class_name;
    std::vector<Item> items;
};

/*
 * Which values are told of those that change: only what somebody watches, only what differs from
 * what was told before, and never more than what the bounds let through.
 */
class States {
public:
    explicit States(const Watch &always);

    /* False when more classes would be watched than may be. */
    bool add(const Watch &watch, std::int64_t now_ms, std::int64_t wall);
    /* Nobody has heard anything yet: all is to be told again. */
    void begin_anew(std::int64_t now_ms);

    /* When values are to be read; never while nobody watches. */
    std::int64_t wake_at() const;
    /* Which; their next time is counted from now. */
    std::vector<Selection> due(std::int64_t now_ms, std::int64_t wall);

    struct Message {
        std::string class_name;
        std::string payload;
    };
    /* What of it is to be told: at most one message for each class. */
    std::vector<Message> differences(const std::vector<Shown> &shown, std::int64_t wall);

private:
    using Values = std::map<std::string, std::string>;
    /* One class that is watched, for whomever. */
    struct Told {
        std::int64_t every_ms = 0;
        std::int64_t read_ms = -1000; /* when it was, or was to be */
        std::int64_t next_ms = 0;
        std::int64_t sequence = 0; /* of the last message; 0 when all is to be told */
        std::size_t size = 0;      /* of what is kept */
        std::map<std::string, Values> instances;
        std::string digest; /* of all, where instances can't be told from each other */

        void forget(std::int64_t now_ms);
    };
    struct Writer;

    static bool renew(Told &told, const Shown &shown, Writer &writer);
    void drop_ended(std::int64_t now_ms, std::int64_t wall);
    void merge(std::int64_t now_ms);
    std::size_t kept() const;
    void compare(Told &told, const std::vector<Item> &items, Writer &writer);

    std::vector<Watch> watches_;
    std::map<std::string, Told> told_;
};

} // namespace vorn::fleet
