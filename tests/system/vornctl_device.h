/* SPDX-License-Identifier: MIT */
#pragma once

#include "support/device.h"

#include <string>

namespace vorn::tests {

inline constexpr char vornctl_config[] =
    "<config><Radio name=\"r0\"><channel>6</channel></Radio></config>";

/* A board that describes itself, with one class of every kind, and the client beside it. */
class VornctlDevice : public Device {
protected:
    static constexpr char startup[] = "/etc/config/config.xml";

    void SetUp() override
    {
        Device::SetUp();
        for (const char *name : {"board.vorn", "rescan.vorn", "save.vorn", "schema.vorn"})
            install_plugin(name);
        write_file(startup, vornctl_config);
    }

    /* Standard output, then the exit status in a line of its own, then standard error. */
    static std::string vornctl(const std::string &arguments)
    {
        return shell("vornctl " + arguments +
                     " 2>/tmp/vornctl.err; echo \"[$?]\"; cat /tmp/vornctl.err");
    }
};

} // namespace vorn::tests
