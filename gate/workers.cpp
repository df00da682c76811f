/* SPDX-License-Identifier: MIT */
/*
 * Those who answer requests. The web server makes a connection for each and writes the whole
 * request at once, so that a thread accepts, reads, asks the daemon, answers and closes without
 * anybody else; what did not come whole is for the loop.
 */
#include "workers.h"

#include <cerrno>
#include <thread>

#include <poll.h>
#include <sys/epoll.h>
#include <sys/socket.h>

#include "scgi.h"

namespace vorn::gate {

namespace {

constexpr std::size_t number_of_workers = 3;
constexpr int daemon_patience_ms = 30000;
constexpr int first_words_ms = 10;

/* Who has just connected writes in the next moment. */
bool receive_at_once(Connection &connection)
{
    const ssize_t count = connection.receive();
    if (count >= 0 || errno != EAGAIN) return count > 0;
    pollfd one = {connection.descriptor, POLLIN, 0};
    return poll(&one, 1, first_words_ms) > 0 && connection.receive() > 0;
}

class Worker {
public:
    Worker(Office &office, Queue &queue, bool accepts);
    ~Worker()
    {
        if (poll_ >= 0) close(poll_);
    }
    Worker(const Worker &) = delete;
    Worker &operator=(const Worker &) = delete;

    [[noreturn]] void run();

private:
    void watch(int descriptor) const;
    Owned accept_one();
    void wait();
    void answer(Owned connection);

    Office &office_;
    Queue &queue_;
    bool accepts_;
    int poll_;
    client::Device device_;
};

Worker::Worker(Office &office, Queue &queue, bool accepts)
    : office_(office),
      queue_(queue),
      accepts_(accepts),
      poll_(epoll_create1(EPOLL_CLOEXEC)),
      device_(daemon_patience_ms)
{
    watch(queue.bell());
    if (accepts) watch(office.listener);
}

/* One of those who wait is woken, not all. */
void Worker::watch(int descriptor) const
{
    epoll_event event = {};
    event.events = EPOLLIN | EPOLLEXCLUSIVE;
    event.data.fd = descriptor;
    epoll_ctl(poll_, EPOLL_CTL_ADD, descriptor, &event);
}

/* Null when nobody comes, or when what came is for others. */
Owned Worker::accept_one()
{
    const int descriptor =
        accept4(office_.listener, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
    if (descriptor < 0) {
        wait();
        return nullptr;
    }
    auto connection = std::make_unique<Connection>(descriptor);
    if (!receive_at_once(*connection) ||
        read_scgi(connection->received, connection->request) != Arrival::complete) {
        office_.inbox.give(std::move(connection));
        return nullptr;
    }
    if (!is_login(connection->request)) return connection;
    hand_over(office_, std::move(connection));
    return nullptr;
}

void Worker::wait()
{
    epoll_event event = {};
    if (accepts_) office_.idle++;
    const bool is_woken = epoll_wait(poll_, &event, 1, -1) > 0;
    if (accepts_) office_.idle--;
    if (is_woken && event.data.fd == queue_.bell()) queue_.hear();
}

/* What is not sent at once goes to the loop. */
void Worker::answer(Owned connection)
{
    connection->received = {};
    Served served = serve(office_.house, device_, connection->request);
    connection->request = {};
    connection->is_stream = served.stream.has_value();
    connection->ends = !connection->is_stream;
    if (connection->is_stream) connection->stream = std::move(*served.stream);
    office_.answered++;
    const std::string bytes =
        connection->is_stream ? head_of_stream(served.answer) : bytes_of(served.answer);
    if (!connection->send(bytes)) return;
    if (connection->is_stream || !connection->unsent.empty())
        office_.inbox.give(std::move(connection));
}

void Worker::run()
{
    for (;;) {
        Owned connection = queue_.take();
        if (!connection && accepts_) {
            connection = accept_one();
        } else if (!connection) {
            wait();
        }
        if (connection) answer(std::move(connection));
    }
}

} // namespace

void hand_over(Office &office, Owned connection)
{
    const bool is_for_login = is_login(connection->request);
    connection->received = {};
    if ((is_for_login ? office.logins : office.requests).put(connection)) return;
    const Problem problem =
        is_for_login
            ? Problem{429, "paused", "Too many log in at once.", {}, {{"Retry-After", "5"}}}
            : Problem{503, "busy", "Too many requests at once.", {}, {{"Retry-After", "1"}}};
    connection->send(bytes_of(answer_of(problem)));
}

/* They may wait for the daemon when the process ends, which waits for none of them. */
void start_workers(Office &office)
{
    for (std::size_t i = 0; i < number_of_workers; i++)
        std::thread([&office] { Worker(office, office.requests, true).run(); }).detach();
    std::thread([&office] { Worker(office, office.logins, false).run(); }).detach();
}

} // namespace vorn::gate
