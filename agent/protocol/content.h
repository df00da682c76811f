/* SPDX-License-Identifier: MIT */
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace vorn::fleet {

/* One instance as a document names it. */
struct Item {
    std::optional<std::string> name;
    std::map<std::string, std::string> values;
};

/* What a document says of one class. */
struct Part {
    bool is_whole = false;         /* the items are all that there shall be */
    std::vector<Item> items;       /* otherwise these values of these, */
    std::vector<std::string> none; /* and none of these names */
};

/* By the names of the classes, those of a family under their abstract class. */
using Content = std::map<std::string, Part>;

/* The SHA-256 of the content's canonical form, in 64 hexadecimal digits. */
std::string hash_of(const Content &content);

} // namespace vorn::fleet
