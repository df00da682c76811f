/* SPDX-License-Identifier: MIT */
/* What somebody puts into his folder where the daemon writes his keys. */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>

#include <sys/stat.h>
#include <unistd.h>

#include "local_user/lodgers_keys.h"

namespace {

using testing::HasSubstr;
using namespace vorn::tests;

constexpr char folder[] = "/tmp/lodger/.ssh";
constexpr char file[] = "/tmp/lodger/.ssh/authorized_keys";
constexpr char treasury[] = "/etc/treasury";

class PlantedKeys : public LodgersKeys {
protected:
    void SetUp() override
    {
        LodgersKeys::SetUp();
        if (IsSkipped()) return;
        ASSERT_EQ(shell("mkdir -m 700 /etc/treasury && echo as it was >/etc/treasury/gold"), "");
        configure("AAAAC3NzaC1lZDI1NTE5AAAAINR0CLd0gQICJrKw8gHLBmDAPgQndPG5j/EW3jgdskoG");
    }

    static std::string owners(const std::string &paths)
    {
        return shell("stat -c '%a %u %g %n' " + paths);
    }
};

TEST_F(PlantedKeys, AreHisAloneWhenNothingIsInTheirWay)
{
    boot();

    EXPECT_THAT(state(), HasSubstr("<state>applied</state>"));
    EXPECT_EQ(owners("/tmp/lodger/.ssh /tmp/lodger/.ssh/authorized_keys"),
              "700 1000 1000 /tmp/lodger/.ssh\n600 1000 1000 /tmp/lodger/.ssh/authorized_keys\n");
    EXPECT_EQ(opening_ends_with(file, O_RDWR), 0);
}

TEST_F(PlantedKeys, GoNowhereByALinkInPlaceOfTheirFolder)
{
    ASSERT_EQ(as_local_user([] { return symlink(treasury, folder); }), 0);

    boot();

    EXPECT_THAT(state(), HasSubstr("failed: /tmp/lodger: Not a directory"));
    EXPECT_EQ(shell("ls -A /etc/treasury"), "gold\n");
    EXPECT_EQ(owners(treasury), "700 0 0 /etc/treasury\n");
}

TEST_F(PlantedKeys, GiveNothingAwayThatALinkLeadsTo)
{
    ASSERT_EQ(as_local_user([] {
                  const std::string scratch = std::string(file) + ".vorn-new";
                  return mkdir(folder, 0777) != 0 || symlink("/etc/treasury/gold", file) != 0 ||
                         symlink("/etc/treasury/gold", scratch.c_str()) != 0;
              }),
              0);

    boot();

    EXPECT_THAT(state(), HasSubstr("<state>applied</state>"));
    EXPECT_EQ(read_file("/etc/treasury/gold"), "as it was\n");
    EXPECT_EQ(owners("/etc/treasury/gold"), "644 0 0 /etc/treasury/gold\n");
    EXPECT_EQ(owners(file), "600 1000 1000 /tmp/lodger/.ssh/authorized_keys\n");
}

TEST_F(PlantedKeys, AreNotPutIntoAFolderOfRootsInPlaceOfHis)
{
    ASSERT_EQ(shell("mkdir -m 755 /tmp/lodger/.ssh"), "");

    boot();

    EXPECT_THAT(state(), HasSubstr("failed: /tmp/lodger: Operation not permitted"));
    EXPECT_EQ(shell("ls -A /tmp/lodger/.ssh"), "");
}

TEST_F(PlantedKeys, KeepNobodyWaitingAtAFifo)
{
    ASSERT_EQ(as_local_user([] { return mkdir(folder, 0700) != 0 || mkfifo(file, 0600) != 0; }), 0);

    boot();

    EXPECT_EQ(owners(file), "600 1000 1000 /tmp/lodger/.ssh/authorized_keys\n");
    EXPECT_THAT(read_file(file), HasSubstr("ssh-ed25519 AAAA"));
}

} // namespace
