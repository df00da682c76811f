/* SPDX-License-Identifier: MIT */
/* vornctl add: a new instance. */
#include "change.h"

namespace vorn::client {

int add(const Invocation &invocation)
{
    return make_change(invocation);
}

} // namespace vorn::client
