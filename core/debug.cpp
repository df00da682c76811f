/* SPDX-License-Identifier: MIT */
/*
 * The log: one stream for the whole process. States and errors always reach it, diagnostics from
 * their level on. The functions also run in signal context while the daemon comes up, so no signal
 * arrives while a line is written, and nothing is kept between two calls but the four fields of
 * the state and the lines that nobody took yet.
 */
#include "vorn/debug.h"

#include "core/base/memory.h"
#include "core/base/result.h"
#include "core/base/signals_held.h"
#include "core/base/text.h"
#include "core/debug_state.h"
#include "core/log_sink.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

extern const int VORN_DEBUG_MAX = 6;

namespace vorn {

constinit DebugState debug_state = {};

namespace {

constexpr std::size_t clock_room = 32;
constexpr std::size_t perror_extra = 71;

/* "Sat Nov 21 09:30:00 2026", without the newline that ctime_r puts after it. */
void tell_time(char (&text)[clock_room])
{
    const std::time_t now = std::time(nullptr);
    if (!ctime_r(&now, text)) text[0] = '\0';
    text[std::strcspn(text, "\n")] = '\0';
}

VORN_PRINTF(1, 0) void log_write(const char *format, std::va_list arguments)
{
    const SignalsHeld held;
    std::FILE *stream = debug_state.stream;

    std::fputs("vorn: ", stream);
    if (debug_state.timestamp) {
        char clock[clock_room];
        tell_time(clock);
        std::fprintf(stream, "[%s] ", clock);
    }
    std::vfprintf(stream, format, arguments);
    std::fflush(stream);
}

int set_flag(int &flag, int value)
{
    if (value != 0 && value != 1) return failed;
    flag = value;
    return ok;
}

void exit_or_continue()
{
    if (debug_state.exit_on_fatal) {
        vorn_debug_eprintf("Exiting due to fatal error.\n");
        finish_logs();
        std::exit(1);
    }
    vorn_debug_eprintf("Attempting to continue operation.\n");
}

ssize_t write_to_sinks(void *, const char *bytes, std::size_t length)
{
    write_to_log(bytes, length);
    return static_cast<ssize_t>(length);
}

/* A stream that never makes its writer wait; standard error's own when memory is gone. */
std::FILE *open_stream()
{
    static char buffer[4096];
    cookie_io_functions_t functions = {};

    open_log();
    functions.write = write_to_sinks;
    std::FILE *stream = fopencookie(nullptr, "w", functions);
    if (!stream) return stderr;
    std::setvbuf(stream, buffer, _IOFBF, sizeof buffer);
    return stream;
}

/* The beginning of a report when memory is there for it: "vorn: ", and the time when told. */
void put_prefix(char *text, std::size_t size, const char *message)
{
    if (debug_state.timestamp) {
        char clock[clock_room];
        tell_time(clock);
        std::snprintf(text, size, "vorn: [%s] %s", clock, message);
    } else {
        std::snprintf(text, size, "vorn: %s", message);
    }
}

/* The reason is handed on from its first reading: allocating may change errno. */
void report_system_error(int error, const char *message)
{
    const std::size_t size = std::strlen(message) + perror_extra;
    const Allocated<char> text(static_cast<char *>(noted(std::malloc(size))));

    if (text) put_prefix(text.get(), size, message);
    report_error(error, text ? text.get() : message);
}

} // namespace

/* One write when there is memory for it: children share standard error and write there too. */
void report_error(int error, const char *message)
{
    const Text report = format("%s: %s\n", message, std::strerror(error));

    if (report) {
        write_to_standard_error(report.get(), std::strlen(report.get()));
        return;
    }
    const char *const parts[] = {message, ": ", std::strerror(error), "\n"};
    for (const char *each : parts)
        write_to_standard_error(each, std::strlen(each));
}

} // namespace vorn

using namespace vorn;

void vorn_debug_init()
{
    if (debug_state.stream) return;
    open_standard_error();
    debug_state.stream = open_stream();
}

int vorn_debug_set(int level)
{
    if (level < 0 || level > VORN_DEBUG_MAX) return failed;
    debug_state.level = level;
    vorn_debug_printf("Debug level is now %d.\n", level);
    return ok;
}

int vorn_debug_get()
{
    return debug_state.level;
}

int vorn_debug_set_timestamp(int flag)
{
    return set_flag(debug_state.timestamp, flag);
}

int vorn_debug_get_timestamp()
{
    return debug_state.timestamp;
}

int vorn_debug_set_exit_on_fatal(int flag)
{
    return set_flag(debug_state.exit_on_fatal, flag);
}

void vorn_debug_printf(const char *format, ...)
{
    std::va_list arguments;
    va_start(arguments, format);
    log_write(format, arguments);
    va_end(arguments);
}

void vorn_debug_eprintf(const char *format, ...)
{
    std::va_list arguments;
    va_start(arguments, format);
    log_write(format, arguments);
    va_end(arguments);
}

void vorn_debug_1printf(const char *format, ...)
{
    if (debug_state.level == 0) return;
    std::va_list arguments;
    va_start(arguments, format);
    log_write(format, arguments);
    va_end(arguments);
}

void vorn_debug_lprintf(int minimum_level, const char *format, ...)
{
    if (debug_state.level < minimum_level) return;
    std::va_list arguments;
    va_start(arguments, format);
    log_write(format, arguments);
    va_end(arguments);
}

void vorn_debug_fatal(const char *message)
{
    vorn_debug_eprintf("Fatal error: %s\n", message);
    exit_or_continue();
}

void vorn_debug_perror(const char *message)
{
    report_system_error(errno, message);
}

void vorn_debug_fatal_perror(const char *message)
{
    const int error = errno;
    const Text text = format("Fatal error: %s", message);

    report_system_error(error, text ? text.get() : message);
    exit_or_continue();
}

FILE *vorn_debug_get_stream()
{
    return debug_state.stream;
}
