/* SPDX-License-Identifier: MIT */
#pragma once

#include <csignal>

namespace vorn {

/*
 * While the daemon comes up, a signal strikes anywhere. Work that walks what may be half changed,
 * or allocates, waits for the next place where nothing is half done.
 */

/* Does the work at once when the daemon is at rest, else puts it off. For signal handlers. */
void do_or_put_off(void (*work)());

/* Does what was put off. For places where nothing is half done. */
void do_what_was_put_off();

/* Whether a signal that strikes now finds nothing half done. */
bool is_at_rest();

/* While this lives the daemon does nothing but wait for a child. */
class AtRest {
public:
    AtRest();
    AtRest(const AtRest &) = delete;
    ~AtRest();

private:
    std::sig_atomic_t before_;
};

} // namespace vorn
