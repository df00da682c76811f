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
    /* The folder of the reference plugins that were built. */
    static std::string built_plugins();
    /* A configuration of packaging/examples, by its file name. */
    static std::string example(const std::string &name);

    /* Kills the program whose id a command prints, as soon as it prints one: a child is there a
     * little later than it is started. */
    static testing::AssertionResult kill_program(const std::string &command);
    /* Has them hang: they take no signal any more but SIGKILL. */
    static testing::AssertionResult hang_program(const std::string &command);
    /*
     * What the daemon answers to another client that asks while it is still busy with the first
     * one's request: nothing that goes on in the background has time to end in between.
     */
    static std::string answer_right_after(const std::string &request, const std::string &question);
};

} // namespace vorn::tests
