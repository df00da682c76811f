/* SPDX-License-Identifier: MIT */
#pragma once

#include "support/device.h"

namespace vorn::tests {

/* A device that has something to boot from and nothing else. */
class BareDevice : public Device {
protected:
    void SetUp() override
    {
        Device::SetUp();
        write_file("/etc/config/config.xml", "<?xml version=\"1.0\"?>\n<config/>\n");
    }
};

} // namespace vorn::tests
