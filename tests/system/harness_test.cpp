/* SPDX-License-Identifier: MIT */
/* What the harness offers to tests of plugins beyond what the other tests here rely on. */
#include "support/device.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

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

TEST_F(StandIns, LeaveOthersInTheirFolderWhereTheyAre)
{
    stand_in("/usr/bin/env", "echo first");
    stand_in("/usr/bin/no-such-program", "echo second");
    stand_in("/usr/bin/true", "echo third");

    EXPECT_EQ(shell("/usr/bin/env; /usr/bin/no-such-program; /usr/bin/true"),
              "first\nsecond\nthird\n");
}

TEST_F(StandIns, ThatRunTogetherAreNotedOneByOne)
{
    constexpr int runs = 200;
    stand_in("/usr/bin/env");
    stand_in("/usr/bin/true");

    shell("for i in $(seq " + std::to_string(runs / 2) +
          "); do /usr/bin/env a b & /usr/bin/true c & done; wait");

    const std::vector<std::string> commands = commands_run();
    EXPECT_EQ(commands.size(), runs);
    EXPECT_EQ(std::ranges::count(commands, "/usr/bin/env a b"), runs / 2);
    EXPECT_EQ(std::ranges::count(commands, "/usr/bin/true c"), runs / 2);
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
