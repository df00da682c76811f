/* SPDX-License-Identifier: MIT */
#pragma once

#include <functional>
#include <memory>

namespace vorn::fleet {

/*
 * A thread for what waits. A job is done there, one after the other; what it answers is to be
 * called by whoever owns the worker, when the descriptor is ready. Neither may throw.
 */
class Worker {
public:
    using Then = std::function<void()>;
    using Job = std::function<Then()>;

    Worker();
    /* Does not wait for a job that is under way; what it answers is dropped. */
    ~Worker();
    Worker(const Worker &) = delete;
    Worker &operator=(const Worker &) = delete;

    void give(Job job);
    /* Ready to be read when there is something to finish. */
    int descriptor() const;
    void finish();

private:
    struct Room; /* outlives the worker, with its thread */
    static void *serve(void *room);

    std::shared_ptr<Room> room_;
};

} // namespace vorn::fleet
