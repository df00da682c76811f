/* SPDX-License-Identifier: MIT */
#pragma once

#include <unistd.h>

#include "vornctl_device.h"

namespace vorn::tests {

/* A device that tells how it is doing, with one program. */
class VornctlStates : public VornctlDevice {
protected:
    void SetUp() override
    {
        VornctlDevice::SetUp();
        unlink("/usr/lib/vorn/plugins/save.vorn");
        install_plugin("states.vorn");
        write_file("/etc/config/config.xml",
                   "<config><Radio name=\"r0\"><channel>6</channel></Radio>"
                   "<Radio name=\"r1\"/><Address name=\"lan\"><kind>Static</kind></Address>"
                   "<Program name=\"p\"/></config>");
        boot({"-f", "-d"});
    }
};

} // namespace vorn::tests
