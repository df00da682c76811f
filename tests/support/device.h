/* SPDX-License-Identifier: MIT */
#pragma once

#include <string>

#include <vorn-test/device.h>

namespace vorn::tests {

using test::error_file;

/* The harness that plugin authors get, with plugins of the build and without leaks. */
class Device : public test::Device {
protected:
    void SetUp() override;

    /* A plugin that the build made, by its file name. */
    static void install_plugin(const std::string &name);
};

} // namespace vorn::tests
