/* SPDX-License-Identifier: MIT */
#include "worker.h"

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <utility>

#include <pthread.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace vorn::fleet {

namespace {

constexpr std::size_t stack_size = 256 * 1024; /* instead of what is meant for large machines */

} // namespace

struct Worker::Room {
    std::mutex mutex;
    std::condition_variable wake;
    std::deque<Job> jobs;
    std::deque<Then> done;
    bool is_over = false;
    int descriptor = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);

    ~Room() { close(descriptor); }

    /* None when there will be no more. */
    Job next()
    {
        std::unique_lock lock(mutex);
        wake.wait(lock, [&] { return is_over || !jobs.empty(); });
        if (is_over) return nullptr;
        Job job = std::move(jobs.front());
        jobs.pop_front();
        return job;
    }

    void put(Then then)
    {
        const std::uint64_t one = 1;
        {
            const std::lock_guard lock(mutex);
            done.push_back(std::move(then));
        }
        [[maybe_unused]] const ssize_t written = write(descriptor, &one, sizeof one);
    }
};

void *Worker::serve(void *data)
{
    const std::unique_ptr<std::shared_ptr<Room>> room(static_cast<std::shared_ptr<Room> *>(data));
    while (const Job job = (*room)->next())
        (*room)->put(job());
    return nullptr;
}

Worker::Worker() : room_(std::make_shared<Room>())
{
    pthread_t thread;
    pthread_attr_t attributes;
    auto room = std::make_unique<std::shared_ptr<Room>>(room_);
    pthread_attr_init(&attributes);
    pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    pthread_attr_setstacksize(&attributes, stack_size);
    if (pthread_create(&thread, &attributes, serve, room.get()) == 0) room.release();
    pthread_attr_destroy(&attributes);
}

Worker::~Worker()
{
    {
        const std::lock_guard lock(room_->mutex);
        room_->is_over = true;
    }
    room_->wake.notify_one();
}

void Worker::give(Job job)
{
    {
        const std::lock_guard lock(room_->mutex);
        room_->jobs.push_back(std::move(job));
    }
    room_->wake.notify_one();
}

int Worker::descriptor() const
{
    return room_->descriptor;
}

void Worker::finish()
{
    std::uint64_t count = 0;
    [[maybe_unused]] const ssize_t got = read(room_->descriptor, &count, sizeof count);
    std::deque<Then> done;
    {
        const std::lock_guard lock(room_->mutex);
        done.swap(room_->done);
    }
    for (const Then &each : done)
        each();
}

} // namespace vorn::fleet
