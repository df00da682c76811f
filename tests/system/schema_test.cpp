/* SPDX-License-Identifier: MIT */
/* The device describes itself in its own language. */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "configured_device.h"

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using vorn::tests::answer;

constexpr char select_classes[] =
    "<lsql><select><schema-class><type/></schema-class></select></lsql>";

std::string typed(const std::string &name, const std::string &type)
{
    return "<schema-class name=\"" + name + "\"><type>" + type + "</type></schema-class>";
}

/* Plugin by plugin; in which order these are loaded is up to the file system. */
auto all_classes()
{
    return AllOf(
        HasSubstr(typed("Board", "singleton") + typed("Radio", "unique-named") +
                  typed("Route", "anonymous") + typed("Acl", "group-named") +
                  typed("Clock", "singleton") + typed("Address", "unique-named") +
                  typed("Static", "unique-named") + typed("Dhcp", "unique-named")),
        HasSubstr(typed("schema-class", "unique-named") + typed("schema-property", "group-named")),
        HasSubstr(typed("save", "singleton")), HasSubstr("<counter>11</counter>"));
}

std::string described(const std::string &owner, const std::string &property,
                      const std::string &flags, const std::string &inherited,
                      const std::string &references = "")
{
    const auto says = [&](const char *what, const char *letters) {
        return std::string("<") + what + ">" +
               (flags.find_first_of(letters) == std::string::npos ? "no" : "yes") + "</" + what +
               ">";
    };
    return "<schema-property name=\"" + owner + "\"><property>" + property + "</property>" +
           says("readable", "r") + says("writable", "w") + says("required", "i") +
           says("persistent", "p") + "<inherited>" + inherited + "</inherited>" +
           (references.empty() ? "<references/>" : "<references>" + references + "</references>") +
           (property == "hidden" ? "<secret>yes</secret><valid>on|off</valid>"
                                 : "<secret>no</secret><valid/>") +
           "<label/><help/><unit/><example/><group/><order/><accepts>[]</accepts>" +
           says("changeable", "w") + says("insertable", "wi") + "</schema-property>";
}

class Schemas : public vorn::tests::ConfiguredDevice {
protected:
    void SetUp() override
    {
        ConfiguredDevice::SetUp();
        install_plugin("schema.vorn");
        install_plugin("save.vorn");
        install_plugin("flags.vorn");
        write_file(vorn::tests::startup, "<config><Radio name=\"r0\"/></config>");
    }

    static std::string one_class(const std::string &name)
    {
        return lsql("<lsql><select><schema-class name=\"" + name +
                    "\" properties=\"all\"/></select></lsql>");
    }

    static std::string properties_of(const std::string &name)
    {
        return lsql("<lsql><select><schema-property name=\"" + name +
                    "\" properties=\"all\"/></select></lsql>");
    }
};

class BoardSchemas : public Schemas {
protected:
    void SetUp() override
    {
        Schemas::SetUp();
        unlink("/usr/lib/vorn/plugins/flags.vorn");
        boot();
    }
};

TEST_F(BoardSchemas, NameEveryClassInTheOrderOfRegistration)
{
    EXPECT_THAT(lsql(select_classes), all_classes());
}

TEST_F(BoardSchemas, TellHowAClassIsKept)
{
    EXPECT_EQ(one_class("Clock"),
              answer("<schema-class name=\"Clock\"><type>singleton</type><persistent>no"
                     "</persistent><abstract>no</abstract><superclass/><subclass-identifier/>"
                     "<label/><help/><group/><order/><insertable>yes</insertable>"
                     "<deletable>yes</deletable></schema-class>",
                     1));
    EXPECT_THAT(one_class("Radio"), HasSubstr("<persistent>yes</persistent>"));
}

TEST_F(BoardSchemas, TellOfFamilies)
{
    EXPECT_THAT(one_class("Address"),
                HasSubstr("<abstract>yes</abstract><superclass/><subclass-identifier>kind"
                          "</subclass-identifier>"));
    EXPECT_THAT(one_class("Dhcp"), HasSubstr("<abstract>no</abstract><superclass>Address"
                                             "</superclass><subclass-identifier/>"));
}

TEST_F(BoardSchemas, GroupPropertiesByClassInheritedOnesFirst)
{
    EXPECT_EQ(properties_of("Dhcp"), answer(described("Dhcp", "kind", "rip", "yes") +
                                                described("Dhcp", "comment", "rwp", "yes") +
                                                described("Dhcp", "lease", "r", "no"),
                                            3));
    EXPECT_EQ(properties_of("Address"), answer(described("Address", "kind", "rip", "no") +
                                                   described("Address", "comment", "rwp", "no"),
                                               2));
    EXPECT_THAT(properties_of("Toaster"), HasSubstr("<counter>0</counter>"));
}

TEST_F(BoardSchemas, AnswerConditions)
{
    EXPECT_EQ(lsql("<lsql><select><schema-property><property/></schema-property></select>"
                   "<where><and><eq><metadata>name</metadata><value>Board</value></eq><eq>"
                   "<property>writable</property><value>no</value></eq></and></where></lsql>"),
              answer("<schema-property name=\"Board\"><property>uptime</property>"
                     "</schema-property>",
                     1));
}

TEST_F(BoardSchemas, AreThereInATransactionToo)
{
    EXPECT_THAT(
        lsql(std::string("<lsql><write-transaction>") +
             std::string(select_classes).substr(6, std::string(select_classes).size() - 13) +
             "</write-transaction></lsql>"),
        all_classes());
    EXPECT_THAT(lsql(select_classes), all_classes());
}

TEST_F(BoardSchemas, SurviveATransactionThatFailed)
{
    lsql(select_classes);
    lsql("<lsql><write-transaction><delete><schema-class/></delete><update><Toaster/></update>"
         "</write-transaction></lsql>");

    EXPECT_THAT(lsql(select_classes), all_classes());
}

TEST_F(BoardSchemas, ComeBackHoweverTheyWereTamperedWith)
{
    for (const char *tampering :
         {"<delete><schema-class/></delete>", "<delete><schema-class name=\"Radio\"/></delete>",
          "<insert><schema-class name=\"Toaster\"/></insert>"}) {
        lsql(std::string("<lsql><write-transaction>") + tampering + "</write-transaction></lsql>");

        EXPECT_THAT(lsql(select_classes), all_classes()) << tampering;
    }
    lsql("<lsql><delete><schema-property name=\"Radio\"/></delete>"
         "<insert><schema-property name=\"Radio\"/></insert></lsql>");
    EXPECT_EQ(properties_of("Radio"), answer(described("Radio", "channel", "rwp", "no") +
                                                 described("Radio", "mode", "rwp", "no"),
                                             2));
}

TEST_F(BoardSchemas, CannotBeWritten)
{
    lsql(select_classes);

    EXPECT_THAT(lsql("<lsql><update><schema-class name=\"Radio\"><type>x</type></schema-class>"
                     "</update></lsql>"),
                HasSubstr("<error>Property \"type\" of class \"schema-class\" is not writable."));
}

TEST_F(BoardSchemas, AreNeverSaved)
{
    lsql(select_classes);
    lsql("<lsql><update><Radio><mode>g</mode></Radio></update></lsql>");

    const std::string saved = read_file(vorn::tests::startup);
    EXPECT_THAT(saved, HasSubstr("<mode>g</mode>"));
    EXPECT_THAT(saved, Not(HasSubstr("schema")));
}

TEST_F(Schemas, ShowEveryFlagBothWaysAndNamesOfAnyLength)
{
    boot();
    const std::string long_class(60, 'C');
    const std::string long_property(90, 'p');

    EXPECT_EQ(properties_of(long_class),
              answer(described(long_class, long_property, "rwip", "no") +
                         described(long_class, "hidden", "w", "no", "Radio"),
                     2));
    EXPECT_THAT(one_class(long_class), HasSubstr("<type>anonymous</type>"));
}

} // namespace
