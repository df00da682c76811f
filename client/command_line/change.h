/* SPDX-License-Identifier: MIT */
#pragma once

#include <string>
#include <vector>

#include "device.h"
#include "schema.h"
#include "verb.h"

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

/* The change that an invocation of "set", "add" or "delete" asks for. */
Change change_of(const Invocation &invocation, const std::string &place = {});

/*
 * Makes all changes in one transaction: all of them happen or none. A change that matches no
 * instance is reported, and makes the status `differs`; what the daemon refuses is thrown.
 */
int make_changes(const Options &options, const std::vector<Change> &changes);

} // namespace vorn::client
