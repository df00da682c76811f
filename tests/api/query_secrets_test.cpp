/* SPDX-License-Identifier: MIT */
/* Values that are saved and used, but told to nobody. */
#include "api/query_fixture.h"
#include "support/builders.h"

#include <gmock/gmock.h>

#include <string>

namespace {

using testing::HasSubstr;
using testing::Not;
using vorn::tests::ClassBuilder;
using vorn::tests::numeric;
using vorn::tests::printed;
using vorn::tests::QueryTest;

constexpr char all_of_door[] = "<lsql><select><Door properties=\"all\"/></select></lsql>";

/* "vault": an instance with a secret, and one that has none yet. */
class QuerySecrets : public QueryTest {
protected:
    QuerySecrets()
    {
        ClassBuilder("Door").with("code", numeric).with("colour").add_resolved();
        set_secret("Door", "code", 1);
        set_secret("Tunnel", "peer", 1);
        put("Door", "vault", {{"code", "4711"}, {"colour", "grey"}});
        put("Door", "shed", {{"colour", "red"}});
    }

    static void set_secret(const char *class_name, const char *property, int flag)
    {
        vorn_class *klass = vorn_classes_get(class_name);
        vorn_property_set_secret(vorn_class_get_property(klass, property), flag);
    }

    std::string ask_about(const std::string &name, const std::string &values)
    {
        return ask("<lsql><write-transaction><update><Door name=\"" + name + "\">" + values +
                   "</Door></update></write-transaction></lsql>");
    }
};

TEST_F(QuerySecrets, AreToldToBeThere)
{
    EXPECT_EQ(ask(all_of_door),
              "<lsql_result><dataset><Door name=\"vault\"><code>********</code>"
              "<colour>grey</colour></Door><Door name=\"shed\"><code/><colour>red</colour></Door>"
              "</dataset><rc>0</rc><counter>2</counter></lsql_result>");
    EXPECT_THAT(ask("<lsql><select><Door name=\"vault\"><code/></Door></select></lsql>"),
                HasSubstr("<code>********</code>"));
}

TEST_F(QuerySecrets, AreLookedForInRequestsThatNameNoClass)
{
    EXPECT_THAT(ask("<lsql><select/><where><eq><property>code</property><value>1</value></eq>"
                    "</where></lsql>"),
                HasSubstr("<error>"));
}

TEST_F(QuerySecrets, AreToldToThePluginsThemselves)
{
    EXPECT_THAT(ask_passively(all_of_door), HasSubstr("<code>4711</code>"));
    EXPECT_THAT(ask_passively("<lsql><select><Door/></select><where><eq><property>code</property>"
                              "<value>4711</value></eq></where></lsql>"),
                HasSubstr("<counter>1</counter>"));
}

TEST_F(QuerySecrets, CannotBeGuessedByComparing)
{
    const auto found_by = [&](const std::string &value) {
        return ask("<lsql><select><Door/></select><where><eq><property>code</property><value>" +
                   value + "</value></eq></where></lsql>");
    };
    EXPECT_THAT(found_by("4711"), HasSubstr("<counter>0</counter>"));
    EXPECT_THAT(found_by("********"), HasSubstr("<counter>1</counter>"));
}

TEST_F(QuerySecrets, StayWhenTheyAreWrittenBackAsShown)
{
    EXPECT_THAT(ask_about("vault", "<code>********</code><colour>blue</colour>"),
                HasSubstr("<rc>0</rc><counter>1</counter>"));

    EXPECT_EQ(value("Door", "vault", "code"), "4711");
    EXPECT_EQ(value("Door", "vault", "colour"), "blue");
}

TEST_F(QuerySecrets, AreReplacedByOthers)
{
    ask_about("vault", "<code>1234</code>");
    EXPECT_EQ(value("Door", "vault", "code"), "1234");
}

TEST_F(QuerySecrets, CannotBeKeptWhereThereAreNone)
{
    EXPECT_THAT(ask_about("shed", "<code>********</code>"),
                HasSubstr("<error>There is no secret to keep for property \"code\" of class "
                          "\"Door\".</error><rc>1</rc>"));
    EXPECT_EQ(value("Door", "shed", "code"), "(none)");
    EXPECT_THAT(
        ask("<lsql><insert><Door name=\"new\"><code>********</code></Door></insert></lsql>"),
        HasSubstr("There is no secret to keep"));
    EXPECT_EQ(vorn_instances_get(vorn::running_config, "Door", "new"), nullptr);
}

TEST_F(QuerySecrets, AreNotMeantByTheSameTextInOtherProperties)
{
    EXPECT_THAT(ask_about("vault", "<colour>********</colour>"), HasSubstr("<rc>0</rc>"));
    EXPECT_EQ(value("Door", "vault", "colour"), "********");
}

TEST_F(QuerySecrets, StayWithAnInstanceThatIsMadeAnewInOneTransaction)
{
    EXPECT_THAT(ask("<lsql><write-transaction><delete><Door name=\"vault\"/></delete><insert>"
                    "<Door name=\"vault\"><code>********</code></Door></insert>"
                    "</write-transaction></lsql>"),
                HasSubstr("<rc>0</rc><counter>1</counter></lsql_result>"));

    EXPECT_EQ(value("Door", "vault", "code"), "4711");
    EXPECT_EQ(value("Door", "vault", "colour"), "(none)");
}

std::string renamed(const std::string &old_name, const std::string &new_name)
{
    return "<insert><Door name=\"" + new_name + "\" secrets-of=\"" + old_name +
           "\"><code>********</code><colour>blue</colour></Door></insert>"
           "<delete><Door name=\"" +
           old_name + "\"/></delete>";
}

TEST_F(QuerySecrets, GoOverToAnInstanceWithAnotherName)
{
    EXPECT_THAT(ask("<lsql><write-transaction>" + renamed("vault", "safe") +
                    renamed("safe", "chest") + "</write-transaction></lsql>"),
                Not(HasSubstr("<error>")));

    EXPECT_EQ(value("Door", "chest", "code"), "4711");
    EXPECT_EQ(value("Door", "chest", "colour"), "blue");
}

TEST_F(QuerySecrets, OfNobodyGoOverToNoInstance)
{
    for (const char *nobody : {"shed", "attic", ""}) {
        EXPECT_THAT(ask("<lsql><write-transaction>" + renamed(nobody, "safe") +
                        "</write-transaction></lsql>"),
                    HasSubstr("There is no secret to keep for property \"code\""));
    }
    EXPECT_THAT(ask("<lsql><write-transaction><delete><Door name=\"vault\"/></delete>" +
                    renamed("vault", "vault") + "</write-transaction></lsql>"),
                HasSubstr("There is no secret to keep"));
}

TEST_F(QuerySecrets, AreInNoRefusal)
{
    log.set_level(1);
    EXPECT_THAT(ask_about("vault", "<code>12x4</code>"),
                HasSubstr("Value \"********\" is not valid for property \"code\""));
    EXPECT_THAT(log.text(), Not(HasSubstr("12x4")));
}

TEST_F(QuerySecrets, AreInNoLogOfRequestsAndAnswers)
{
    log.set_level(4);

    ask_about("vault", "<code>1234</code><colour>blue</colour>");
    ask("<lsql><insert><Door name=\"new\"><code><![CDATA[5678]]></code></Door></insert></lsql>");
    ask("<lsql><insert><Address name=\"t\"><kind>Tunnel</kind><peer>9012</peer></Address>"
        "</insert></lsql>");
    ask("<lsql><select><Door/></select><where><and><eq><property>code</property>"
        "<value>1234</value></eq></and></where></lsql>");
    ask("<lsql><delete><Door name=\"vault\"/></delete></lsql>");

    EXPECT_THAT(log.text(), HasSubstr("<code>********</code><colour>blue</colour>"));
    EXPECT_THAT(log.text(), HasSubstr("<peer>********</peer>"));
    for (const char *secret : {"4711", "5678", "9012", ">1234"})
        EXPECT_THAT(log.text(), Not(HasSubstr(secret)));
    EXPECT_EQ(value("Door", "new", "code"), "5678") << "though it was hidden meanwhile";
    EXPECT_EQ(value("Tunnel", "t", "peer"), "9012");
}

TEST_F(QuerySecrets, AreInNoPrintedInstance)
{
    const vorn_instance *vault = vorn_instances_get(vorn::running_config, "Door", "vault");
    EXPECT_EQ(printed([&](std::FILE *stream) { vorn_instance_print(vault, stream); }),
              "Instance name: vault\tclass: Door\n   code =\t********\n   colour =\tgrey\n");
}

TEST_F(QuerySecrets, AreShownByReferenceWhereThePluginKeepsThem)
{
    set_secret("Door", "colour", VORN_SECRET_BY_REFERENCE);
    const auto shown_for = [&](const char *value) {
        const vorn_class *door = vorn_classes_get("Door");
        return vorn_property_get_shown_value(vorn_class_get_property(door, "colour"), value);
    };
    EXPECT_STREQ(shown_for("******** 01234def"), "******** 01234def");
    for (const char *no_reference : {"******** 01234de", "******** 01234def0", "******** 0123ADEF",
                                     "********01234def", "*", "plain"})
        EXPECT_STREQ(shown_for(no_reference), "********") << no_reference;
    EXPECT_STREQ(shown_for(""), "");
    EXPECT_EQ(shown_for(nullptr), nullptr);
}

} // namespace
