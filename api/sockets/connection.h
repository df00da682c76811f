/* SPDX-License-Identifier: MIT */
#pragma once

#include "core/base/file.h"
#include "core/base/limits.h"
#include "core/base/memory.h"

#include <cstddef>
#include <cstdint>

#include <sys/types.h>

namespace vorn {

/* What a door calls itself in the log, and how it reports what fails while a client comes in. */
struct Door {
    const char *name;
    const char *accept_failed;
    const char *fcntl_failed;
};

/*
 * Takes the next client of a listener, or -1 with errno. Whoever could not be taken still waits, so
 * that the listener would be found readable again at once: it rests a while then.
 */
int accept_or_rest(int listener);

/*
 * One client, from its arrival to its end. It has five seconds for its whole request and five to
 * take the reply; then it is dropped, with an error in the log. Nothing it sends or leaves unread
 * can make the daemon wait longer or take the reply from it.
 */
class Connection {
public:
    /* Takes the next client of a listener. */
    Connection(int listener, const Door &door);
    /* Serves a client that has come in some other way. */
    Connection(Fd client, const Door &door);
    Connection(const Connection &) = delete;
    ~Connection();

    explicit operator bool() const { return static_cast<bool>(client_); }

    /* The next four bytes in the machine's own order; 0 when they do not all come. */
    std::uint32_t read_word();
    /*
     * A body of the given length, terminated; what the client leaves out stays zero. Null for a
     * length of 0, one that is too long, and a client that is too slow.
     */
    Allocated<char> read_body(std::uint32_t length);
    /* Sends all of a text, then the end of the stream. */
    void reply(const char *text);

private:
    void read_ahead();
    std::size_t take_read_ahead(void *room, std::size_t size);
    std::size_t read_up_to(void *room, std::size_t size);
    void note_lateness();
    short wait(short events, std::int64_t deadline_ms) const;
    void hear_out(std::int64_t deadline_ms);
    ssize_t discard_input();

    Fd client_;
    const Door &door_;
    std::int64_t request_deadline_ms_;
    bool too_slow_ = false;
    std::size_t carried_ = 0;
    char ahead_[512];
    std::size_t ahead_begin_ = 0;
    std::size_t ahead_end_ = 0;
};

} // namespace vorn
