/* SPDX-License-Identifier: MIT */
/* What a load can't read stays in the startup file until somebody says that it shall go. */
#include "support/random_texts.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "vornctl_device.h"

namespace {

using testing::AllOf;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

constexpr char with_much_unknown[] =
    "<config><Toaster name=\"t\"><slots>2</slots></Toaster><Toaster name=\"u\"/><Kettle/>"
    "<Radio name=\"r0\"><channel>6</channel><power>9</power></Radio></config>";

class Kept : public vorn::tests::VornctlDevice {
protected:
    void SetUp() override
    {
        VornctlDevice::SetUp();
        install_plugin("plugins.vorn");
        write_file(startup, with_much_unknown);
    }

    static std::string saved() { return read_file(startup); }
};

TEST_F(Kept, IsListedAndForgottenByClassAndName)
{
    boot();
    EXPECT_THAT(
        vornctl("status -v"),
        ContainsRegex("kept +Toaster \"t\", Toaster \"u\", Kettle \"\", Radio \"r0\": power\n"));

    EXPECT_EQ(vornctl("forget Toaster t"), "[0]\n");
    EXPECT_THAT(saved(), AllOf(Not(HasSubstr("slots")), HasSubstr("<Toaster name=\"u\"/>")));
    EXPECT_EQ(vornctl("forget Radio"), "[0]\n");
    EXPECT_THAT(saved(), AllOf(Not(HasSubstr("power")), HasSubstr("<channel>6</channel>")));
    EXPECT_EQ(vornctl("forget Toaster t"), "[5]\nvornctl: nothing is kept of Toaster \"t\"\n");

    EXPECT_EQ(vornctl("forget"), "[0]\n");
    EXPECT_THAT(saved(), AllOf(Not(HasSubstr("Toaster")), Not(HasSubstr("Kettle"))));
    EXPECT_EQ(vornctl("forget"), "[5]\nvornctl: nothing is kept\n");
}

TEST_F(Kept, IsNotForgottenWhileNothingMayBeSaved)
{
    install_plugin("trial.vorn");
    boot();
    vornctl("set Radio r0 channel=11 --trial 100");

    EXPECT_THAT(vornctl("forget"), AllOf(StartsWith("[1]\n"), HasSubstr("refused to forget")));
    vornctl("revert");
    EXPECT_THAT(vornctl("status -v"), HasSubstr("Toaster \"t\""));
}

TEST_F(Kept, StaysBesideANewInstanceOfItsNameWhichWins)
{
    write_file(startup,
               "<config><Radio name=\"r0\"/><Radio name=\"r0\"><channel>6</channel></Radio>"
               "</config>");
    boot();
    EXPECT_EQ(vornctl("show Radio r0 channel -q"), "\n[0]\n");
    vornctl("set Radio r0 channel=11");

    EXPECT_THAT(vornctl("status -v"), HasSubstr("Radio \"r0\", another one"));
    EXPECT_THAT(saved(),
                AllOf(HasSubstr("<channel>11</channel>"), HasSubstr("<channel>6</channel>")));
    vornctl("delete Radio r0");
    EXPECT_THAT(saved(), Not(HasSubstr("Radio")));
}

TEST_F(Kept, StaysWithAnInstanceThatIsRenamed)
{
    boot();
    EXPECT_EQ(vornctl("rename Radio r0 r1"), "[0]\n");

    EXPECT_THAT(vornctl("status -v"), HasSubstr("Radio \"r1\": power\n"));
    EXPECT_THAT(saved(), AllOf(HasSubstr("<Radio name=\"r1\">"), HasSubstr("<power>9</power>")));
}

TEST_F(Kept, StaysWithAnInstanceWithoutANameThatChanges)
{
    write_file(startup, "<config><Route><to>a</to><by>1</by></Route></config>");
    boot();
    lsql("<lsql><update><Route where=\"to = 'a'\"><to>b</to></Route></update></lsql>");
    EXPECT_THAT(saved(), AllOf(HasSubstr("<to>b</to>"), HasSubstr("<by>1</by>")));

    lsql("<lsql><write-transaction><update><Route where=\"to = 'b'\"><to>c</to></Route></update>"
         "</write-transaction></lsql>");
    EXPECT_THAT(saved(), AllOf(HasSubstr("<to>c</to>"), HasSubstr("<by>1</by>")));
}

TEST_F(Kept, IsThatOfTheGenerationThatSomebodyGoesBackTo)
{
    install_plugin("history.vorn");
    boot();
    vornctl("set Radio r0 channel=11");
    const std::string with_all = saved();
    vornctl("forget");
    vornctl("explain rollback 2");
    vornctl("set Radio r0 channel=1");
    EXPECT_THAT(saved(), AllOf(Not(HasSubstr("Toaster")), Not(HasSubstr("power"))));

    EXPECT_EQ(vornctl("rollback 2"), "[0]\n");
    EXPECT_EQ(saved(), with_all);
    EXPECT_EQ(vornctl("rollback 3"), "[0]\n");
    EXPECT_THAT(saved(), AllOf(Not(HasSubstr("Toaster")), Not(HasSubstr("power"))));
}

/* Attack. Plugins that are there or not, as it happens, from boot to boot. */
class Plugins : public Kept, public vorn::tests::RandomTexts {
protected:
    static constexpr const char *names[] = {"a", "b", "c"};

    void SetUp() override
    {
        Kept::SetUp();
        install_plugin("travels.vorn");
        std::string text = "<config>";
        for (int i = 0; i < 4; i++) {
            for (const char *name : names)
                text += instances_of(name, std::to_string(i));
        }
        write_file(startup, text + "</config>");
        std::filesystem::copy_file(in_plugins("travels"), travels);
        std::filesystem::remove(in_plugins("travels"));
        choose(~0U);
    }

    static std::string in_plugins(const std::string &name)
    {
        return "/usr/lib/vorn/plugins/" + name + ".vorn";
    }

    static std::string element(const std::string &klass, const std::string &attribute,
                               const std::string &inside)
    {
        return "<" + klass + attribute + ">" + inside + "</" + klass + ">";
    }

    static std::string instances_of(const std::string &plugin, const std::string &number)
    {
        const std::string value = element("value", "", number);
        const std::string name = " name=\"" + plugin + number + "\"";
        std::string text = element(plugin + "-list", "", value) +
                           element(plugin + "-name", name, value) +
                           element("Address", name, element("kind", "", plugin + "-kind") + value);
        if (number == "0") text += element(plugin + "-only", "", value);
        return text;
    }

    static void choose(unsigned int present)
    {
        for (unsigned int i = 0; i < std::size(names); i++) {
            const bool is_present = (present >> i & 1) != 0;
            std::filesystem::remove(in_plugins(names[i]));
            if (is_present) std::filesystem::copy_file(travels, in_plugins(names[i]));
        }
    }

    static std::string select(const std::string &klass)
    {
        return "<select><" + klass + " properties=\"all\"/></select>";
    }

    static std::string shown_of(const std::string &plugin)
    {
        std::string request = "<lsql>";
        for (const char *ending : {"-list", "-name", "-only", "-kind"})
            request += select(plugin + ending);
        return lsql(request + "</lsql>");
    }

    static constexpr char travels[] = "/tmp/travels.vorn";
};

TEST_P(Plugins, ThatComeAndGoFindTheirInstancesInOrder)
{
    boot();
    std::string whole[std::size(names)];
    for (unsigned int i = 0; i < std::size(names); i++) {
        whole[i] = shown_of(names[i]);
        ASSERT_THAT(whole[i], AllOf(HasSubstr("<value>3</value>"), HasSubstr("<rc>0</rc>")));
    }

    for (int round = 0; round < 6; round++) {
        const unsigned int present = round == 5 ? ~0U : static_cast<unsigned int>(below(8));
        shut_down();
        choose(present);
        boot();
        lsql("<lsql><insert><Radio name=\"r" + std::to_string(round) + "\"/></insert></lsql>");
        ASSERT_THAT(saved(), HasSubstr("\"r" + std::to_string(round)));
        for (unsigned int i = 0; i < std::size(names); i++) {
            if ((present >> i & 1) == 0) continue;
            EXPECT_EQ(shown_of(names[i]), whole[i]) << names[i];
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, Plugins, testing::Range(1U, 4U));

} // namespace
