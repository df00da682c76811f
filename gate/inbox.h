/* SPDX-License-Identifier: MIT */
#pragma once

#include <deque>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "connection.h"
#include "events.h"

namespace vorn::gate {

/* Connections whose request waits for a thread; a bell, which is a descriptor, rings for each. */
class Queue {
public:
    /* Without a bell nothing can be put. */
    explicit Queue(std::size_t most);
    ~Queue();
    Queue(const Queue &) = delete;
    Queue &operator=(const Queue &) = delete;

    /* False when there are too many; the connection stays with the caller. */
    bool put(Owned &connection);
    /* Null when there is none, as it may be although the bell rang. */
    Owned take();
    /* For whoever was woken by the bell, before he takes: it does not ring for that one any more.
     */
    void hear() const;

    int bell() const { return bell_; }

private:
    std::mutex mutex_;
    std::deque<Owned> connections_;
    std::size_t most_;
    int bell_;
};

/* What the watcher has seen for a user. */
struct News {
    std::string user;
    std::vector<Event> events;
    std::string trial; /* what stands for the trial that is told */
    bool is_anew;      /* another life of the daemon: what streams were told is void */
};

/* What the other threads have for the loop; a descriptor tells that there is something. */
class Inbox {
public:
    explicit Inbox(int wake) : wake_(wake) {}

    void give(Owned connection);
    void give(News news);
    void take(std::vector<Owned> &connections, std::vector<News> &news);

private:
    void wake() const;

    std::mutex mutex_;
    std::vector<Owned> connections_;
    std::vector<News> news_;
    int wake_;
};

} // namespace vorn::gate
