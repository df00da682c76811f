/* SPDX-License-Identifier: MIT */
/* vornctl delete: instances that go. */
#include "change.h"

namespace vorn::client {

int delete_(const Invocation &invocation)
{
    return make_change(invocation);
}

} // namespace vorn::client
