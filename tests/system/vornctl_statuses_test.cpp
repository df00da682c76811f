/* SPDX-License-Identifier: MIT */
/* One meaning for each exit status, whatever the command. */
#include <gtest/gtest.h>

#include <string>

#include "vornctl_states.h"

namespace {

/* What somebody may get wrong with each command; empty where the command can't be so wrong. */
struct Verb {
    const char *name;
    const char *unknown_class;
    const char *unknown_property;
    const char *unknown_instance;
    const char *bad_value;
    const char *rightly; /* which nobody answers without a daemon */
};

constexpr Verb verbs[] = {
    {"Show", "show Raido", "show Radio r0 chanel", "show Radio r9", "", "show Radio"},
    {"ShowWhere", "show Raido --where 'mode = g'", "show Radio --where 'mod = g'",
     "show Radio r0 --where 'mode = x'", "", "show Radio --where 'mode = g'"},
    {"List", "list Raido", "", "", "", "list"},
    {"Set", "set Raido r0 mode=g", "set Radio r0 chanel=1", "set Radio r9 mode=g",
     "set Program p respawn=perhaps", "set Radio r0 mode=g"},
    {"SetWhere", "set Raido mode=g --where 'mode = g'", "set Radio - chanel=1 --where 'not mode'",
     "set Radio - mode=g --where 'mode = x'", "set Program - respawn=perhaps --where 'not key'",
     "set Radio - mode=g --where 'not mode'"},
    {"SetWordsOfAList", "set Raido r0 mode+=g", "set Program p radois+=r0",
     "set Program q radios+=r0", "set Program p respawn+=perhaps", "set Program p radios+=r0"},
    {"Add", "add Raido r9", "add Radio r9 chanel=1", "", "add Program q respawn=perhaps",
     "add Radio r9"},
    {"AddOrSet", "add --or-set Raido r9", "add --or-set Radio r0 chanel=1", "",
     "add --or-set Program p respawn=perhaps", "add --or-set Radio r9"},
    {"AddWithAKind", "add Address a kind=Dchp", "add Address a kind=Dhcp ipp=1", "", "",
     "add Address a kind=Dhcp"},
    {"Unset", "unset Raido r0 mode", "unset Radio r0 chanel", "unset Radio r9 mode", "",
     "unset Radio r0 mode"},
    {"Delete", "delete Raido r0", "delete Radio --where 'mod = g'", "delete Radio r9", "",
     "delete Radio r0"},
    {"DeleteAll", "delete Raido --all", "", "", "", "delete Radio --all"},
    {"Rename", "rename Raido r0 r9", "", "rename Radio r9 r8", "", "rename Radio r0 r9"},
    {"Batch", "batch /tmp/class", "batch /tmp/property", "batch /tmp/instance", "batch /tmp/value",
     "batch /tmp/good"},
    {"Import", "import /tmp/class.xml", "import /tmp/property.xml", "", "import /tmp/value.xml",
     "import /tmp/good.xml"},
    {"Merge", "import --merge /tmp/class.xml", "import --merge /tmp/property.xml", "",
     "import --merge /tmp/value.xml", "import --merge /tmp/good.xml"},
    {"Diff", "", "", "", "", "diff"},
    {"Export", "", "", "", "", "export /tmp/exported.xml"},
    {"Startup", "", "", "", "", "startup"},
    {"Query", "", "", "", "", "query /tmp/good.lsql"},
    {"Inform", "", "", "", "", "inform reboot"},
    {"Log", "", "", "", "", "log"},
    {"Commits", "", "", "", "", "commits"},
    {"Kick", "", "", "", "", "kick 02:00:00:00:00:01"},
    {"Ping", "", "", "", "", "ping"},
    {"Reboot", "", "", "", "", "reboot"},
    {"FactoryReset", "", "", "", "", "factory-reset --yes"},
    {"Forget", "", "", "", "", "forget Toaster"},
    {"ForgetBroken", "", "", "", "", "forget-broken"},
    {"Watch", "", "", "", "", "watch --once"},
};

class Statuses : public vorn::tests::VornctlStates, public testing::WithParamInterface<Verb> {
protected:
    void SetUp() override
    {
        VornctlStates::SetUp();
        write_file("/tmp/class", "set Radio r0 mode=g\nset Raido r0 mode=g\n");
        write_file("/tmp/property", "set Radio r0 mode=g\nset Radio r0 chanel=1\n");
        write_file("/tmp/instance", "set Radio r0 mode=g\ndelete Radio r9\n");
        write_file("/tmp/value", "set Radio r0 mode=g\nset Program p respawn=perhaps\n");
        write_file("/tmp/good", "set Radio r0 mode=g\n");
        write_file("/tmp/good.lsql", "<lsql><select><Radio/></select></lsql>");
        write_file("/tmp/class.xml", "<config><Raido name=\"r0\"/></config>");
        write_file("/tmp/property.xml",
                   "<config><Radio name=\"r0\"><chanel>1</chanel></Radio></config>");
        write_file("/tmp/value.xml",
                   "<config><Program name=\"p\"><respawn>perhaps</respawn></Program></config>");
        write_file("/tmp/good.xml", "<config><Radio name=\"r0\"><mode>g</mode></Radio></config>");
    }

    static void expect(const char *arguments, const char *status)
    {
        if (*arguments == '\0') return;
        EXPECT_EQ(shell("vornctl " + std::string(arguments) +
                        " 2>/tmp/err >/dev/null; echo $?; test -s /tmp/err || echo nothing said"),
                  status + std::string("\n"))
            << arguments;
    }
};

TEST_P(Statuses, MeanTheSameForEveryCommand)
{
    const Verb &verb = GetParam();
    constexpr char present[] = "vornctl export - | grep -v commit=";
    const std::string before = shell(present);

    expect(verb.unknown_class, "5");
    expect(verb.unknown_property, "5");
    expect(verb.unknown_instance, "5");
    expect(verb.bad_value, "1");
    EXPECT_EQ(shell(present), before);
    shut_down();
    expect(verb.rightly, "3");
}

INSTANTIATE_TEST_SUITE_P(, Statuses, testing::ValuesIn(verbs),
                         [](const auto &each) { return std::string(each.param.name); });

} // namespace
