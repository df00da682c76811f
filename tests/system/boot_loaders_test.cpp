/* SPDX-License-Identifier: MIT */
/*
 * The programs that know of slots themselves, as Debian has them: RAUC with its service, whose boot
 * loader is a script, and the environment of U-Boot in a file.
 */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <string>

#include "vornctl_device.h"

namespace {

using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

class BootLoaders : public vorn::tests::VornctlDevice {
protected:
    void SetUp() override
    {
        VornctlDevice::SetUp();
        for (const char *name : {"firmware.vorn", "history.vorn"})
            install_plugin(name);
    }

    static bool has(const std::string &program)
    {
        return shell("command -v " + program + " >/dev/null && echo yes") == "yes\n";
    }

    void boot_with(const std::string &method)
    {
        write_file(startup,
                   "<config><history><proven-after>0</proven-after></history><firmware><method>" +
                       method + "</method></firmware></config>");
        boot();
    }

    static std::string told(const std::string &property)
    {
        return shell("vornctl show firmware " + property + " -q");
    }

    static std::string state_after(const std::string &others)
    {
        return shell("for i in $(seq 1000); do vornctl show firmware state -q | grep -v '^" +
                     others + "' && break; sleep 0.05; done");
    }
};

class Rauc : public BootLoaders {
protected:
    void SetUp() override
    {
        BootLoaders::SetUp();
        if (!has("rauc") || !has("dbus-daemon"))
            GTEST_SKIP() << "rauc or dbus-daemon is not installed";
        write_file("/tmp/bus.conf",
                   "<busconfig><type>system</type><listen>unix:path=/run/dbus/system_bus_socket"
                   "</listen><auth>EXTERNAL</auth><policy context='default'><allow user='*'/>"
                   "<allow own='*'/><allow send_destination='*'/><allow receive_sender='*'/>"
                   "</policy></busconfig>");
        write_file("/tmp/loader", "#!/bin/sh\n"
                                  "echo \"$*\" >>/tmp/asked\n"
                                  "case $1 in get-primary) echo B ;; get-state) echo bad ;;\n"
                                  "set-state) cat /tmp/refusal >&2 && test ! -s /tmp/refusal ;; "
                                  "esac\n");
        std::filesystem::permissions("/tmp/loader", std::filesystem::perms::owner_all);
        write_file("/tmp/refusal", "");
        write_file("/tmp/status", "[slot.rootfs.1]\nbundle.version=7.1\n");
        std::filesystem::create_directories("/etc/rauc");
        std::filesystem::create_directories("/run/dbus");
        write_file("/etc/rauc/system.conf",
                   "[system]\ncompatible=board\nbootloader=custom\nstatusfile=/tmp/status\n"
                   "[handlers]\nbootloader-custom-backend=/tmp/loader\n"
                   "[slot.rootfs.0]\ndevice=/dev/null\nbootname=A\n"
                   "[slot.rootfs.1]\ndevice=/dev/zero\nbootname=B\n");
        bus_ = shell("dbus-daemon --config-file=/tmp/bus.conf --nofork --nopidfile >/tmp/bus.log "
                     "2>&1 & echo $!");
        service_ = shell("rauc --override-boot-slot=B service >/tmp/rauc.log 2>&1 & echo $!");
        ASSERT_EQ(shell("for i in $(seq 1000); do timeout 5 rauc status >/dev/null 2>&1 && echo up "
                        "&& break; "
                        "sleep 0.05; done"),
                  "up\n")
            << read_file("/tmp/rauc.log");
    }

    void TearDown() override
    {
        for (const std::string &each : {service_, bus_}) {
            if (each.empty()) continue;
            EXPECT_EQ(kill(std::stoi(each), SIGKILL), 0);
        }
        BootLoaders::TearDown();
    }

    static std::string asked() { return read_file("/tmp/asked"); }

private:
    std::string bus_;
    std::string service_;
};

TEST_F(Rauc, TellsTheBootLoaderThatTheSlotIsGood)
{
    boot_with("rauc");

    EXPECT_EQ(state_after("waiting"), "good\n");
    EXPECT_EQ(told("slot"), "B\n");
    EXPECT_EQ(told("version"), "7.1\n");
    EXPECT_THAT(asked(), EndsWith("set-state B good\n"));
}

TEST_F(Rauc, LeavesASlotToTheBootLoaderThatIsNotConfirmed)
{
    boot_with("none");
    vornctl("add Radio r0");
    shut_down();
    install_plugin("plugins.vorn");
    boot();
    vornctl("set firmware method=rauc --no-wait");

    EXPECT_EQ(state_after("waiting to be proven"), "waiting to be confirmed\n");
    EXPECT_THAT(asked(), Not(HasSubstr("set-state")));
    vornctl("confirm --upgrade");
    EXPECT_EQ(state_after("waiting"), "good\n");
}

TEST_F(Rauc, SaysWhatTheBootLoaderHasAgainstIt)
{
    write_file("/tmp/refusal", "flash is worn out\n");
    boot_with("rauc");

    EXPECT_THAT(state_after("waiting"), AllOf(HasSubstr("failed: "), HasSubstr("rauc mark")));
}

TEST_F(BootLoaders, HaveTheirVariablesSetInOneCall)
{
    if (!has("fw_setenv")) GTEST_SKIP() << "libubootenv's fw_setenv is not installed";
    shell("head -c 16384 /dev/zero >/tmp/env && echo '/tmp/env 0 0x4000' >/etc/fw_env.config && "
          "printf 'upgrade_available=1\\nustate=1\\nbootcount=2\\nbootcmd=boot\\n' >/tmp/first && "
          "fw_setenv -f /tmp/first -s /dev/null");
    boot_with("u-boot");
    EXPECT_EQ(state_after("waiting"), "good\n");
    EXPECT_EQ(shell("fw_printenv"), "bootcmd=boot\nbootcount=0\nupgrade_available=0\nustate=1\n");

    stand_in("swupdate", "echo /dev/mmcblk0p3");
    shell("fw_setenv bootcount 2");
    vornctl("set firmware method=swupdate --no-wait");
    EXPECT_EQ(state_after("waiting"), "good\n");
    EXPECT_EQ(shell("fw_printenv"), "bootcmd=boot\nbootcount=0\nupgrade_available=0\nustate=0\n");
}

} // namespace
