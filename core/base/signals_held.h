/* SPDX-License-Identifier: MIT */
#pragma once

#include <csignal>

namespace vorn {

/* While this lives no signal arrives, or not the one that is named; then those that came do. */
class SignalsHeld {
public:
    SignalsHeld()
    {
        sigset_t all;
        sigfillset(&all);
        sigprocmask(SIG_SETMASK, &all, &before_);
    }
    explicit SignalsHeld(int signal_number)
    {
        sigset_t one;
        sigemptyset(&one);
        sigaddset(&one, signal_number);
        sigprocmask(SIG_BLOCK, &one, &before_);
    }
    SignalsHeld(const SignalsHeld &) = delete;
    ~SignalsHeld() { sigprocmask(SIG_SETMASK, &before_, nullptr); }

private:
    sigset_t before_;
};

/* Whatever was held before, by whoever started this process. */
inline void hear_all_signals()
{
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
}

} // namespace vorn
