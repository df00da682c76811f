/* SPDX-License-Identifier: MIT */
/*
 * One loop reads requests that come in pieces and writes streams, and waits for nobody. A few
 * threads answer requests (workers.cpp), one lets passwords be judged, one watches the device for
 * events.
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
#include "scgi.h"
#include "watcher.h"
#include "workers.h"

namespace vorn::gate {

namespace {

constexpr int tick_ms = 1000;
constexpr std::int64_t seconds_for_a_request = 10; /* and as long for its answer */
constexpr std::int64_t seconds_between_signs = 15;

class Loop {
public:
    Loop(House &house, int listener, int wake)
        : house_(house), office_(house, listener, wake), watcher_(house, office_.inbox), wake_(wake)
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
    bool read(Connection &connection);
    void dispatch(Connection &connection);
    void refuse(Connection &connection, const Problem &problem);
    void keep(Owned connection);
    void forget(Connection &connection);
    void after_sending(Connection &connection, bool is_sound);
    void take_inbox();
    void begin_request(Owned connection);
    void begin_stream(Owned connection);
    void make_room(const std::string &key);
    void tell(const News &news);
    void tell_stream(Connection &connection, const News &news);
    void tick();
    void help_out();
    void count_streams();

    House &house_;
    Office office_;
    int poll_ = -1;
    Watcher watcher_;
    int wake_;
    std::unordered_map<int, Owned> connections_;
    std::map<std::string, News> recent_; /* the last news of each user who listens */
    std::uint64_t streams_begun_ = 0;
    bool have_streams_gone_ = false;
    bool helps_out_ = false; /* it accepts, since nobody else does */
    unsigned answered_ = 0;  /* by the last tick */
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
    return poll_ >= 0 && watch(wake_, EPOLLIN, EPOLL_CTL_ADD);
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

void Loop::accept_all()
{
    for (;;) {
        const int descriptor =
            accept4(office_.listener, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
        if (descriptor < 0) return;
        begin_request(std::make_unique<Connection>(descriptor));
    }
}

/* Of which some may have come already. */
void Loop::begin_request(Owned connection)
{
    if (connections_.size() >= most_connections) {
        connection->send(bytes_of(
            answer_of(Problem{503, "busy", "Too many connections.", {}, {{"Retry-After", "1"}}})));
        return;
    }
    Connection &kept = *connection;
    const int descriptor = connection->descriptor;
    kept.began = now_s();
    keep(std::move(connection));
    if (connections_.contains(descriptor) && read(kept)) receive(kept);
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
    epoll_ctl(poll_, EPOLL_CTL_DEL, descriptor, nullptr);
    Owned owned = std::move(connections_[descriptor]);
    connections_.erase(descriptor);
    hand_over(office_, std::move(owned));
}

/* False when the connection has gone elsewhere. */
bool Loop::read(Connection &connection)
{
    switch (read_scgi(connection.received, connection.request)) {
    case Arrival::goes_on:
        return true;
    case Arrival::complete:
        dispatch(connection);
        return false;
    case Arrival::long_head:
        refuse(connection, {431, "header-too-large", "The headers are longer than 16 KiB."});
        return false;
    case Arrival::long_body:
        /* Who is still writing reads no answer. */
        connection.drains = true;
        connection.received = {};
        refuse(connection, {413, "too-large", "The body is longer than 1 MiB."});
        return false;
    default:
        forget(connection);
        return false;
    }
}

void Loop::receive(Connection &connection)
{
    for (;;) {
        const ssize_t count = connection.receive();
        if (count < 0 && errno == EAGAIN) return;
        if (count > 0 && connection.drains) continue;
        if (count <= 0 || connection.is_stream || connection.ends) return forget(connection);
        if (!read(connection)) return;
    }
}

void Loop::begin_stream(Owned connection)
{
    Connection &kept = *connection;
    const int descriptor = connection->descriptor;
    kept.stream.place = streams_begun_++;
    keep(std::move(connection));
    make_room(kept.stream.caller.key);
    count_streams();
    const auto recent = recent_.find(kept.stream.caller.user);
    if (connections_.contains(descriptor) && recent != recent_.end())
        tell_stream(kept, recent->second);
}

/* A page that was closed or loaded anew leaves its stream behind, and nobody says so for a while.
 */
void Loop::make_room(const std::string &key)
{
    std::size_t count = 0;
    Connection *oldest = nullptr;
    for (const auto &[descriptor, each] : connections_) {
        if (!each->is_stream || each->stream.caller.key != key) continue;
        if (!oldest || each->stream.place < oldest->stream.place) oldest = each.get();
        count++;
    }
    if (count <= most_streams_of_one) return;
    oldest->send(give_way);
    forget(*oldest);
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
    [[maybe_unused]] const ssize_t taken = ::read(wake_, &count, sizeof count);
    std::vector<Owned> connections;
    std::vector<News> news;
    office_.inbox.take(connections, news);
    for (Owned &each : connections) {
        if (each->is_stream) {
            begin_stream(std::move(each));
        } else if (each->ends) {
            each->began = now_s();
            keep(std::move(each));
        } else {
            begin_request(std::move(each));
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
    help_out();
}

/* When all workers wait for the daemon, who comes is told at once that too many wait. */
void Loop::help_out()
{
    const bool are_stuck = office_.idle == 0 && office_.answered == answered_;
    answered_ = office_.answered;
    if (are_stuck == helps_out_) return;
    helps_out_ = are_stuck;
    watch(office_.listener, EPOLLIN, are_stuck ? EPOLL_CTL_ADD : EPOLL_CTL_DEL);
}

void Loop::run(const std::atomic<bool> &stop)
{
    start_workers(office_);
    std::thread([this, &stop] { watcher_.run(stop); }).detach();

    std::array<epoll_event, 64> events{};
    std::int64_t next_tick = now_s();
    while (!stop) {
        const int count =
            epoll_wait(poll_, events.data(), static_cast<int>(events.size()), tick_ms);
        for (int i = 0; i < count; i++) {
            const epoll_event &event = events[static_cast<std::size_t>(i)];
            if (event.data.fd == office_.listener) {
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
