/* SPDX-License-Identifier: MIT */
/* Around the history: files of its own, and timers and a daemon that do what a test says. */
#pragma once

#include "vorn/config.h"
#include "vorn/eloop.h"

#include <string>
#include <vector>

#include <unistd.h>

namespace vorn::tests {

/* One at a time; its files go with it. */
struct HistoryDevice {
    HistoryDevice();
    HistoryDevice(const HistoryDevice &) = delete;
    ~HistoryDevice();

    /* Where a file of /etc/config, or of a folder in there, is meanwhile. */
    std::string path_of(const std::string &path) const;
    bool has(const std::string &path) const;
    std::string text_of(const std::string &path) const;
    void write(const std::string &path, const std::string &text) const;

    /* All that wait for a time are called. */
    void time_passes();

    std::vector<eloop_timeout_handler> timers; /* in their order */
    void (*at_end)() = nullptr;
    vorn_config_saved_fn saved = nullptr;
    const char *source = "startup";
    std::vector<std::string> files; /* that belong to the configuration */
    int reads = 0;                  /* of generations */
    const std::string folder = "/tmp/vorn_history_device_" + std::to_string(getpid());
};

inline constexpr char startup_of_history[] = "/etc/config/config.xml";
inline constexpr char boots_of_history[] = "/etc/config/history/boots";
inline constexpr char upgrades_of_history[] = "/etc/config/history/upgrades";

} // namespace vorn::tests
