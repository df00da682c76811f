/* SPDX-License-Identifier: MIT */
/*
 * The log: one stream for the whole process. States and errors always reach it, diagnostics from
 * their level on. The functions also run in signal context while the daemon comes up, so nothing
 * is kept between two calls but the four fields of the state.
 */
#include "vorn/debug.h"

#include "core/base/memory.h"
#include "core/base/paths.h"
#include "core/base/result.h"
#include "core/base/text.h"
#include "core/debug_state.h"

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

/* "Sat Nov 21 09:30:00 2026", without the newline that ctime_r puts behind it. */
void tell_time(char (&text)[clock_room])
{
    const std::time_t now = std::time(nullptr);
    if (!ctime_r(&now, text)) text[0] = '\0';
    text[std::strcspn(text, "\n")] = '\0';
}

void log_write(const char *format, std::va_list arguments)
{
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
        std::exit(1);
    }
    vorn_debug_eprintf("Attempting to continue operation.\n");
}

} // namespace

} // namespace vorn

using vorn::debug_state;

void vorn_debug_init()
{
    if (debug_state.stream) return;
    debug_state.stream = std::fopen(vorn::paths::console, "we");
    if (!debug_state.stream) debug_state.stream = stderr;
}

int vorn_debug_set(int level)
{
    if (level < 0 || level > VORN_DEBUG_MAX) return vorn::failed;
    debug_state.level = level;
    vorn_debug_printf("Debug level is now %d.\n", level);
    return vorn::ok;
}

int vorn_debug_get()
{
    return debug_state.level;
}

int vorn_debug_set_timestamp(int flag)
{
    return vorn::set_flag(debug_state.timestamp, flag);
}

int vorn_debug_get_timestamp()
{
    return debug_state.timestamp;
}

int vorn_debug_set_exit_on_fatal(int flag)
{
    return vorn::set_flag(debug_state.exit_on_fatal, flag);
}

void vorn_debug_printf(const char *format, ...)
{
    std::va_list arguments;
    va_start(arguments, format);
    vorn::log_write(format, arguments);
    va_end(arguments);
}

void vorn_debug_eprintf(const char *format, ...)
{
    std::va_list arguments;
    va_start(arguments, format);
    vorn::log_write(format, arguments);
    va_end(arguments);
}

void vorn_debug_1printf(const char *format, ...)
{
    if (debug_state.level == 0) return;
    std::va_list arguments;
    va_start(arguments, format);
    vorn::log_write(format, arguments);
    va_end(arguments);
}

void vorn_debug_lprintf(int minimum_level, const char *format, ...)
{
    if (debug_state.level < minimum_level) return;
    std::va_list arguments;
    va_start(arguments, format);
    vorn::log_write(format, arguments);
    va_end(arguments);
}

void vorn_debug_fatal(const char *message)
{
    vorn_debug_eprintf("Fatal error: %s\n", message);
    vorn::exit_or_continue();
}

/* errno is the caller's: whatever happens on the way must not change what is reported. */
void vorn_debug_perror(const char *message)
{
    const int error = errno;
    const std::size_t size = std::strlen(message) + vorn::perror_extra;
    const vorn::Allocated<char> text(static_cast<char *>(std::malloc(size)));

    if (text && debug_state.timestamp) {
        char clock[vorn::clock_room];
        vorn::tell_time(clock);
        std::snprintf(text.get(), size, "vorn: [%s] %s", clock, message);
    } else if (text) {
        std::snprintf(text.get(), size, "vorn: %s", message);
    }
    errno = error;
    std::perror(text ? text.get() : message);
}

void vorn_debug_fatal_perror(const char *message)
{
    const int error = errno;
    const vorn::Text text = vorn::format("Fatal error: %s", message);

    errno = error;
    vorn_debug_perror(text ? text.get() : message);
    vorn::exit_or_continue();
}

FILE *vorn_debug_get_stream()
{
    return debug_state.stream;
}
