/* SPDX-License-Identifier: MIT */
#pragma once

#include "support/device.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace vorn::tests {

/* A commit leaves to the background what takes long; this device has time to finish. */
class SettledDevice : public Device {
protected:
    void boot(const std::vector<std::string> &options = {"-f"})
    {
        Device::boot(options);
        ASSERT_TRUE(settles());
    }

    testing::AssertionResult settles() const
    {
        return comes_true([&] { return has_no_keeper() && !is_applying() && has_no_keeper(); })
               << "something is still being applied";
    }

    static bool is_applying()
    {
        constexpr char network[] =
            "<lsql><select><interface><state/></interface></select><select><address><state/>"
            "</address></select><select><route><state/></route></select></lsql>";
        constexpr char system[] = "<lsql><select><system><state/></system></select></lsql>";
        return (lsql(network) + lsql(system)).find(">applying<") != std::string::npos;
    }

private:
    /* What is deleted has no state any more, but the copy of the daemon that looks after a program
     * is there. After its end two questions follow: with the first the daemon has heard of it. */
    bool has_no_keeper() const
    {
        return shell("pgrep -c -x -P " + std::to_string(daemon_pid()) + " vorn") == "0\n";
    }
};

} // namespace vorn::tests
