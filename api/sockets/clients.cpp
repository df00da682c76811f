/* SPDX-License-Identifier: MIT */
/*
 * Everybody who is at a framed door: how many may be, how long, with how much memory, and whose
 * turn it is. The kernel keeps them in the order in which they became ready, and reports one at a
 * time, so that requests are served in the order in which they became complete. In one set for the
 * loop to wait for, who waits costs those who are served nothing.
 */
#include "api/sockets/clients.h"

#include "api/sockets/client.h"
#include "core/base/limits.h"
#include "core/eloop_state.h"
#include "vorn/debug.h"
#include "vorn/socket.h"

#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace vorn {

namespace {

constexpr unsigned int beat_us = 100000;
/* What one pass of the loop may read before others have their turn. */
constexpr int most_events = 64;
/* Descriptors that clients leave to the work that they ask for. */
constexpr long kept_for_work = 16;
constexpr std::int64_t last_second_ms = 1000;

/* The longer nothing moved, the earlier; who is being served is not among them. */
constinit Client *first = nullptr;
constinit Client *last = nullptr;
constinit unsigned int counts[2] = {}; /* of those who come for one request; of those who stay */
constinit int events = -1;
/* Given up for a client when no descriptor is left, and taken again when one is. */
constinit int reserve = -1;
constinit bool beats = false;

void append(Client &client)
{
    client.previous = last;
    client.next = nullptr;
    (last ? last->next : first) = &client;
    last = &client;
}

void unlink(Client &client)
{
    (client.previous ? client.previous->next : first) = client.next;
    (client.next ? client.next->previous : last) = client.previous;
}

/* The set keeps what a child that is being forked still holds, so nobody leaves it by closing. */
bool ask_for(Client &client, std::uint32_t wanted)
{
    if (client.watched_events == wanted) return true;
    epoll_event event = {};
    event.events = wanted;
    event.data.ptr = &client;
    const int operation = wanted == 0                  ? EPOLL_CTL_DEL
                          : client.watched_events == 0 ? EPOLL_CTL_ADD
                                                       : EPOLL_CTL_MOD;
    client.watched_events = wanted;
    return epoll_ctl(events, operation, client.descriptor(), &event) == 0;
}

void end(Client *client)
{
    ask_for(*client, 0);
    unlink(*client);
    counts[client->stays()]--;
    delete client;
    if (reserve < 0) reserve = fcntl(events, F_DUPFD_CLOEXEC, 0);
}

void beat(void *, void *);

bool start_beat()
{
    beats = beats || eloop_register_timeout(0, beat_us, beat, nullptr, nullptr) == 0;
    return beats;
}

/* Has the client called upon when there is something to do for it, or too late. */
bool watch(Client &client)
{
    if (client.deadline_ms() != Client::never && !start_beat()) {
        vorn_debug_fatal("malloc");
        return false;
    }
    return ask_for(client, client.wanted_events());
}

Client *next_of_kind(Client *each, bool stays)
{
    while (each && each->stays() != stays)
        each = each->next;
    return each;
}

/* Whether its next request, or a part of that, is there. Whoever has been answered had its turn. */
bool has_its_turn_to_come(const Client &client)
{
    pollfd one = {client.descriptor(), static_cast<short>(client.wanted_events()), 0};
    return client.is_hearing() && poll(&one, 1, 0) > 0;
}

/* Who has neither said nor taken anything for longest. */
Client *most_silent(bool stays)
{
    Client *each = next_of_kind(first, stays);
    while (each && has_its_turn_to_come(*each))
        each = next_of_kind(each->next, stays);
    return each;
}

/*
 * The same; when everybody waits for its turn, who has been answered before and asks on. Without
 * that a crowd that asks without end would close whoever comes before it is served once.
 */
Client *who_may_go(bool stays)
{
    Client *silent = most_silent(stays);
    if (silent) return silent;
    Client *each = next_of_kind(first, stays);
    while (each && !each->was_answered())
        each = next_of_kind(each->next, stays);
    return each;
}

/* Somebody, whatever it waits for. */
Client *who_has_to_go(bool stays)
{
    Client *each = who_may_go(stays);
    return each ? each : next_of_kind(first, stays);
}

bool send_away(Client *client)
{
    if (!client) return false;
    vorn_debug_1printf("A client has to make room for another.\n");
    end(client);
    return true;
}

/* Those who have been silent for longest lose what is more than the bound, but never the last. */
void keep_within(std::size_t bound, std::size_t (Client::*size)() const)
{
    std::size_t sum = 0;
    for (const Client *each = first; each; each = each->next)
        sum += (each->*size)();
    for (Client *each = first; sum > bound && each && each->next;) {
        Client *next = each->next;
        const std::size_t freed = (each->*size)();
        sum -= freed;
        if (freed > 0) send_away(each);
        each = next;
    }
}

enum class Attended { waits, was_served, left };

Attended attend(Client &client)
{
    if (client.wanted_events() == 0) { /* a loop within the evaluation of its request */
        ask_for(client, 0);
        return Attended::waits;
    }
    const bool moved = client.go_on();
    const bool is_whole = client.has_whole_request();
    if (moved) unlink(client);
    if (is_whole) client.evaluate();
    if (moved) append(client);

    if (client.is_over() || !watch(client)) {
        end(&client);
        return is_whole ? Attended::was_served : Attended::left;
    }
    if (moved) { /* it is the last now, and stays */
        if (client.half_request() > 0) keep_within(most_half_requests, &Client::half_request);
        if (client.unsent_reply() > 0) keep_within(most_unsent_replies, &Client::unsent_reply);
    }
    return is_whole ? Attended::was_served : Attended::waits;
}

/* One request in a pass of the loop, as long as nobody else is at the door. */
void serve_next(int, void *, void *)
{
    if (first && counts[0] + counts[1] == 1) { /* it can be nobody else */
        attend(*first);
        return;
    }
    for (int i = 0; i < most_events; i++) {
        epoll_event event;
        if (epoll_wait(events, &event, 1, 0) < 1) return;
        if (attend(*static_cast<Client *>(event.data.ptr)) == Attended::was_served) return;
    }
}

/*
 * Who is too late may still have been in time: the daemon was busy, and it lies in the socket. One
 * request is served at most, so that the loop goes on; the next are served in their turn.
 */
bool may_end_another_that_is_late()
{
    const std::int64_t now = clients_clock_ms();
    for (Client *each = first; each; each = each->next) {
        if (each->deadline_ms() > now) continue;
        const Attended attended = attend(*each);
        if (attended == Attended::waits && each->deadline_ms() <= now) {
            each->complain();
            end(each);
        }
        return attended != Attended::was_served;
    }
    return false;
}

void beat(void *, void *)
{
    bool has_deadlines = false;

    beats = false;
    while (may_end_another_that_is_late())
        continue;
    for (Client *each = first; each; each = each->next) {
        each->settle();
        has_deadlines = has_deadlines || each->deadline_ms() != Client::never;
    }
    give_back_what_halves_took();
    if (has_deadlines) start_beat();
}

bool has_no_descriptor_left(int error)
{
    return error == EMFILE || error == ENFILE;
}

/* So that somebody can be taken; false when nothing can be spared. Who goes leaves a reserve. */
bool spare_a_descriptor()
{
    if (reserve < 0 && !send_away(who_has_to_go(false)) && !send_away(who_has_to_go(true)))
        return false;
    if (reserve >= 0) close(std::exchange(reserve, -1));
    return true;
}

Fd accept_client(int listener, const Door &door)
{
    constexpr int most_tries = 2; /* the reserve, then somebody's */
    Fd client(accept(listener, nullptr, nullptr));
    for (int tries = 0; !client && tries < most_tries && has_no_descriptor_left(errno); tries++) {
        if (!spare_a_descriptor()) break;
        client = Fd(accept(listener, nullptr, nullptr));
    }
    if (!client) client = Fd(accept_or_rest(listener));
    if (!client) {
        vorn_debug_perror(door.accept_failed);
        return client;
    }
    if (fcntl(client.get(), F_SETFD, FD_CLOEXEC) == -1) {
        vorn_debug_perror(door.fcntl_failed);
        return Fd();
    }
    return client;
}

bool is_full(const Door &door)
{
    return counts[door.stays] >= (door.stays ? most_staying_clients : most_clients);
}

/* Whoever was silent a moment ago may have said something since. */
void make_room_for(int descriptor, const Door &door)
{
    if (is_full(door)) {
        send_away(who_has_to_go(door.stays));
    } else if (first && descriptor + kept_for_work >= sysconf(_SC_OPEN_MAX)) {
        send_away(who_has_to_go(false)) || send_away(who_has_to_go(true));
    }
}

/* Null when there is no memory for it: then nobody has taken it. */
Client *take_in(Fd descriptor, const Door &door)
{
    make_room_for(descriptor.get(), door);
    const int number = descriptor.release();
    auto *client = new Client(Fd(number), door);
    if (!client) {
        const Fd left(number);
        vorn_debug_fatal("malloc");
        hang_up(number);
        return nullptr;
    }
    append(*client);
    counts[door.stays]++;
    return client;
}

/* All who wait at a door have their place in the order from now on, if there is room for them. */
void take_the_others_in(int listener, const Door &door)
{
    while (!is_full(door)) {
        Fd descriptor(accept(listener, nullptr, nullptr));
        if (!descriptor || fcntl(descriptor.get(), F_SETFD, FD_CLOEXEC) == -1) break;
        Client *client = take_in(std::move(descriptor), door);
        if (!client) break;
        if (!watch(*client)) end(client);
    }
}

} // namespace

int accept_or_rest(int listener)
{
    const int client = accept(listener, nullptr, nullptr);
    const int error = errno;
    if (client < 0 && error != EAGAIN && error != EINTR && error != ECONNABORTED) {
        eloop_rest(listener);
    }
    errno = error;
    return client;
}

bool look_after_clients()
{
    if (events >= 0) return true;
    Fd set(epoll_create1(EPOLL_CLOEXEC));
    if (!set) {
        vorn_debug_perror("epoll_create1");
        return false;
    }
    if (eloop_register_read_sock(set.get(), serve_next, nullptr, nullptr) != 0) return false;
    events = set.release();
    reserve = fcntl(events, F_DUPFD_CLOEXEC, 0);
    return true;
}

bool open_door(const char *name, eloop_sock_handler handler)
{
    Fd listener(vorn_socket_get_unix(name, VORN_SOCKET_ABSTRACT));
    if (!listener || !look_after_clients()) return false;
    if (eloop_register_read_sock(listener.get(), handler, nullptr, nullptr) != 0) return false;
    listener.release();
    return true;
}

/* Whether none of those who are there has said or taken anything since it was looked after. */
bool is_quiet()
{
    pollfd one = {events, POLLIN, 0};
    return !first || poll(&one, 1, 0) == 0;
}

/*
 * With others there, whoever was complete before has to be served before; those who keep silent
 * cost who comes no more than a look at them. When they are as many as may be, all of them have
 * said something and none was answered yet, they are served one by one, and who comes waits for
 * that.
 */
void take_client(int listener, const Door &door)
{
    if (is_full(door) && !who_may_go(door.stays)) {
        serve_next(events, nullptr, nullptr);
        return;
    }
    Fd descriptor = accept_client(listener, door);
    if (!descriptor) return;
    const bool is_next = is_quiet();
    Client *client = take_in(std::move(descriptor), door);
    if (!client) return;
    if (is_next) {
        attend(*client);
    } else if (watch(*client)) {
        take_the_others_in(listener, door);
        serve_next(events, nullptr, nullptr);
    } else {
        end(client);
    }
}

void tell_clients_of(Awaited what)
{
    for (Client *each = first; each; each = each->next)
        each->tell_of(what);
}

void end_clients()
{
    const std::int64_t deadline_ms = clients_clock_ms() + last_second_ms;
    for (Client *each = first; each;) {
        Client *next = each->next;
        if (!each->is_speaking()) end(each);
        each = next;
    }
    while (first) {
        const std::int64_t left = deadline_ms - clients_clock_ms();
        epoll_event event;
        if (left <= 0 || epoll_wait(events, &event, 1, static_cast<int>(left)) < 1) break;
        auto *client = static_cast<Client *>(event.data.ptr);
        client->go_on();
        if (!client->is_speaking() || !ask_for(*client, client->wanted_events())) end(client);
    }
    while (first)
        end(first);
    if (events >= 0) eloop_unregister_read_sock(events);
    eloop_cancel_timeout(beat, nullptr, nullptr);
    const Fd set(std::exchange(events, -1));
    const Fd spare(std::exchange(reserve, -1));
    beats = false;
}

} // namespace vorn

using namespace vorn;

unsigned int vorn_socket_get_clients()
{
    return counts[0] + counts[1];
}
