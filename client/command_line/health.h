/* SPDX-License-Identifier: MIT */
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "lsql.h"

namespace vorn::client {

/* What a device has told of several classes at once. */
struct Answers {
    /* For each select of the request its class, and the property where it is of one alone. */
    std::vector<std::pair<std::string, std::string>> asked;
    std::vector<Outcome> outcomes;

    /* Null for a class that was not asked for. */
    const std::vector<Instance> *all_of(std::string_view class_name) const;
    const Instance *first_of(std::string_view class_name) const;

    /*
     * What is not as it should be, for people; nothing of a healthy device. Looked at are the
     * classes save, history, plugin and daemon, and each state that was asked for alone.
     */
    std::vector<std::string> problems() const;
};

} // namespace vorn::client
