/* SPDX-License-Identifier: MIT */
/*
 * What a signal asked for and where it may be done. One piece of work can wait at a time: there is
 * one signal whose work is put off, and asking twice means no more than asking once.
 */
#include "core/put_off.h"

#include "core/base/signals_held.h"

#include <csignal>

namespace vorn {

namespace {

using Work = void (*)();

constinit volatile Work waiting = nullptr;
constinit volatile std::sig_atomic_t resting = 0;

} // namespace

void do_or_put_off(void (*work)())
{
    if (resting) {
        work();
    } else {
        waiting = work;
    }
}

/*
 * A second signal must not strike into the work of the first. One that strikes between the two
 * looks waits for the next place, as one does that strikes after them; nearly always none has, and
 * holding signals costs two system calls.
 */
void do_what_was_put_off()
{
    if (!waiting) return;
    const SignalsHeld held;
    const Work work = waiting;
    waiting = nullptr;
    if (work) work();
}

bool is_at_rest()
{
    return resting != 0;
}

AtRest::AtRest() : before_(resting)
{
    const SignalsHeld held;
    do_what_was_put_off();
    resting = 1;
}

AtRest::~AtRest()
{
    resting = before_;
}

} // namespace vorn
