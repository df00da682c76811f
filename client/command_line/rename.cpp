/* SPDX-License-Identifier: MIT */
/* vornctl rename: another name, which everything that refers to it follows. */
#include "change.h"

namespace vorn::client {

int rename(const Invocation &invocation)
{
    return make_changes(invocation.options, {change_of(invocation)});
}

} // namespace vorn::client
