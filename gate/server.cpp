/* SPDX-License-Identifier: MIT */
/*
 * One loop reads requests and writes streams, and waits for nobody. A few threads ask the daemon,
 * one lets passwords be judged, one watches the device for events.
 */
#include "server.h"

#include <array>
#include <cerrno>
#include <map>
#include <thread>
#include <unordered_map>

#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

#include "bounds.h"
#include "inbox.h"
#include "scgi.h"
#include "watcher.h"

namespace vorn::gate {

namespace {

constexpr std::size_t number_of_workers = 3;
constexpr std::size_t most_logins = 8;
constexpr int daemon_patience_ms = 30000;
constexpr int tick_ms = 1000;
constexpr std::int64_t seconds_for_a_request = 10; /* and as long for its answer */
constexpr std::int64_t seconds_between_signs = 15;

/* Answers requests until the queue ends; what is not sent at once goes back to the loop. */
void work(House &house, Queue &queue, Inbox &inbox)
{
    client::Device device(daemon_patience_ms);
    for (;;) {
        Owned connection = queue.take();
        Served served = serve(house, device, connection->request);
        connection->request = {};
        connection->is_stream = served.stream.has_value();
        connection->ends = !connection->is_stream;
        if (connection->is_stream) connection->stream = std::move(*served.stream);
        const std::string bytes =
            connection->is_stream ? head_of_stream(served.answer) : bytes_of(served.answer);
        if (!connection->send(bytes)) continue;
        if (connection->is_stream || !connection->unsent.empty()) inbox.give(std::move(connection));
    }
}

class Loop {
public:
    Loop(House &house, int listener, int wake)
        : house_(house), listener_(listener), inbox_(wake), watcher_(house, inbox_), wake_(wake)
    {}
    ~Loop()
    {
        if (poll_ >= 0) close(poll_);
    }
    Loop(const Loop &) = delete;
    Loop &operator=(const Loop &) = delete;

    bool begin();
    void run(const std::atomic<bool> &stop);

private:
    bool watch(int descriptor, unsigned events, int how) const;
    void accept_all();
    void receive(Connection &connection);
    void dispatch(Connection &connection);
    void refuse(Connection &connection, const Problem &problem);
    void keep(Owned connection);
    void forget(Connection &connection);
    void after_sending(Connection &connection, bool is_sound);
    void take_inbox();
    void begin_stream(Owned connection);
    void tell(const News &news);
    void tell_stream(Connection &connection, const News &news);
    void tick();
    void count_streams();

    House &house_;
    int listener_;
    int poll_ = -1;
    Queue requests_{most_jobs};
    Queue logins_{most_logins};
    Inbox inbox_;
    Watcher watcher_;
    int wake_;
    std::unordered_map<int, Owned> connections_;
    std::map<std::string, News> recent_; /* the last news of each user who listens */
    bool have_streams_gone_ = false;
    std::int64_t next_sign_ = 0;
};

bool Loop::watch(int descriptor, unsigned events, int how) const
{
    epoll_event event = {};
    event.events = events;
    event.data.fd = descriptor;
    return epoll_ctl(poll_, how, descriptor, &event) == 0;
}

bool Loop::begin()
{
    poll_ = epoll_create1(EPOLL_CLOEXEC);
    return poll_ >= 0 && watch(listener_, EPOLLIN, EPOLL_CTL_ADD) &&
           watch(wake_, EPOLLIN, EPOLL_CTL_ADD);
}

void Loop::keep(Owned connection)
{
    const unsigned events = EPOLLRDHUP | (connection->unsent.empty() ? EPOLLIN : EPOLLOUT);
    connection->is_watched_for_room = !connection->unsent.empty();
    if (!watch(connection->descriptor, events, EPOLL_CTL_ADD)) return;
    const int descriptor = connection->descriptor;
    connections_[descriptor] = std::move(connection);
}

void Loop::forget(Connection &connection)
{
    have_streams_gone_ = have_streams_gone_ || connection.is_stream;
    connections_.erase(connection.descriptor);
}

/* A whole request mostly comes at once: it needs no watching then. */
void Loop::accept_all()
{
    for (;;) {
        const int descriptor = accept4(listener_, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
        if (descriptor < 0) return;
        auto connection = std::make_unique<Connection>(descriptor);
        connection->began = now_s();
        if (connections_.size() >= most_connections) {
            connection->send(bytes_of(answer_of(
                Problem{503, "busy", "Too many connections.", {}, {{"Retry-After", "1"}}})));
            continue;
        }
        Connection &kept = *connection;
        keep(std::move(connection));
        if (connections_.contains(descriptor)) receive(kept);
    }
}

void Loop::refuse(Connection &connection, const Problem &problem)
{
    connection.ends = true;
    after_sending(connection, connection.send(bytes_of(answer_of(problem))));
}

void Loop::after_sending(Connection &connection, bool is_sound)
{
    const bool is_done = connection.ends && connection.unsent.empty() && !connection.drains;
    if (!is_sound || is_done || (connection.is_stream && connection.unsent.size() > most_unsent)) {
        forget(connection);
        return;
    }
    const bool needs_room = !connection.unsent.empty();
    if (needs_room == connection.is_watched_for_room) return;
    connection.is_watched_for_room = needs_room;
    watch(connection.descriptor, EPOLLRDHUP | (needs_room ? EPOLLOUT : EPOLLIN), EPOLL_CTL_MOD);
}

void Loop::dispatch(Connection &connection)
{
    const int descriptor = connection.descriptor;
    const bool is_for_login = is_login(connection.request);
    connection.received = {};
    epoll_ctl(poll_, EPOLL_CTL_DEL, descriptor, nullptr);
    Owned owned = std::move(connections_[descriptor]);
    connections_.erase(descriptor);
    if ((is_for_login ? logins_ : requests_).put(owned)) return;
    const Problem problem =
        is_for_login
            ? Problem{429, "paused", "Too many log in at once.", {}, {{"Retry-After", "5"}}}
            : Problem{503, "busy", "Too many requests at once.", {}, {{"Retry-After", "1"}}};
    owned->send(bytes_of(answer_of(problem)));
}

void Loop::receive(Connection &connection)
{
    std::array<char, 16384> piece;
    for (;;) {
        const ssize_t count = recv(connection.descriptor, piece.data(), piece.size(), 0);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0 && errno == EAGAIN) return;
        if (count > 0 && connection.drains) continue;
        if (count <= 0 || connection.is_stream || connection.ends) return forget(connection);
        connection.received.append(piece.data(), static_cast<std::size_t>(count));
        switch (read_scgi(connection.received, connection.request)) {
        case Arrival::goes_on:
            continue;
        case Arrival::complete:
            return dispatch(connection);
        case Arrival::long_head:
            return refuse(connection,
                          {431, "header-too-large", "The headers are longer than 16 KiB."});
        case Arrival::long_body:
            /* Who is still writing reads no answer. */
            connection.drains = true;
            connection.received = {};
            return refuse(connection, {413, "too-large", "The body is longer than 1 MiB."});
        default:
            return forget(connection);
        }
    }
}

void Loop::begin_stream(Owned connection)
{
    Connection &kept = *connection;
    const int descriptor = connection->descriptor;
    keep(std::move(connection));
    count_streams();
    const auto recent = recent_.find(kept.stream.caller.user);
    if (connections_.contains(descriptor) && recent != recent_.end())
        tell_stream(kept, recent->second);
}

/* The watcher looks for those who listen, and for nobody else. */
void Loop::count_streams()
{
    std::set<std::string> users;
    for (const auto &[descriptor, each] : connections_)
        if (each->is_stream) users.insert(each->stream.caller.user);
    std::erase_if(recent_, [&](const auto &each) { return !users.contains(each.first); });
    watcher_.set_users(std::move(users));
}

void Loop::tell_stream(Connection &connection, const News &news)
{
    StreamStart &stream = connection.stream;
    std::string bytes;
    for (const Event &each : news.events) {
        if (each.kind == Event::Kind::change && each.number <= stream.number) continue;
        if (each.kind == Event::Kind::change) stream.number = each.number;
        if (each.kind == Event::Kind::trial && news.trial == stream.trial) continue;
        if (each.kind == Event::Kind::trial) stream.trial = news.trial;
        bytes += each.text;
    }
    if (!bytes.empty()) after_sending(connection, connection.send(bytes));
}

void Loop::tell(const News &news)
{
    std::vector<int> listeners;
    for (const auto &[descriptor, each] : connections_)
        if (each->is_stream && each->stream.caller.user == news.user)
            listeners.push_back(descriptor);
    for (const int each : listeners) {
        Connection &connection = *connections_[each];
        if (news.is_anew) connection.stream.number = 0;
        tell_stream(connection, news);
    }
    /* Who comes next was told the states of now; what he may have missed are commits. */
    News &recent = recent_[news.user];
    recent = news;
    std::erase_if(recent.events,
                  [](const Event &each) { return each.kind != Event::Kind::change; });
}

void Loop::take_inbox()
{
    std::uint64_t count = 0;
    [[maybe_unused]] const ssize_t taken = read(wake_, &count, sizeof count);
    std::vector<Owned> connections;
    std::vector<News> news;
    inbox_.take(connections, news);
    for (Owned &each : connections) {
        if (each->is_stream) {
            begin_stream(std::move(each));
        } else {
            each->began = now_s();
            keep(std::move(each));
        }
    }
    for (const News &each : news)
        tell(each);
}

/* A request that does not come, a session that is over, a sign of life for those who wait. */
void Loop::tick()
{
    const std::int64_t now = now_s();
    const bool is_sign_due = now >= next_sign_;
    if (is_sign_due) next_sign_ = now + seconds_between_signs;
    std::vector<int> all;
    for (const auto &[descriptor, each] : connections_)
        all.push_back(descriptor);
    for (const int each : all) {
        Connection &connection = *connections_[each];
        const std::string &session = connection.stream.caller.session;
        if (!connection.is_stream) {
            if (connection.began + seconds_for_a_request < now) forget(connection);
        } else if (!session.empty() && !house_.sessions.is_alive(session, now)) {
            connection.send(farewell);
            forget(connection);
        } else if (is_sign_due) {
            after_sending(connection, connection.send(keep_alive));
        }
    }
    if (have_streams_gone_) count_streams();
    have_streams_gone_ = false;
}

void Loop::run(const std::atomic<bool> &stop)
{
    /* They may wait for the daemon when the process ends, which waits for none of them. */
    for (std::size_t i = 0; i < number_of_workers; i++)
        std::thread([this] { work(house_, requests_, inbox_); }).detach();
    std::thread([this] { work(house_, logins_, inbox_); }).detach();
    std::thread([this, &stop] { watcher_.run(stop); }).detach();

    std::array<epoll_event, 64> events{};
    std::int64_t next_tick = now_s();
    while (!stop) {
        const int count =
            epoll_wait(poll_, events.data(), static_cast<int>(events.size()), tick_ms);
        for (int i = 0; i < count; i++) {
            const epoll_event &event = events[static_cast<std::size_t>(i)];
            if (event.data.fd == listener_) {
                accept_all();
            } else if (event.data.fd == wake_) {
                take_inbox();
            } else if (const auto found = connections_.find(event.data.fd);
                       found != connections_.end()) {
                Connection &connection = *found->second;
                if ((event.events & EPOLLOUT) != 0) {
                    after_sending(connection, connection.send_rest());
                } else {
                    receive(connection);
                }
            }
        }
        if (now_s() == next_tick) continue;
        next_tick = now_s();
        tick();
    }
}

} // namespace

int serve_clients(House &house, int listener, int wake, const std::atomic<bool> &stop)
{
    Loop loop(house, listener, wake);
    if (!loop.begin()) return 1;
    loop.run(stop);
    _exit(0);
}

} // namespace vorn::gate
