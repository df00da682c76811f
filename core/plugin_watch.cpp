/* SPDX-License-Identifier: MIT */
/*
 * What ends the daemon is noted before it does, and then ends it as it would have. What it
 * protects: a reset of the machine takes the page with it, so that a death in a plugin's code, or a
 * hanging that the watchdog is about to end, is written to the disk at that moment, and at no
 * other.
 */
#include "core/plugin_watch.h"

#include "core/plugin_page.h"
#include "core/plugin_page_record.h"

#include <algorithm>
#include <csignal>
#include <ctime>
#include <iterator>

#include <sys/mman.h>
#include <sys/types.h>
#include <unistd.h>

namespace vorn {

namespace {

/* The last two ask the daemon to end; the others strike it. */
constexpr int deadly[] = {SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGABRT, SIGTRAP, SIGTERM, SIGINT};

constinit struct sigaction actions_before[std::size(deadly)] = {};
constinit pid_t watched_process = 0; /* a child that is not yet its program is none of ours */

constexpr std::size_t stack_size = std::size_t{16} * 1024;

bool asks_to_end(int signal_number)
{
    return signal_number == SIGTERM || signal_number == SIGINT;
}

bool is_on_page(const void *place)
{
    const auto *first = reinterpret_cast<const char *>(plugin_page);
    return plugin_page && place >= first && place < first + sizeof *plugin_page;
}

/* Somebody has cut the file off. Memory takes its place, so that the store succeeds. */
bool page_is_replaced()
{
    return mmap(plugin_page, sizeof *plugin_page, PROT_READ | PROT_WRITE,
                MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED, -1, 0) != MAP_FAILED;
}

void note_death(int signal_number)
{
    if (getpid() != watched_process || !plugin_page || *code_under_way == 0) return;
    if (asks_to_end(signal_number)) {
        *code_under_way = 0;
        return;
    }
    plugin_page->signal = signal_number;
    write_plugin_record(true, signal_number);
}

/* What strikes again by itself once this returns need not be sent, and keeps its reason. */
bool has_to_be_sent_again(const siginfo_t &info)
{
    return info.si_code <= 0 || info.si_signo == SIGTRAP;
}

void die(int signal_number, siginfo_t *info, void *)
{
    if (signal_number == SIGBUS && is_on_page(info->si_addr) && page_is_replaced()) return;
    note_death(signal_number);
    const auto *row = std::find(std::begin(deadly), std::end(deadly), signal_number);
    sigaction(signal_number, &actions_before[row - deadly], nullptr);
    if (has_to_be_sent_again(*info)) raise(signal_number);
}

/* A plugin that calls itself without end leaves no stack to note that on. */
void make_room_for_handlers()
{
    stack_t there;
    if (sigaltstack(nullptr, &there) == 0 && !(there.ss_flags & SS_DISABLE)) return;
    void *memory =
        mmap(nullptr, stack_size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) return;
    stack_t own = {};
    own.ss_sp = memory;
    own.ss_size = stack_size;
    sigaltstack(&own, nullptr);
}

/* How long before its end the watchdog's patience is taken to be over. */
constexpr int seconds_to_write = 10;

struct HangWatch {
    timer_t timer;
    pid_t process; /* whose timer it is: one that went to the background has none any more */
    struct timespec until;
    volatile std::sig_atomic_t struck;
};
constinit HangWatch hang = {};

int hang_signal()
{
    return SIGRTMAX - 2;
}

void note_hanging(int)
{
    if (getpid() != watched_process || !plugin_page || *code_under_way == 0) return;
    hang.struck = 1;
    write_plugin_record(true, 0);
}

bool has_timer()
{
    if (hang.process == getpid()) return true;
    struct sigaction action = {};
    action.sa_handler = note_hanging;
    action.sa_flags = SA_RESTART | SA_ONSTACK;
    sigfillset(&action.sa_mask);
    sigaction(hang_signal(), &action, nullptr);
    struct sigevent event = {};
    event.sigev_notify = SIGEV_SIGNAL;
    event.sigev_signo = hang_signal();
    if (timer_create(CLOCK_MONOTONIC, &event, &hang.timer) != 0) return false;
    hang.process = getpid();
    return true;
}

void set_timer(const struct timespec &until)
{
    struct itimerspec when = {};
    when.it_value = until;
    if (has_timer()) timer_settime(hang.timer, TIMER_ABSTIME, &when, nullptr);
}

} // namespace

void watch_for_deaths()
{
    struct sigaction action = {};
    action.sa_sigaction = die;
    action.sa_flags = SA_SIGINFO | SA_ONSTACK;
    sigfillset(&action.sa_mask);
    make_room_for_handlers();
    watched_process = getpid();
    for (std::size_t i = 0; i < std::size(deadly); i++)
        sigaction(deadly[i], &action, &actions_before[i]);
}

void watch_on_in_background()
{
    watched_process = getpid();
    if (hang.until.tv_sec > 0) set_timer(hang.until);
}

void watch_for_hanging(int patience_seconds)
{
    clock_gettime(CLOCK_MONOTONIC, &hang.until);
    hang.until.tv_sec += patience_seconds - seconds_to_write;
    set_timer(hang.until);
    if (!hang.struck) return;
    hang.struck = 0; /* it went on all the same */
    write_plugin_record(false, 0);
}

void watch_for_hanging_no_more()
{
    hang.until = {};
    if (hang.process == getpid()) set_timer(hang.until);
}

} // namespace vorn
