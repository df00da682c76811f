/* SPDX-License-Identifier: MIT */
/* vornctl unset: values that go. */
#include "change.h"

namespace vorn::client {

int unset(const Invocation &invocation)
{
    return make_change(invocation);
}

} // namespace vorn::client
