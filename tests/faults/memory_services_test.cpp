/* SPDX-License-Identifier: MIT */
/* A service that ends while there is no memory at all. */
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

#include "faults/scarce_device.h"

namespace {

using namespace vorn::tests;

constexpr char id_file[] = "/tmp/syslogd.pid";

/* Attack. */
class DevicesWithoutMemory : public ScarceDevice {
protected:
    /* The program that runs, once it says which it is; it does so once. */
    static void kill_program()
    {
        ASSERT_TRUE(comes_true([] { return read_file(id_file).find('\n') != std::string::npos; }));
        shell("kill -9 $(cat /tmp/syslogd.pid); rm /tmp/syslogd.pid");
    }
};

TEST_F(DevicesWithoutMemory, StartAProgramAgainThatEndedMeanwhileAndNeverLoseTheirTick)
{
    if (IsSkipped()) return;
    install_plugin("log.vorn");
    stand_in("syslogd", "echo $$ >/tmp/syslogd.pid; exec sleep 1000");
    write_file(vorn::test::startup_file, "<config><log><enabled>on</enabled></log></config>");
    boot();

    memory_.refuse_all();
    kill_program();
    ASSERT_TRUE(console_shows("it is started again in 1 s.\n"));
    memory_.stop_refusing();

    EXPECT_TRUE(comes_true([] { return commands_run().size() == 2; })) << console();
    kill_program();
    EXPECT_TRUE(console_shows("; it is started again in ", 2)) << "the tick is gone";
}

} // namespace
