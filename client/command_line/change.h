/* SPDX-License-Identifier: MIT */
#pragma once

#include <string>
#include <vector>

#include "verb.h"

namespace vorn::client {

/* One "set", "add", "delete", "unset" or "rename" as somebody wrote it. */
struct Change {
    std::string operation;
    std::string class_name;
    std::vector<std::string> words; /* the name, where there can be one, and assignments */
    std::string where;
    bool all = false;    /* delete without a name or a condition */
    bool or_set = false; /* add, but set what is there already */
    std::string place;   /* "FILE:LINE: " for what stands in a file, else empty */
};

/* Which verbs make a change, and may stand in a file of changes. */
const std::vector<std::string> &change_verbs();

/* The change that an invocation of one of them asks for. */
Change change_of(const Invocation &invocation, const std::string &place);

/*
 * Makes all changes in one transaction: all of them happen or none. A change of many that matches
 * no instance is reported, and makes the status `differs`; what the daemon refuses is thrown.
 */
int make_changes(const Options &options, const std::vector<Change> &changes);

/* The one that the invocation asks for. */
int make_change(const Invocation &invocation);

} // namespace vorn::client
