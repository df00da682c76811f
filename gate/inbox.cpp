/* SPDX-License-Identifier: MIT */
#include "inbox.h"

#include <cstdint>

#include <sys/eventfd.h>

namespace vorn::gate {

Queue::Queue(std::size_t most)
    : most_(most), bell_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK | EFD_SEMAPHORE))
{}

Queue::~Queue()
{
    if (bell_ >= 0) close(bell_);
}

bool Queue::put(Owned &connection)
{
    {
        const std::lock_guard lock(mutex_);
        if (bell_ < 0 || connections_.size() >= most_) return false;
        connections_.push_back(std::move(connection));
    }
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = write(bell_, &one, sizeof one);
    return true;
}

void Queue::hear() const
{
    std::uint64_t one = 0;
    [[maybe_unused]] const ssize_t taken = read(bell_, &one, sizeof one);
}

Owned Queue::take()
{
    const std::lock_guard lock(mutex_);
    if (connections_.empty()) return nullptr;
    Owned connection = std::move(connections_.front());
    connections_.pop_front();
    return connection;
}

void Inbox::wake() const
{
    const std::uint64_t one = 1;
    /* A counter that is full has woken the loop already. */
    [[maybe_unused]] const ssize_t written = write(wake_, &one, sizeof one);
}

void Inbox::give(Owned connection)
{
    const std::lock_guard lock(mutex_);
    connections_.push_back(std::move(connection));
    wake();
}

void Inbox::give(News news)
{
    const std::lock_guard lock(mutex_);
    news_.push_back(std::move(news));
    wake();
}

void Inbox::take(std::vector<Owned> &connections, std::vector<News> &news)
{
    const std::lock_guard lock(mutex_);
    connections.swap(connections_);
    news.swap(news_);
}

} // namespace vorn::gate
