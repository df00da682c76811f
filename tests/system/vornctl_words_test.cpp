/* SPDX-License-Identifier: MIT */
/* The client's words: what is valid, what was meant, and the short ways to say things. */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>

#include "vornctl_states.h"

namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

using Advice = vorn::tests::VornctlStates;

TEST_F(Advice, SaysWhatIsValid)
{
    EXPECT_EQ(vornctl("set Program p respawn=perhaps"),
              "[1]\nvornctl: set Program \"p\": Value \"perhaps\" is not valid for property "
              "\"respawn\" of class \"Program\". Valid is: on or off\n");
    EXPECT_THAT(vornctl("set Program p respawn=offf"),
                EndsWith("Valid is: on or off; did you mean \"off\"?\n"));
}

TEST_F(Advice, NamesTheNearestClassPropertyAndKind)
{
    EXPECT_EQ(vornctl("show Raido"),
              "[5]\nvornctl: there is no class \"Raido\"; did you mean \"Radio\"?\n");
    EXPECT_EQ(vornctl("list raido"),
              "[5]\nvornctl: there is no class \"raido\"; did you mean \"Radio\"?\n");
    EXPECT_EQ(vornctl("show Radio r0 chanel"), "[5]\nvornctl: class \"Radio\" has no property "
                                               "\"chanel\"; did you mean \"channel\"?\n");
    EXPECT_EQ(vornctl("add Raido r2"), "[5]\nvornctl: add Raido \"r2\": Unknown class \"Raido\"; "
                                       "did you mean \"Radio\"?\n");
    EXPECT_EQ(vornctl("set Radio r0 chanel=1"),
              "[5]\nvornctl: set Radio \"r0\": Property \"chanel\" is not valid for class "
              "\"Radio\"; did you mean \"channel\"?\n");
    EXPECT_EQ(vornctl("add Address wan kind=Dchp"), "[5]\nvornctl: add Address \"wan\": there is "
                                                    "no kind \"Dchp\"; did you mean \"Dhcp\"?\n");
    EXPECT_EQ(vornctl("add Address wan"), "[1]\nvornctl: add Address \"wan\": kind is missing: one "
                                          "of Static, Dhcp\n");
    EXPECT_EQ(vornctl("shwo"), "[2]\nvornctl: unknown command \"shwo\"; did you mean \"show\"?\n");
}

TEST_F(Advice, NamesTheNearestInstance)
{
    EXPECT_EQ(vornctl("show Address lann"),
              "[5]\nvornctl: there is no Address \"lann\"; did you mean \"lan\"?\n");
    EXPECT_EQ(vornctl("set Address lann ip=1"), "[5]\nvornctl: set Address \"lann\": there is no "
                                                "such instance; did you mean \"lan\"?\n");
    EXPECT_EQ(vornctl("rename Address lann wan"),
              "[5]\nvornctl: rename Address \"lann\": there is no such instance; did you mean "
              "\"lan\"?\n");
    EXPECT_EQ(vornctl("show Radio r9"), "[5]\nvornctl: there is no Radio \"r9\"\n");
}

TEST_F(Advice, SaysThatANameIsTaken)
{
    EXPECT_EQ(vornctl("add Radio r0"), "[1]\nvornctl: add Radio \"r0\": it exists already\n");
    EXPECT_EQ(vornctl("add Board"), "[1]\nvornctl: add Board: there is one already\n");
}

/* Its plugin would take away again whatever somebody else put there. */
TEST_F(Advice, SaysWhatOnlyTheDeviceMakes)
{
    EXPECT_EQ(vornctl("add schema-class x"),
              "[1]\nvornctl: add schema-class \"x\": only the device itself makes one\n");
}

TEST_F(Advice, KnowsThePropertiesOfAFamilyAndOfConditions)
{
    EXPECT_EQ(vornctl("show Address lan ip -q"), "\n[0]\n");
    EXPECT_EQ(vornctl("show Address lan ipp"), "[5]\nvornctl: class \"Address\" has no property "
                                               "\"ipp\"; did you mean \"ip\"?\n");
    EXPECT_EQ(vornctl("show Radio --where 'mod = g'"),
              "[5]\nvornctl: class \"Radio\" has no property \"mod\"; did you mean \"mode\"?\n");
    EXPECT_EQ(vornctl("delete Radio --where 'speed = 1 or not mode'"),
              "[5]\nvornctl: class \"Radio\" has no property \"speed\"\n");
}

class Words : public vorn::tests::VornctlStates {
protected:
    /* What is seen of the first notice while a step is taken again and again. */
    static std::string watched_during(const std::string &watch, const std::function<void()> &step)
    {
        std::string watched;
        std::atomic<bool> done = false;
        std::thread watcher([&] {
            watched = vornctl(watch);
            done = true;
        });
        EXPECT_TRUE(comes_true([&] {
            step();
            return done.load();
        }));
        watcher.join();
        return watched;
    }
};

TEST_F(Words, GiveTheBareValueOfOneProperty)
{
    EXPECT_EQ(vornctl("show Radio r0 channel -q"), "6\n[0]\n");
    EXPECT_EQ(vornctl("show -q Radio - channel"), "6\n\n[0]\n");
    EXPECT_EQ(vornctl("show -q Radio r0"), "[2]\nvornctl: -q shows one property: name it\n");
    EXPECT_EQ(vornctl("show -q Radio r9 mode"), "[5]\nvornctl: there is no Radio \"r9\"\n");
}

TEST_F(Words, TakeValuesAway)
{
    EXPECT_EQ(vornctl("set Program p respawn=on arguments=x"), "[0]\n");

    EXPECT_EQ(vornctl("unset Program p respawn"), "[0]\n");
    EXPECT_EQ(vornctl("unset Radio r0 channel"), "[0]\n");

    EXPECT_EQ(vornctl("show Program p respawn arguments"),
              "Program p\n  respawn\n  arguments  x\n[0]\n");
    EXPECT_EQ(vornctl("show Radio r0 channel -q"), "\n[0]\n");
    EXPECT_EQ(vornctl("unset Radio r0"), "[2]\nvornctl: nothing to unset: PROPERTY is missing\n");
    EXPECT_EQ(vornctl("unset Radio r9 mode"),
              "[5]\nvornctl: unset Radio \"r9\": there is no such instance\n");
}

TEST_F(Words, RenameWithEverythingThatRefersToIt)
{
    EXPECT_EQ(vornctl("set Program p radios='r1 r0'"), "[0]\n");
    EXPECT_EQ(vornctl("add Program q radios=r0"), "[0]\n");

    EXPECT_EQ(vornctl("rename Radio r0 attic"), "[0]\n");

    EXPECT_EQ(vornctl("show Radio attic channel -q"), "6\n[0]\n");
    EXPECT_EQ(vornctl("show Program - radios -q"), "r1 attic\nattic\n[0]\n");
    EXPECT_EQ(vornctl("show Radio r0"), "[5]\nvornctl: there is no Radio \"r0\"\n");
    EXPECT_EQ(vornctl("rename Radio attic r1"),
              "[1]\nvornctl: rename Radio \"r1\": it exists already\n");
    EXPECT_EQ(vornctl("rename Radio r9 r8"),
              "[5]\nvornctl: rename Radio \"r9\": there is no such instance\n");
}

TEST_F(Words, AddOrSet)
{
    EXPECT_EQ(vornctl("add --or-set Radio r0 mode=g"), "[0]\n");
    EXPECT_EQ(vornctl("add --or-set Radio r5 mode=b"), "[0]\n");
    EXPECT_EQ(vornctl("add --or-set Static lan ip=1.2"), "[0]\n");

    EXPECT_EQ(vornctl("show Radio r0"), "Radio r0\n  channel  6\n  mode     g\n[0]\n");
    EXPECT_EQ(vornctl("show Radio r5 mode -q"), "b\n[0]\n");
    EXPECT_EQ(vornctl("show Address lan ip -q"), "1.2\n[0]\n");
}

TEST_F(Words, AddAndRemoveWordsOfAList)
{
    EXPECT_EQ(vornctl("set Program p radios+=r0"), "[0]\n");
    EXPECT_EQ(vornctl("set Program p radios+='r1 r0' arguments=x"), "[0]\n");
    EXPECT_EQ(vornctl("show Program p radios -q"), "r0 r1\n[0]\n");

    EXPECT_EQ(vornctl("set Program p radios-=r0"), "[0]\n");

    EXPECT_EQ(vornctl("show Program p radios -q"), "r1\n[0]\n");
    EXPECT_EQ(vornctl("set Program p radios-=r7"),
              "[5]\nvornctl: set Program \"p\": radios has no \"r7\"\n");
    EXPECT_EQ(vornctl("set Acl g mac+=1"),
              "[5]\nvornctl: set Acl \"g\": there is no such instance\n");
}

TEST_F(Words, KnowTheKindFromTheClass)
{
    EXPECT_EQ(vornctl("add Dhcp wan comment=x"), "[0]\n");
    EXPECT_EQ(vornctl("show Address wan kind -q"), "Dhcp\n[0]\n");
    EXPECT_EQ(vornctl("add Dhcp wan2 kind=Static"),
              "[2]\nvornctl: a Dhcp has the kind \"Dhcp\", not \"Static\"\n");
}

TEST_F(Words, WatchWhatChanges)
{
    int count = 0;
    const std::string watched = watched_during("watch 1", [&] {
        const std::string number = std::to_string(count++);
        shell("vornctl set Program p arguments=x" + number + " key=open" + number + " 2>&1");
    });

    EXPECT_THAT(watched, HasSubstr(" by vornctl\n"));
    EXPECT_THAT(watched, HasSubstr("  Program \"p\"\n"));
    EXPECT_THAT(watched, HasSubstr("arguments = "));
    EXPECT_THAT(watched, Not(HasSubstr("open")));
}

TEST_F(Words, HideASecretThatANoticeTells)
{
    for (const char *format : {"", "--json ", "--xml "}) {
        const std::string watched = watched_during(
            std::string(format) + "watch 1", [] { shell("vornctl inform save action=tell"); });
        EXPECT_THAT(watched, HasSubstr("(secret)")) << format;
        EXPECT_THAT(watched, Not(HasSubstr("open5"))) << format;
    }
}

TEST_F(Words, GoThroughAPagerWhenTheScreenIsTooSmall)
{
    const auto on_screen = [](const std::string &rows, const std::string &environment) {
        return shell(environment + " script -qec 'stty rows " + rows + " cols 80; NO_COLOR=1 " +
                     "vornctl list' /dev/null");
    };

    EXPECT_THAT(on_screen("5", "PAGER='sed s/^/page:/'"), HasSubstr("page:Radio "));
    EXPECT_THAT(on_screen("60", "PAGER='sed s/^/page:/'"), Not(HasSubstr("page:")));
    EXPECT_THAT(on_screen("5", "PAGER=cat"), HasSubstr("Radio "));
    EXPECT_THAT(on_screen("5", "PAGER=/no/such/pager"), HasSubstr("Radio "));
    EXPECT_EQ(shell("PAGER='sed s/^/page:/' vornctl list | grep -c page:"), "0\n");
}

class MoreCompletion : public vorn::tests::VornctlStates {
protected:
    static std::string candidates(const std::string &line)
    {
        return shell("vornctl complete -- '" + line + "' | tr '\\n' '|'");
    }
};

TEST_F(MoreCompletion, KnowsSubclassesValuesAndNames)
{
    EXPECT_EQ(candidates("vornctl add Sta"), "Static|");
    EXPECT_EQ(candidates("vornctl add schema-"), "") << "only the device can";
    EXPECT_EQ(candidates("vornctl set Program p respawn="), "respawn=on|respawn=off|");
    EXPECT_EQ(candidates("vornctl set Program p radios=r"), "radios=r0|radios=r1|");
    EXPECT_EQ(candidates("vornctl set Program p radios+="), "radios+=r0|radios+=r1|");
    EXPECT_EQ(candidates("vornctl add Address x kind="), "kind=Static|kind=Dhcp|");
    EXPECT_EQ(candidates("vornctl rename Radio r"), "r0|r1|");
    EXPECT_EQ(candidates("vornctl unset Radio r0 "), "channel|mode|");
    EXPECT_EQ(candidates("vornctl unset Program p s"), "") << "no client can";
    EXPECT_EQ(candidates("vornctl show Program p s"), "state|");
    EXPECT_EQ(candidates("vornctl re"), "rename|revert|repair|reboot|");
}

TEST_F(MoreCompletion, KnowsTheStationsToKick)
{
    vornctl("add station mac=02:00:00:00:00:01");
    vornctl("add station mac=06:00:00:00:00:02");

    EXPECT_EQ(candidates("vornctl kick "), "02:00:00:00:00:01|06:00:00:00:00:02|");
    EXPECT_EQ(candidates("vornctl kick 06"), "06:00:00:00:00:02|");
}

} // namespace
