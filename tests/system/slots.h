/* SPDX-License-Identifier: MIT */
#pragma once

#include <filesystem>
#include <string>

#include "vornctl_device.h"

namespace vorn::tests {

/* Firmwares that start in turn on one device, each with another version of a plugin. */
class Slots : public VornctlDevice {
protected:
    void SetUp() override
    {
        VornctlDevice::SetUp();
        install_plugin("history.vorn");
        install_plugin("plugins.vorn");
        install_plugin("versions.vorn");
        std::filesystem::copy_file(in_plugins("versions"), versions);
        std::filesystem::remove(in_plugins("versions"));
    }

    /* The firmware with that version of the plugin; that of 0 declares none. */
    void boot_slot(int version)
    {
        if (daemon_pid() > 0) shut_down();
        insert_slot(version);
        boot();
    }

    static void insert_slot(int version)
    {
        take_out_slot();
        std::filesystem::copy_file(versions, in_plugins(name_of(version)));
    }

    static void take_out_slot()
    {
        for (int each = 0; each <= 3; each++)
            std::filesystem::remove(in_plugins(name_of(each)));
    }

    static std::string name_of(int version)
    {
        return version == 0 ? "wlan" : "wlan-" + std::to_string(version);
    }

    static std::string in_plugins(const std::string &name)
    {
        return "/usr/lib/vorn/plugins/" + name + ".vorn";
    }

    static std::string saved() { return read_file(startup); }
    static std::string upgrade() { return shell("vornctl show history upgrade -q"); }
    static std::string taken() { return shell("vornctl show history taken -q"); }

    /* The first slot has saved channel 6, the second one 11. */
    void use_both()
    {
        boot_slot(1);
        vornctl("add Wlan w0 chan=6");
        of_first_ = saved();
        boot_slot(2);
        vornctl("set Wlan w0 channel=11");
        of_second_ = saved();
    }

    std::string of_first_;
    std::string of_second_;
    static constexpr char versions[] = "/tmp/versions.vorn";
};

} // namespace vorn::tests
