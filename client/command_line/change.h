/* SPDX-License-Identifier: MIT */
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "device.h"
#include "lsql.h"
#include "schema.h"

namespace vorn::client {

/* One "set", "add" or "delete" as somebody wrote it. */
struct Change {
    std::string operation;
    std::string class_name;
    std::vector<std::string> words; /* the name, where there can be one, and assignments */
    std::string where;
    bool all = false;  /* delete without a name or a condition */
    std::string place; /* "FILE:LINE: " for what stands in a file, else empty */
};

/*
 * Makes all changes in one transaction: all of them happen or none. A change that matches no
 * instance is reported, and makes the status `differs`; what the daemon refuses is thrown.
 */
int apply(Device &device, const Schema &schema, const std::vector<Change> &changes,
          const std::string &origin);

/* The words of a line as a shell would see them: quotes, backslashes, and "#" before a comment. */
std::vector<std::string> split_words(const std::string &line, const std::string &place);

} // namespace vorn::client
