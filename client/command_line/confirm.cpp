/* SPDX-License-Identifier: MIT */
/* vornctl confirm: the change that is on trial stays. */
#include "trial.h"

namespace vorn::client {

int confirm(const Invocation &invocation)
{
    return end_trial(invocation, "confirm");
}

} // namespace vorn::client
