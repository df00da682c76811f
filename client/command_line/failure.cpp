/* SPDX-License-Identifier: MIT */
#include "failure.h"

#include "text.h"

namespace vorn::client {

void fail(ExitStatus status, std::initializer_list<std::string_view> parts)
{
    throw Failure(status, concat(parts));
}

} // namespace vorn::client
