/* SPDX-License-Identifier: MIT */
#pragma once

#include <string>

namespace vorn::client {

/* Why an exchange did not come about; the text is meant for a person. */
enum class Failure { none, not_there, broken, too_slow };

struct Exchange {
    Failure failure = Failure::none;
    std::string reply; /* whole, or what is known of the failure */
};

/* Sends one LSQL request to the daemon of this machine and takes the reply, within the limit. */
Exchange exchange_lsql(const std::string &request, int limit_seconds);

} // namespace vorn::client
