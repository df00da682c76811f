/* SPDX-License-Identifier: MIT */
#pragma once

#include "support/device.h"

#include <string>

namespace vorn::tests {

inline constexpr char default_file[] = "/etc/defaultconfig.xml";

/* A board with a little of everything in its configuration, for tests in which calls fail. */
class FaultyDevice : public Device {
protected:
    void SetUp() override;

    /* The answer to one request; "" when the connection is closed without one. */
    static std::string ask(const std::string &request);
    /* Returns when the daemon has done all that it had to do; false when it does not answer. */
    static bool is_idle();
    /* All instances of all classes, as the daemon shows them. */
    static std::string configuration();
    static bool is_success(const std::string &answer);

    /* What the log has shown since the last call. */
    std::string new_messages();
    /* Nothing half written lies beside the startup file. */
    static bool only_the_startup_file_is_there();

    /* One line of the table of figures. */
    static void report(const std::string &scenario, unsigned long tried, const std::string &remark);

private:
    std::size_t messages_seen_ = 0;
};

} // namespace vorn::tests
