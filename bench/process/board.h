/* SPDX-License-Identifier: MIT */
#pragma once

#include "vorn/instances.h"

#include <string>

namespace vorn::bench {

constexpr int values_per_instance = 10;
constexpr int few_instances = 10;
constexpr int other_classes = 10;

/*
 * The running configuration of this process: `items` instances of the class Item, ten of the class
 * Few, and `others` spread over ten more classes; each instance has ten values. A provider with a
 * committer for Few and Item applies nothing, another refreshes Item. What an earlier board left is
 * dropped.
 */
void set_up_board(int items, int others);

/* What a transaction leaves behind would grow without end: all of it is freed. */
void forget_old_instances();

/* The text value of one property of every item. */
std::string value_text(int instance, int property);
std::string item_name(int instance);

/* A configuration file with that many items, for as long as this lives. */
class ConfigFile {
public:
    explicit ConfigFile(int items);
    ~ConfigFile();
    ConfigFile(const ConfigFile &) = delete;
    ConfigFile &operator=(const ConfigFile &) = delete;

    char path[32] = "/tmp/vorn-bench-XXXXXX";
};

/* A store of its own out of the file, in the steps of a boot; the caller's. */
vorn_instances *boot_load(const char *path);

} // namespace vorn::bench
