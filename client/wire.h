/* SPDX-License-Identifier: MIT */
#pragma once

#include <functional>
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

/* The same for an inform request: "name=value" pairs joined by "&"; the reply is one line. */
Exchange exchange_inform(const std::string &body, int limit_seconds);

/*
 * Subscribes to the daemon's notices and hands them over as they come, each without its end mark,
 * until the function answers false. Returns none then, and otherwise why there are no more.
 */
Exchange watch_notices(const std::function<bool(const std::string &notice)> &take);

} // namespace vorn::client
