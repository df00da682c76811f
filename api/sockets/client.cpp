/* SPDX-License-Identifier: MIT */
/*
 * One client of a framed socket. Deadlines are absolute, so that a byte now and then does not
 * stretch them. Input that nobody asked for is read and thrown away while the reply goes out and a
 * moment longer: a client that is still writing takes no reply, and a connection that is closed
 * with unread input ends in a reset where the client should find the end of the stream.
 */
#include "api/sockets/client.h"

#include "core/base/limits.h"
#include "core/peer.h"
#include "vorn/debug.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>

#include <arpa/inet.h>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/socket.h>

namespace vorn {

namespace {

constexpr std::int64_t limit_ms = 5000;
/* A client that sent too much and is silent for so long has sent it all. */
constexpr std::int64_t silence_ms = 100;
constexpr std::size_t block_size = 4096;
/* What is read of one client, or sent to it, before others have their turn. */
constexpr std::size_t most_at_once = 262144;
constexpr std::size_t first_capacity = 16384;
/* An exchange of so many bytes may have taken thirty times as much memory. */
constexpr std::size_t large_exchange = 65536;
/* What requests took that were given up, or were too short to be given back at once. */
constinit std::size_t taken_by_halves = 0;

constinit std::int64_t evaluation_ms = 0; /* of all requests so far */

/* Whether a call that moved no bytes may move some later. */
bool may_go_on(ssize_t count)
{
    return count < 0 && (errno == EAGAIN || errno == EINTR);
}

bool is_writable(int descriptor)
{
    pollfd one = {descriptor, POLLOUT, 0};
    return poll(&one, 1, 0) > 0;
}

ssize_t discard_input(int descriptor)
{
    char block[block_size];
    return recv(descriptor, block, sizeof block, MSG_DONTWAIT);
}

} // namespace

/* Nothing can arrive any more after the first of it, so that there is an end to throwing away. */
void hang_up(int descriptor)
{
    shutdown(descriptor, SHUT_RDWR);
    while (discard_input(descriptor) > 0)
        continue;
}

std::int64_t clients_clock_ms()
{
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
    return std::int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1000000 - evaluation_ms;
}

void give_back_what_halves_took()
{
    if (taken_by_halves < large_exchange) return;
    taken_by_halves = 0;
    give_memory_back();
}

Client::Client(Fd descriptor, const Door &door)
    : descriptor_(std::move(descriptor)),
      door_(door),
      deadline_ms_(door.stays ? never : clients_clock_ms() + limit_ms)
{}

Client::~Client()
{
    taken_by_halves += capacity_;
    body_.reset();
    owned_reply_ = Text();
    if (took_much_) give_memory_back();
    if (!all_is_said_) hang_up(descriptor());
}

bool Client::go_on()
{
    switch (doing_) {
    case Doing::hearing:
        /* Who asks on has to take what was said before. */
        if (has_whole_frame() && !is_writable(descriptor())) return false;
        return hear();
    case Doing::speaking:
        if (wanted_events() & EPOLLIN) {
            const ssize_t count = discard_input(descriptor());
            has_ended_input_ = count <= 0 && !may_go_on(count);
        }
        return speak();
    case Doing::hearing_out:
        return hear_out();
    default:
        return false;
    }
}

std::uint32_t Client::wanted_events() const
{
    switch (doing_) {
    case Doing::hearing:
        /* What came along with the last request is here already: it only waits for its turn. */
        return has_whole_frame() ? EPOLLOUT : EPOLLIN;
    case Doing::speaking:
        return door_.stays || has_ended_input_ ? EPOLLOUT : EPOLLIN | EPOLLOUT;
    case Doing::hearing_out:
        return EPOLLIN;
    default:
        return 0;
    }
}

void Client::complain() const
{
    if (doing_ == Doing::hearing_out) return;
    vorn_debug_eprintf("%s client took too long to %s.\n", door_.name,
                       is_speaking() || has_whole_frame() ? "take its reply" : "send its request");
}

void Client::settle()
{
    if (!took_much_ || deadline_ms_ != never) return;
    give_memory_back();
    took_much_ = false;
}

std::uint32_t Client::head_word(std::size_t place) const
{
    std::uint32_t word;
    std::memcpy(&word, room_ + room_begin_ + place, sizeof word);
    return word;
}

bool Client::has_whole_frame() const
{
    if (length_ == 0) return false;
    return body_ ? in_body_ == length_ : in_room_ >= door_.head_size + length_;
}

/*
 * One call for a request that is short, and all of it in the client itself. A longer one gets its
 * memory as it comes: to announce much costs nobody anything.
 */
bool Client::make_room()
{
    std::memmove(room_, room_ + room_begin_, in_room_);
    room_begin_ = 0;
    if (!body_ && door_.head_size + length_ < sizeof room_) return true;
    if (body_ && in_body_ < capacity_) return true;

    const std::size_t wanted =
        std::min(std::size_t{length_}, std::max(first_capacity, 4 * capacity_));
    auto *grown = static_cast<char *>(noted(std::realloc(body_.get(), wanted + 1)));
    if (!grown) {
        vorn_debug_fatal("malloc");
        doing_ = Doing::gone;
        return false;
    }
    if (!body_) {
        in_body_ = in_room_ - door_.head_size;
        std::memcpy(grown, room_ + door_.head_size, in_body_);
        in_room_ = 0;
    }
    static_cast<void>(body_.release());
    body_.reset(grown);
    capacity_ = wanted;
    return true;
}

/* As soon as it is there; false when nothing that follows can be a request. */
bool Client::take_head()
{
    if (length_ != 0) return true;
    if (door_.unknown_version && in_room_ >= sizeof length_ && head_word(0) != 0) {
        vorn_debug_eprintf("%s", door_.unknown_version);
        return false;
    }
    if (in_room_ < door_.head_size) return true;

    length_ = head_word(door_.head_size - sizeof length_);
    if (door_.stays) length_ = ntohl(length_);
    std::memcpy(reply_head_, room_ + room_begin_, sizeof length_);
    if (length_ > longest_request) {
        vorn_debug_eprintf("%s request of %lu bytes is too long.\n", door_.name,
                           static_cast<unsigned long>(length_));
        return false;
    }
    if (length_ == 0 && door_.stays) vorn_debug_eprintf("%s request is empty.\n", door_.name);
    return length_ != 0;
}

bool Client::hear()
{
    std::size_t heard = 0;
    std::size_t room = 1;

    while (!has_whole_frame()) {
        if (heard >= most_at_once) break;
        if (!make_room()) return true;
        char *place = body_ ? body_.get() + in_body_ : room_ + in_room_;
        std::size_t &taken = body_ ? in_body_ : in_room_;
        room = body_ ? capacity_ - in_body_ : sizeof room_ - 1 - in_room_;
        const ssize_t count = recv(descriptor_.get(), place, room, MSG_DONTWAIT);
        if (may_go_on(count) && heard == 0) return false;
        if (may_go_on(count)) break;
        if (count <= 0) {
            end_of_input();
            return true;
        }
        taken += static_cast<std::size_t>(count);
        heard += static_cast<std::size_t>(count);
        if (!take_head()) {
            doing_ = Doing::gone;
            return true;
        }
        if (static_cast<std::size_t>(count) < room) break;
    }
    if (has_whole_frame()) {
        doing_ = Doing::whole;
    } else if (deadline_ms_ == never) {
        deadline_ms_ = clients_clock_ms() + limit_ms;
    }
    return true;
}

/* What a client of one request leaves out is left out; one of many has left. */
void Client::end_of_input()
{
    doing_ = Doing::gone;
    if (length_ != 0 && !door_.stays) {
        length_ = static_cast<std::uint32_t>(body_ ? in_body_ : in_room_ - door_.head_size);
        doing_ = Doing::whole;
    } else if (door_.stays && (body_ || in_room_ > 0)) {
        vorn_debug_eprintf("%s client left in the middle of a request.\n", door_.name);
    }
}

void Client::evaluate()
{
    doing_ = Doing::answering;
    const std::size_t length = length_;
    char *text = body_ ? body_.get() : room_ + room_begin_ + door_.head_size;
    const char after = text[length];
    const std::int64_t began = clients_clock_ms();

    text[length] = '\0';
    reply_ = nullptr;
    reply_length_ = sent_ = 0;
    awaits_ = Awaited::nothing;
    {
        const PeerOfRequest asked_for_by(descriptor(), &credentials_);
        door_.answer(*this, text);
    }
    evaluation_ms += clients_clock_ms() - began;
    was_answered_ = true;

    if (reply_) reply_length_ = std::strlen(reply_);
    if (length + reply_length_ >= large_exchange) took_much_ = true;
    if (!took_much_) taken_by_halves += capacity_;
    if (!body_ && door_.stays) {
        text[length] = after;
        room_begin_ += door_.head_size + length;
        in_room_ -= door_.head_size + length;
    }
    body_.reset();
    capacity_ = in_body_ = length_ = 0;
    if (!reply_ && !door_.stays) {
        doing_ = Doing::gone;
        return;
    }
    const std::uint32_t framed_length = htonl(static_cast<std::uint32_t>(reply_length_));
    std::memcpy(reply_head_ + sizeof framed_length, &framed_length, sizeof framed_length);
    reply_deadline_ms_ = deadline_ms_ = began + limit_ms; /* the clock stood still since */
    speak();
    if (is_speaking() && took_much_) give_memory_back(); /* others come before its end */
}

void Client::reply(Text text)
{
    owned_reply_ = std::move(text);
    reply_ = owned_reply_.get();
}

void Client::reply_line(const char *line)
{
    std::snprintf(room_, sizeof room_, "%s\n", line);
    reply_ = room_;
}

/* Who can't be told at once finds the end of the stream instead. Who asks on has to ask again. */
void Client::tell_of(Awaited what)
{
    if (awaits_ != what) return;
    awaits_ = Awaited::nothing;
    if (length_ != 0) return;
    std::memset(reply_head_ + sizeof length_, 0, sizeof length_);
    const bool is_told = !is_speaking() && send(descriptor_.get(), reply_head_, sizeof reply_head_,
                                                MSG_DONTWAIT | MSG_NOSIGNAL) == sizeof reply_head_;
    if (!is_told) shutdown(descriptor_.get(), SHUT_RDWR);
}

/* A short reply goes out in one piece with its head. */
ssize_t Client::send_some()
{
    constexpr int flags = MSG_DONTWAIT | MSG_NOSIGNAL;
    const std::size_t head_size = door_.stays ? sizeof reply_head_ : 0;
    if (sent_ >= head_size) {
        const std::size_t begin = sent_ - head_size;
        return send(descriptor_.get(), reply_ + begin,
                    std::min(reply_length_ - begin, most_at_once), flags);
    }
    char block[block_size];
    const std::size_t head_left = head_size - sent_;
    const std::size_t length = std::min(reply_length_, sizeof block - head_left);
    std::memcpy(block, reply_head_ + sent_, head_left);
    if (length > 0) std::memcpy(block + head_left, reply_, length);
    return send(descriptor_.get(), block, head_left + length, flags);
}

bool Client::speak()
{
    const std::size_t whole = reply_length_ + (door_.stays ? sizeof reply_head_ : 0);
    const std::size_t before = sent_;

    doing_ = Doing::speaking;
    while (sent_ < whole) {
        const ssize_t count = sent_ - before < most_at_once ? send_some() : 0;
        if (count < 0 && errno == EINTR) continue;
        if (count < 0 && errno != EAGAIN) doing_ = Doing::gone;
        if (count <= 0) return sent_ > before;
        sent_ += static_cast<std::size_t>(count);
    }
    owned_reply_ = Text();
    if (door_.stays) {
        await_request();
    } else {
        hear_out();
    }
    return true;
}

void Client::await_request()
{
    doing_ = take_head() ? Doing::hearing : Doing::gone;
    deadline_ms_ = in_room_ > 0 ? clients_clock_ms() + limit_ms : never;
}

/*
 * Lets a client that sent more than it announced finish its writing, since it reads only then. One
 * that sent what it should is not waited for.
 */
bool Client::hear_out()
{
    constexpr int most_blocks = 16;
    const std::size_t before = heard_out_;
    doing_ = Doing::hearing_out;
    for (int blocks = 0; blocks < most_blocks; blocks++) {
        const ssize_t count = discard_input(descriptor());
        if (count <= 0) {
            all_is_said_ = heard_out_ == 0;
            if (all_is_said_ || !may_go_on(count)) doing_ = Doing::gone;
            break;
        }
        if (heard_out_ == 0) shutdown(descriptor_.get(), SHUT_WR);
        heard_out_ += static_cast<std::size_t>(count);
        if (heard_out_ >= longest_request) doing_ = Doing::gone;
        deadline_ms_ = std::min(reply_deadline_ms_, clients_clock_ms() + silence_ms);
    }
    return heard_out_ > before;
}

} // namespace vorn
