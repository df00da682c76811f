/* SPDX-License-Identifier: MIT */
#pragma once

#include "asking.h"
#include "changes.h"

namespace vorn::gate {

/* What a change came to: {"commit","saved","detail","trial","not-applied"}. */
Json aftermath(Desk &desk, const Caller &caller, const DeviceSchema &schema, const Wish &wish);

/* Whether a state says that something is not as it is configured. */
bool is_not_applied(std::string_view state);

/* Of the class "trial": {"state":"none"}, or who holds what. */
Json json_of_trial(const std::vector<client::Instance> &trials);

} // namespace vorn::gate
