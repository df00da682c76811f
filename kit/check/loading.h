/* SPDX-License-Identifier: MIT */
#pragma once

#include <string>
#include <vector>

#include "callbacks.h"

namespace vorn::check {

/* One plugin, and what it brought while its entry ran. */
struct Plugin {
    std::string path;
    std::string name; /* of the file */
    bool loaded = false;
    std::vector<std::string> classes;
    std::vector<std::string> providers;
    std::vector<std::string> silent; /* providers that commit and explain nothing */
    std::vector<std::string> handlers;
    std::vector<std::string> messages;
    Callbacks callbacks;
};

struct Loading {
    std::vector<Plugin> plugins;
    std::vector<std::string> class_messages;    /* when the classes were closed */
    std::vector<std::string> provider_messages; /* when the providers were ordered */
    bool classes_valid = false;
    bool order_valid = false;
};

/* What was logged since the last call, a line each, without the daemon's name. */
std::vector<std::string> take_messages();

/* How much is logged from now on. */
void set_log_level(int level);

/*
 * Loads the plugins in the steps of a start of the daemon, up to where it would begin to act. The
 * name of the plugin that is being loaded is written to `current`, for whoever sees this process
 * die.
 */
Loading load(const std::vector<std::string> &paths, char *current, std::size_t room);

} // namespace vorn::check
