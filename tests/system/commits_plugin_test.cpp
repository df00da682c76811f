/* SPDX-License-Identifier: MIT */
/* What the device tells of its last commits, by LSQL, by the client and in the log. */
#include "core/base/file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "vornctl_device.h"

namespace {

using testing::AllOf;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;

class ToldCommits : public vorn::tests::VornctlDevice {
protected:
    void SetUp() override
    {
        VornctlDevice::SetUp();
        install_plugin("commits.vorn");
        boot();
    }
};

TEST_F(ToldCommits, BeginWithTheBoot)
{
    EXPECT_THAT(vornctl("show commit 0"),
                AllOf(ContainsRegex("time +20[0-9]+-[0-9]+-[0-9]+T[0-9:]+Z\n"),
                      HasSubstr("\n  changed    4\n  deleted    0\n")));
    EXPECT_EQ(vornctl("show commit 0 process -q"), "\n[0]\n") << "the daemon did it by itself";
}

TEST_F(ToldCommits, AreTheLastSixtyFourOfEachKind)
{
    shell("for i in $(seq 66); do vornctl set Radio r0 channel=$((i % 2 + 1));"
          " vornctl add Radio r0; done 2>/dev/null");

    EXPECT_EQ(
        count(lsql("<lsql><select><commit><time/></commit></select></lsql>"), "<commit name="), 64);
    EXPECT_THAT(vornctl("show commit 2"), HasSubstr("[5]\n"));
    EXPECT_THAT(vornctl("show commit 3"), HasSubstr("[0]\n"));
    EXPECT_EQ(
        count(lsql("<lsql><select><refusal><time/></refusal></select></lsql>"), "<refusal name="),
        64);
    EXPECT_THAT(vornctl("show refusal 2"), HasSubstr("[5]\n"));
    EXPECT_THAT(vornctl("show refusal 3"), HasSubstr("[0]\n"));
    EXPECT_THAT(vornctl("show refusal 66"), HasSubstr("[0]\n"));
}

TEST_F(ToldCommits, SayWhatChangedAndWhoWasBusy)
{
    vornctl("set Radio r0 channel=11");
    vornctl("delete Radio r0");

    EXPECT_THAT(vornctl("show commit 1 changed deleted"), HasSubstr("changed  1\n  deleted  0\n"));
    EXPECT_THAT(vornctl("show commit 2 changed deleted"), HasSubstr("changed  0\n  deleted  1\n"));
    EXPECT_THAT(vornctl("show commit 1 providers -q"), ContainsRegex("save 1 [0-9]+"));
    /* A save waits for the disk, and that is part of the providers' time. */
    EXPECT_THAT(vornctl("show commit 1 save apply parse validate"),
                AllOf(ContainsRegex("save +[1-9][0-9]*\n"), ContainsRegex("apply +[1-9][0-9]*\n")));
}

TEST_F(ToldCommits, AreATableWithTheSlowestProvider)
{
    vornctl("set Radio r0 channel=11");

    EXPECT_THAT(vornctl("commits"),
                AllOf(ContainsRegex("^COMMIT  TIME +CHANGED  DELETED  MS +SLOWEST +ORIGIN +USER "
                                    "+PROGRAM +RESULT +CHANGES\n0 "),
                      ContainsRegex("\n1 +20[^ ]+ +1 +0 +[0-9]+\\.[0-9][0-9][0-9] +save +")));
    EXPECT_THAT(vornctl("commits 1"), AllOf(Not(HasSubstr("\n0 ")), HasSubstr("\n1 ")));
    EXPECT_THAT(vornctl("commits -v 1"),
                AllOf(ContainsRegex("\n1 +parse +[0-9]+\\.[0-9][0-9][0-9]\n"),
                      ContainsRegex("\n1 +save +1 +[0-9]+\\.[0-9][0-9][0-9]\n")));
    EXPECT_THAT(vornctl("--json commits 1"), HasSubstr("\"changed\": \"1\""));
    EXPECT_THAT(vornctl("commits 0"), HasSubstr("[2]\n"));
}

TEST_F(ToldCommits, TellWhatWasDoneToTheDeviceByName)
{
    install_plugin("plugins.vorn");
    shut_down();
    boot();
    vornctl("inform save action=forget-broken");
    vornctl("plugin retry board.vorn");

    EXPECT_THAT(vornctl("commits 1"), ContainsRegex("\n1 .*root +vornctl +broken file forgotten +"
                                                    "inform save action=forget-broken"));
    EXPECT_THAT(vornctl("commits --refused"),
                ContainsRegex("root +vornctl +inform plugin .*name=board.vorn +"
                              "refused: returned by handler"));
}

TEST_F(ToldCommits, SayHowManyProvidersTheyLeaveOut)
{
    vornctl("set Radio r0 channel=11");
    EXPECT_THAT(vornctl("show commit 1 left-out -q"), HasSubstr("0"));
    EXPECT_THAT(vornctl("commits -v 1"), Not(HasSubstr("faster providers")));
    shut_down();
    install_plugin("crowd.vorn");
    boot();

    vornctl("set Radio r0 channel=11");

    /* Forty and those of the board, less the 32 for which there is room. */
    EXPECT_THAT(vornctl("show commit 1 left-out -q"), ContainsRegex("([89]|1[0-9])"));
    EXPECT_THAT(vornctl("commits -v 1"), ContainsRegex("\n1 +([89]|1[0-9]) faster providers *\n"));
}

TEST_F(ToldCommits, AreNoConfiguration)
{
    vornctl("set Radio r0 channel=11");

    EXPECT_THAT(vornctl("export"), Not(HasSubstr("commit ")));
    vornctl("show commit");
    EXPECT_THAT(vornctl("set commit 1 changed=7"), HasSubstr("[1]\n"));
}

class UntoldCommits : public vorn::tests::VornctlDevice {};

TEST_F(UntoldCommits, AreSaidToBeUntold)
{
    boot();

    EXPECT_EQ(vornctl("commits"), "[5]\nvornctl: this device does not tell of its commits\n");
}

TEST_F(ToldCommits, SayWhoAskedForWhat)
{
    vornctl("set Radio r0 channel=11");

    EXPECT_THAT(vornctl("show commit 1 user process program changes result failures"),
                AllOf(ContainsRegex("user +root\n"), ContainsRegex("process +[1-9][0-9]*\n"),
                      ContainsRegex("program +vornctl\n"),
                      ContainsRegex("changes +set Radio r0 channel=11\n"),
                      ContainsRegex("result +done\n"), ContainsRegex("failures *\n")));
    EXPECT_THAT(vornctl("commits"), HasSubstr("set Radio r0 channel=11"));
}

TEST_F(ToldCommits, ComeWithWhatWasRefused)
{
    EXPECT_THAT(vornctl("commits --refused"), testing::StartsWith("AFTER"));
    vornctl("add Radio r0 channel=3");

    EXPECT_THAT(vornctl("commits --refused"),
                ContainsRegex("\n0 +20[^ ]+ +vornctl +root +vornctl +insert Radio r0 channel +"
                              "refused: Couldn.t add"));
    EXPECT_THAT(vornctl("--json commits --refused"), HasSubstr("\"commit\": \"0\""));
    EXPECT_THAT(vornctl("show refusal 1 result"), HasSubstr("refused: Couldn't add"));
}

TEST_F(ToldCommits, AreLinesOfTheLog)
{
    unlink("/dev/log");
    const vorn::Fd log(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    const sockaddr_un name = {.sun_family = AF_UNIX, .sun_path = "/dev/log"};
    ASSERT_EQ(bind(log.get(), reinterpret_cast<const sockaddr *>(&name), sizeof name), 0);

    vornctl("--origin 'a\"b' set Radio r0 channel=11");

    char line[2000];
    const ssize_t length = recv(log.get(), line, sizeof line, 0);
    ASSERT_GT(length, 0);
    EXPECT_THAT(std::string(line, static_cast<std::size_t>(length)),
                ContainsRegex("^<29>vorn.[0-9]+.: .change@32473 commit=\"1\" user=\"root\" "
                              "pid=\"[0-9]+\" program=\"vornctl\" origin=\"a.\"b\" result=\"done\" "
                              "changes=\"set Radio r0 channel=11\" failures=\"\" "
                              "providers=\"([a-z]+ 1 [0-9]+, )*board 1 [0-9]+(, [^\"]*)?\".$"));

    shut_down();
    boot({"-f", "-n"});
    vornctl("set Radio r0 channel=1");
    EXPECT_EQ(recv(log.get(), line, sizeof line, 0), -1)
        << "nothing is done, and nothing said of it";
}

} // namespace
