/* SPDX-License-Identifier: MIT */
/*
 * Whose a process number is. The kernel gives it to another process once it is free, so that the
 * number alone says nothing of one that is no child.
 */
#include "services/process_number.h"

#include "core/base/file.h"
#include "core/base/text.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace vorn {

namespace {

/* The kernel's status line of a process, cut to the room. Takes no memory: a service must not seem
   to have ended because there is none. */
template <std::size_t room>
bool read_status(pid_t pid, char (&line)[room])
{
    const Line<32> path("/proc/%d/stat", static_cast<int>(pid));
    const Fd status = open_regular(path.get(), O_RDONLY);
    const ssize_t length = status ? read(status.get(), line, room - 1) : -1;
    line[std::max<ssize_t>(length, 0)] = '\0';
    return length >= 0;
}

/* Of a status line: the name of the program before it may have blanks and brackets of its own. */
const char *after_the_name(const char *line)
{
    const char *end = std::strrchr(line, ')');
    return end && end[1] == ' ' ? end + 2 : "";
}

/* 0 when the line does not have it. */
unsigned long long birth_in(const char *line)
{
    constexpr int fields_before = 19; /* from its state on */
    const char *at = after_the_name(line);
    for (int i = 0; at && i < fields_before; i++)
        at = std::strchr(at + 1, ' ');
    return at ? std::strtoull(at, nullptr, 10) : 0;
}

} // namespace

/* Also of a zombie: its number is kept for it until it is reaped. */
bool is_our_child(pid_t pid)
{
    siginfo_t unused;
    return waitid(P_PID, static_cast<id_t>(pid), &unused, WEXITED | WNOHANG | WNOWAIT) == 0;
}

/* The letter after the second blank; NUL when there is no line. */
char process_state(pid_t pid)
{
    char line[512];
    if (!read_status(pid, line)) return '\0';
    const char *blank = std::strchr(line, ' ');
    if (blank) blank = std::strchr(blank + 1, ' ');
    return blank ? blank[1] : '\0';
}

unsigned long long birth_of(pid_t pid)
{
    char line[512];
    return read_status(pid, line) ? birth_in(line) : 0;
}

/*
 * A process that is no child may have ended, and its number have gone to another, which was born
 * later. Where there is no status line to read, the number is all that is known.
 */
bool is_the_one_born(pid_t pid, unsigned long long birth)
{
    char line[512];
    if (kill(pid, 0) != 0) return false;
    if (!read_status(pid, line)) return true;
    const unsigned long long found = birth_in(line);
    return *after_the_name(line) != 'Z' && (birth == 0 || found == 0 || found == birth);
}

} // namespace vorn
