/* SPDX-License-Identifier: MIT */
#include "inbox.h"

#include <cstdint>

namespace vorn::gate {

bool Queue::put(Owned &connection)
{
    const std::lock_guard lock(mutex_);
    if (connections_.size() >= most_) return false;
    connections_.push_back(std::move(connection));
    filled_.notify_one();
    return true;
}

Owned Queue::take()
{
    std::unique_lock lock(mutex_);
    filled_.wait(lock, [this] { return !connections_.empty(); });
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
