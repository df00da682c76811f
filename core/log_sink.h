/* SPDX-License-Identifier: MIT */
#pragma once

#include <cstddef>
#include <cstdint>

#include <sys/select.h>
#include <sys/types.h>

namespace vorn {

/* How a descriptor is written to so that nobody waits for whoever takes what is written. */
enum class Manner {
    plainly,     /* it does not wait by itself: a file, or one that is in nonblocking mode */
    as_a_socket, /* which can be told with each call */
    when_ready,  /* shared with others in a mode that is theirs: asked before each small write */
};

/*
 * Lines on their way to somebody who may take none for a while: a slow line, a stopped terminal, a
 * full pipe. What he does not take is kept, up to a bound, and goes out when he does; what does not
 * fit is counted, and the count follows what was kept. What can't be written at all is dropped.
 */
class LogSink {
public:
    static constexpr std::size_t room_size = 65536;

    /* In a room of its own, which costs a program that never uses it neither file nor memory. */
    constexpr explicit LogSink(char (&room)[room_size]) : room_(room) {}

    /* Takes no descriptor over. What is still kept for another one is dropped. */
    void point_to(int descriptor, Manner manner);
    int descriptor() const { return descriptor_; }
    void put(const char *bytes, std::size_t length);
    /* Writes as much of what is kept as is taken. */
    void drain();
    bool is_waiting() const { return length_ > 0; }
    void forget();
    /* Waits until it is ready, for so long at most; answers how long that took. */
    int wait_until_ready(int limit_ms) const;

private:
    ssize_t write_some(const char *bytes, std::size_t length);
    std::size_t write_now(const char *bytes, std::size_t length);
    std::size_t keep(const char *bytes, std::size_t length);
    void take(const char *bytes, std::size_t length);
    std::size_t drop_line(const char *bytes, std::size_t length);
    bool makes_room();
    void tell_what_was_lost();

    int descriptor_ = -1;
    Manner manner_ = Manner::plainly;
    int patience_ms_ = 0; /* what may still be waited for, until everything is out again */
    std::size_t begin_ = 0;
    std::size_t length_ = 0;
    unsigned long lost_ = 0;
    bool in_lost_line_ = false; /* the next bytes belong to a line whose begin was lost */
    char last_ = '\n';          /* what was taken last */
    char *room_;
};

/* Standard error, and the console once it was opened. */
extern LogSink standard_error_sink;
extern LogSink console_sink;

/* Opens the console; without one the log goes to standard error. */
void open_log();
void write_to_log(const char *bytes, std::size_t length);

/*
 * Standard error is shared with whoever else has it, and so is its mode: where it can wait for
 * somebody, the daemon opens it once more for itself.
 */
void open_standard_error();
void write_to_standard_error(const char *bytes, std::size_t length);

/* Adds the descriptors that lines wait for; answers the highest, -1 for none. */
int add_log_takers(fd_set &takers);
void write_waiting_logs();

/* Before the end: gives whoever takes the lines a little time. */
void finish_logs();
/* In a child: what is kept is its parent's to write. */
void forget_waiting_logs();

} // namespace vorn
