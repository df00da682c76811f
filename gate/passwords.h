/* SPDX-License-Identifier: MIT */
#pragma once

#include <string>

namespace vorn::gate {

/* What the helper says of a password. */
struct Verdict {
    enum class Kind { right, wrong, wait, no_helper } kind;
    int seconds; /* of waiting */
};

/* Asks whether that is the password of that user, who came from that address. Takes its time. */
Verdict ask_for_password(const std::string &socket, const std::string &address,
                         const std::string &user, const std::string &password);

} // namespace vorn::gate
