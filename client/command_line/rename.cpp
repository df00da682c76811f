/* SPDX-License-Identifier: MIT */
/* vornctl rename: another name, which everything that refers to it follows. */
#include "change.h"

namespace vorn::client {

int rename(const Invocation &invocation)
{
    return make_change(invocation);
}

} // namespace vorn::client
