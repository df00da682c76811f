/* SPDX-License-Identifier: MIT */
/*
 * Where the log and the reports of failed calls go out. What it protects: neither a console that is
 * stopped or slow nor a pipe that nobody reads keeps the daemon from its work, and nobody takes a
 * log with gaps for a whole one. All of it may run in signal context, so no memory is asked for.
 */
#include "core/log_sink.h"

#include "core/base/paths.h"
#include "core/base/signals_held.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vorn {

namespace {

constinit char standard_error_room[LogSink::room_size] = {};
constinit char console_room[LogSink::room_size] = {};

} // namespace

constinit LogSink standard_error_sink(standard_error_room);
constinit LogSink console_sink(console_room);

namespace {

/* All that lines may have to wait for. */
constexpr LogSink *sinks[] = {&standard_error_sink, &console_sink};

/*
 * What whoever reads at the usual speed needs to take a long dump is far less; from one who is slow
 * the daemon gets its time back after this, once in a while.
 */
constexpr int patience_limit_ms = 100;
/* What the lines that tell of the end may cost. */
constexpr int end_limit_ms = 1000;
/* What is written without waiting to one that says it is ready: a pipe takes it whole. */
constexpr std::size_t surely_taken = 512;

/* Where standard error led when it was opened once more, and that descriptor. */
struct OwnStandardError {
    int descriptor = -1;
    struct stat status = {};
};
constinit OwnStandardError own_standard_error;

std::int64_t now_ms()
{
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return std::int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1000000;
}

bool leads_to(int descriptor, const struct stat &place)
{
    struct stat status;
    return fstat(descriptor, &status) == 0 && status.st_dev == place.st_dev &&
           status.st_ino == place.st_ino;
}

bool can_make_wait(const struct stat &status)
{
    return S_ISCHR(status.st_mode) || S_ISFIFO(status.st_mode);
}

/* It may have been put elsewhere since: each report looks where it leads now. */
void follow_standard_error()
{
    struct stat status;
    if (fstat(STDERR_FILENO, &status) != 0) {
        standard_error_sink.point_to(-1, Manner::plainly);
    } else if (S_ISSOCK(status.st_mode)) {
        standard_error_sink.point_to(STDERR_FILENO, Manner::as_a_socket);
    } else if (!can_make_wait(status)) {
        standard_error_sink.point_to(STDERR_FILENO, Manner::plainly);
    } else if (leads_to(own_standard_error.descriptor, status)) {
        standard_error_sink.point_to(own_standard_error.descriptor, Manner::plainly);
    } else {
        standard_error_sink.point_to(STDERR_FILENO, Manner::when_ready);
    }
}

} // namespace

void LogSink::point_to(int descriptor, Manner manner)
{
    if (descriptor != descriptor_) forget();
    descriptor_ = descriptor;
    manner_ = manner;
}

void LogSink::forget()
{
    length_ = 0;
    lost_ = 0;
    in_lost_line_ = false;
    last_ = '\n';
    patience_ms_ = patience_limit_ms;
}

int LogSink::wait_until_ready(int limit_ms) const
{
    const std::int64_t start = now_ms();
    pollfd one = {descriptor_, POLLOUT, 0};
    poll(&one, 1, limit_ms);
    return static_cast<int>(now_ms() - start);
}

ssize_t LogSink::write_some(const char *bytes, std::size_t length)
{
    if (manner_ == Manner::as_a_socket) {
        return send(descriptor_, bytes, length, MSG_DONTWAIT | MSG_NOSIGNAL);
    }
    if (manner_ == Manner::when_ready) {
        pollfd one = {descriptor_, POLLOUT, 0};
        if (poll(&one, 1, 0) == 0) {
            errno = EAGAIN;
            return -1;
        }
        length = std::min(length, surely_taken);
    }
    return write(descriptor_, bytes, length);
}

/* How many bytes are out of hand: taken, or given up because nobody will ever take them. */
std::size_t LogSink::write_now(const char *bytes, std::size_t length)
{
    std::size_t written = 0;
    while (written < length) {
        const ssize_t count = write_some(bytes + written, length - written);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0 && errno != EAGAIN) return length;
        if (count <= 0) break;
        written += static_cast<std::size_t>(count);
    }
    return written;
}

void LogSink::drain()
{
    while (length_ > 0) {
        const std::size_t piece = std::min(length_, room_size - begin_);
        const std::size_t written = write_now(room_ + begin_, piece);
        begin_ = (begin_ + written) % room_size;
        length_ -= written;
        if (written < piece) break;
    }
    if (length_ == 0) patience_ms_ = patience_limit_ms;
    if (lost_ > 0 && length_ <= room_size / 2) tell_what_was_lost();
}

void LogSink::tell_what_was_lost()
{
    char line[64];
    const int length = std::snprintf(line, sizeof line, "%svorn: Lines of the log lost: %lu.\n",
                                     last_ == '\n' ? "" : "\n", lost_);
    lost_ = 0;
    take(line, static_cast<std::size_t>(length));
}

/* How many bytes there is room for. */
std::size_t LogSink::keep(const char *bytes, std::size_t length)
{
    std::size_t kept = 0;
    while (kept < length && length_ < room_size) {
        const std::size_t end = (begin_ + length_) % room_size;
        const std::size_t piece = std::min({length - kept, room_size - length_, room_size - end});
        std::memcpy(room_ + end, bytes + kept, piece);
        length_ += piece;
        kept += piece;
    }
    return kept;
}

bool LogSink::makes_room()
{
    if (patience_ms_ <= 0) return false;
    const int waited_ms = wait_until_ready(patience_ms_);
    drain();
    const bool has_room = length_ < room_size;
    /* Ready and yet takes nothing: that must come to an end too. */
    patience_ms_ -= has_room ? waited_ms : std::max(waited_ms, 1);
    return has_room;
}

/* A line counts when its first byte is lost; how much of the bytes belongs to it. */
std::size_t LogSink::drop_line(const char *bytes, std::size_t length)
{
    if (!in_lost_line_) lost_++;
    const void *end = std::memchr(bytes, '\n', length);
    in_lost_line_ = end == nullptr;
    return end ? static_cast<std::size_t>(static_cast<const char *>(end) - bytes) + 1 : length;
}

void LogSink::take(const char *bytes, std::size_t length)
{
    std::size_t taken = length_ == 0 ? write_now(bytes, length) : 0;
    while (taken < length) {
        taken += keep(bytes + taken, length - taken);
        if (taken < length && !makes_room()) break;
    }
    if (taken > 0) last_ = bytes[taken - 1];
    while (taken < length)
        taken += drop_line(bytes + taken, length - taken);
}

void LogSink::put(const char *bytes, std::size_t length)
{
    const SignalsHeld held;
    const int callers_errno = errno;

    drain();
    while (length > 0 && (in_lost_line_ || lost_ > 0)) {
        const std::size_t dropped = drop_line(bytes, length);
        bytes += dropped;
        length -= dropped;
    }
    if (length > 0) take(bytes, length);
    errno = callers_errno;
}

/* It can neither make the daemon wait nor become its terminal. */
void open_log()
{
    const int descriptor = open(
        paths::console, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NONBLOCK | O_NOCTTY, 0666);
    if (descriptor >= 0) console_sink.point_to(descriptor, Manner::plainly);
}

void write_to_log(const char *bytes, std::size_t length)
{
    if (console_sink.descriptor() < 0) {
        write_to_standard_error(bytes, length);
        return;
    }
    console_sink.put(bytes, length);
}

void open_standard_error()
{
    OwnStandardError &own = own_standard_error;
    if (fstat(STDERR_FILENO, &own.status) != 0 || !can_make_wait(own.status)) return;
    own.descriptor = open("/proc/self/fd/2", O_WRONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
}

void write_to_standard_error(const char *bytes, std::size_t length)
{
    const int callers_errno = errno;
    follow_standard_error();
    standard_error_sink.put(bytes, length);
    errno = callers_errno;
}

/* A descriptor that somebody closed would end the loop's wait. */
int add_log_takers(fd_set &takers)
{
    int highest = -1;
    for (const LogSink *sink : sinks) {
        const int descriptor = sink->descriptor();
        if (!sink->is_waiting() || descriptor >= FD_SETSIZE) continue;
        if (fcntl(descriptor, F_GETFD) == -1) continue;
        FD_SET(descriptor, &takers);
        highest = std::max(highest, descriptor);
    }
    return highest;
}

void write_waiting_logs()
{
    for (LogSink *sink : sinks) {
        const SignalsHeld held;
        if (sink->is_waiting()) sink->drain();
    }
}

void finish_logs()
{
    int left_ms = end_limit_ms;
    for (LogSink *sink : sinks) {
        sink->drain();
        while (sink->is_waiting() && left_ms > 0) {
            left_ms -= std::max(sink->wait_until_ready(left_ms), 1);
            sink->drain();
        }
    }
}

void forget_waiting_logs()
{
    for (LogSink *sink : sinks)
        sink->forget();
}

} // namespace vorn
