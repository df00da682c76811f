/* SPDX-License-Identifier: MIT */
#pragma once

#include "api/sockets/door.h"
#include "core/base/file.h"
#include "core/base/memory.h"
#include "core/base/text.h"
#include "core/peer.h"

#include <cstddef>
#include <cstdint>

#include <sys/types.h>

namespace vorn {

/*
 * Milliseconds that clients are held to. It stands still while a request is evaluated, so that
 * nobody is late because the daemon was busy.
 */
std::int64_t clients_clock_ms();

/* Once for all of those who went since: a thousand of them may go one after the other. */
void give_back_what_halves_took();

/* Ends a connection so that the peer finds the end of the stream, whatever it has sent. */
void hang_up(int descriptor);

/*
 * One client of a framed socket, from its arrival to its end. It has five seconds for each whole
 * request and five to take each reply. No call waits.
 */
class Client : public Record {
public:
    static constexpr std::int64_t never = INT64_MAX;

    Client(Fd descriptor, const Door &door);
    Client(const Client &) = delete;
    ~Client();

    /* Reads or sends what can be read or sent now; tells whether that was anything. */
    bool go_on();
    bool has_whole_request() const { return doing_ == Doing::whole; }
    /* Of a whole request: has it answered and sends what is taken at once. */
    void evaluate();
    bool is_over() const { return doing_ == Doing::gone; }
    /* It took too long. Tells the log, unless nothing is lost with it. */
    void complain() const;

    /* For the answer of the door: the text, or a line that is copied. */
    void reply(Text text);
    void reply_line(const char *line);

    /* The request that is answered is to get a second reply, without a text, when that comes. */
    void awaits(Awaited what) { awaits_ = what; }
    void tell_of(Awaited what);

    int descriptor() const { return descriptor_.get(); }
    bool stays() const { return door_.stays; }
    bool is_hearing() const { return doing_ == Doing::hearing; }
    bool is_speaking() const { return doing_ == Doing::speaking; }
    bool was_answered() const { return was_answered_; }
    /* What epoll is to report of it; 0 while its request is evaluated. */
    std::uint32_t wanted_events() const;
    /* On that clock; never for one that stays and asks nothing. */
    std::int64_t deadline_ms() const { return deadline_ms_; }
    /* Memory that it has for a half request, and for a reply that it has not taken. */
    std::size_t half_request() const { return capacity_; }
    std::size_t unsent_reply() const { return is_speaking() ? reply_length_ : 0; }
    /* Gives back what a large exchange took, as soon as nothing is under way. */
    void settle();

    /* The table's: its place, and what epoll was asked for. */
    Client *previous = nullptr;
    Client *next = nullptr;
    std::uint32_t watched_events = 0;

private:
    enum class Doing { hearing, whole, answering, speaking, hearing_out, gone };

    bool hear();
    bool make_room();
    bool take_head();
    void end_of_input();
    bool has_whole_frame() const;
    std::uint32_t head_word(std::size_t place) const;
    void await_request();

    bool speak();
    ssize_t send_some();
    bool hear_out();

    Fd descriptor_;
    const Door &door_;
    PeerCredentials credentials_;
    Doing doing_ = Doing::hearing;
    std::int64_t deadline_ms_;
    bool took_much_ = false; /* memory, for an exchange, since some was given back */
    bool all_is_said_ = false;
    bool was_answered_ = false;

    std::uint32_t length_ = 0; /* of the request's text; 0 until its head has come */
    Allocated<char> body_;     /* of a request that does not fit into the room */
    std::size_t capacity_ = 0; /* of the body */
    std::size_t in_body_ = 0;
    std::size_t room_begin_ = 0; /* of what is in the room and was not served yet */
    std::size_t in_room_ = 0;

    Text owned_reply_;
    const char *reply_ = nullptr;
    std::size_t reply_length_ = 0;
    std::size_t sent_ = 0; /* of the reply's head, which a client that stays gets, and its text */
    std::int64_t reply_deadline_ms_ = 0;
    std::size_t heard_out_ = 0;
    Awaited awaits_ = Awaited::nothing;
    bool has_ended_input_ = false; /* as far as is known while it takes its reply */
    char reply_head_[8];
    char room_[513]; /* one for the end of a text */
};

} // namespace vorn
