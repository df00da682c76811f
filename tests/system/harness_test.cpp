/* SPDX-License-Identifier: MIT */
/* What the harness offers to tests of plugins beyond what the other tests here rely on. */
#include "support/device.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

using StandIns = vorn::tests::Device;

TEST_F(StandIns, TakeTheirPlaceWhetherSomethingIsThereOrNot)
{
    for (const char *program :
         {"/usr/bin/env", "/usr/sbin/no-such-daemon", "/bin/cat", "/etc/no-such-script"}) {
        stand_in(program, "echo instead");

        EXPECT_EQ(shell(std::string(program) + " <&-"), "instead\n") << program;
    }
    EXPECT_EQ(shell("/usr/bin/echo still"), "still\n");
}

TEST_F(StandIns, NoteHowTheyAreRun)
{
    stand_in("/usr/bin/env", "exit 3");

    EXPECT_EQ(shell("/usr/bin/env 'a b' '' c; echo $?; /usr/bin/env"), "3\n");

    EXPECT_THAT(commands_run(), ElementsAre("/usr/bin/env a b  c", "/usr/bin/env"));
    EXPECT_THAT(runs_of("/usr/bin/env"), ElementsAre(ElementsAre("a b", "", "c"), IsEmpty()));
    EXPECT_THAT(runs_of("env"), IsEmpty());
    forget_runs();
    EXPECT_THAT(commands_run(), IsEmpty());
}

TEST_F(StandIns, WithoutAPathAreWhatTheDaemonFindsFirst)
{
    install_plugin("system.vorn");
    write_file("/etc/config/config.xml",
               "<config><system><hostname>attic</hostname></system></config>");
    stand_in("hostname");

    boot();

    EXPECT_THAT(commands_run(), ElementsAre("hostname attic"));
    EXPECT_THAT(runs_of("hostname"), ElementsAre(ElementsAre("attic")));
}

} // namespace
