/* SPDX-License-Identifier: MIT */
/* vornctl revert: the change that is on trial goes. */
#include "trial.h"

namespace vorn::client {

int revert(const Invocation &invocation)
{
    return end_trial(invocation, "revert");
}

} // namespace vorn::client
