/* SPDX-License-Identifier: MIT */
/* vornctl set: new values for instances that exist. */
#include "change.h"

namespace vorn::client {

int set(const Invocation &invocation)
{
    return make_change(invocation);
}

} // namespace vorn::client
