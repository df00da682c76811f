/* SPDX-License-Identifier: MIT */
/* Whole requests and whole answers, as a client sees them. */
#include "api/query_fixture.h"

namespace {

using vorn::tests::QueryTest;
using vorn::tests::refusal;

struct Exchange {
    const char *name;
    std::string request;
    std::string answer;
};

std::string in_lsql(const std::string &operations)
{
    return "<lsql>" + operations + "</lsql>";
}

std::string result(const std::string &content)
{
    return content.empty() ? "<lsql_result/>" : "<lsql_result>" + content + "</lsql_result>";
}

std::string dataset(const std::string &content, int counter)
{
    const std::string element =
        content.empty() ? "<dataset/>" : "<dataset>" + content + "</dataset>";
    return element + "<rc>0</rc><counter>" + std::to_string(counter) + "</counter>";
}

std::string done(int counter)
{
    return "<rc>0</rc><counter>" + std::to_string(counter) + "</counter>";
}

std::string select_where(const std::string &expression)
{
    return in_lsql("<select><Radio/></select><where>" + expression + "</where>");
}

const std::string none = result(dataset("", 0));
const std::string only_r0 = result(dataset("<Radio name=\"r0\"/>", 1));
const std::string only_r1 = result(dataset("<Radio name=\"r1\"/>", 1));
const std::string both = result(dataset("<Radio name=\"r0\"/><Radio name=\"r1\"/>", 2));

const Exchange exchanges[] = {
    /* The request as a whole. */
    {"AnotherRoot", "<sql/>", refusal("Top level name is not lsql.")},
    {"ARootInCapitals", "<LSQL/>", refusal("Top level name is not lsql.")},
    {"NothingInside", "<lsql/>", refusal("Incomplete lsql request.")},
    {"AnEmptyTransaction", in_lsql("<write-transaction/>"), result("")},
    {"AnOperationWithoutAClass", in_lsql("<select/>"), refusal("Incomplete lsql request.")},
    {"AnUnknownOperation", in_lsql("<upsert><Radio/></upsert>"),
     refusal("Invalid operation \"upsert\".")},
    {"AnOperationInCapitals", in_lsql("<Select><Radio/></Select>"),
     refusal("Invalid operation \"Select\".")},
    {"ALongUnknownOperation",
     in_lsql("<" + std::string(100, 'o') + "><R/></" + std::string(100, 'o') + ">"),
     refusal("Invalid operation \"" + std::string(60, 'o'))},
    {"AnUnknownOperationAfterAFailedOne",
     in_lsql("<update><Nothing/></update><upsert><Radio/></upsert>"),
     result("<error>Unknown class \"Nothing\".</error><rc>1</rc><counter>0</counter>"
            "<error>Invalid operation \"upsert\".</error><rc>2</rc><counter>0</counter>")},
    {"TextForAnOperation", "<lsql>hello</lsql>", refusal("Invalid operation \"text\".")},
    /* A node of character data has no name at all. */
    {"CdataForAnOperation", "<lsql><![CDATA[hello]]></lsql>",
     refusal("Invalid operation \"(null)\".")},
    {"CdataForAClass", "<lsql><select><![CDATA[hello]]></select></lsql>",
     refusal("No class name.")},
    {"CdataForASelectedProperty",
     "<lsql><select><Board><![CDATA[hello]]><label/></Board></select></lsql>",
     result(dataset("<Board><label>attic</label></Board>", 1))},
    {"CdataForAnUpdatedProperty", "<lsql><update><Board><![CDATA[hello]]></Board></update></lsql>",
     refusal("Property \"(null)\" is not valid for class \"Board\".")},
    {"CdataForAnInsertedClass", "<lsql><insert><![CDATA[hello]]></insert></lsql>",
     refusal("No class name.")},
    {"CdataForTheNextInsertedClass", "<lsql><insert><Route/><![CDATA[hello]]></insert></lsql>",
     result("<error>Unknown class \"(null)\".</error><rc>1</rc><counter>1</counter>")},
    {"CdataForAnInsertedProperty", "<lsql><insert><Route><![CDATA[hello]]></Route></insert></lsql>",
     refusal("Property \"(null)\" is not valid for class \"Route\".")},
    {"CdataForAnExpression", select_where("<![CDATA[hello]]>"), none},
    {"AProcessingInstructionForAnOperation", "<lsql><?select now?></lsql>",
     refusal("Incomplete lsql request.")},
    {"SiblingsOfATransaction",
     in_lsql("<write-transaction><select><Board/></select></write-transaction><upsert/>"),
     result(dataset("<Board/>", 1))},
    {"ATransactionThatIsNotFirst",
     in_lsql("<select><Board/></select><write-transaction><select><Board/></select>"
             "</write-transaction>"),
     result("<dataset/><error>Invalid operation \"write-transaction\".</error><rc>1</rc>"
            "<counter>0</counter>")},
    {"ATransactionBehindWhiteSpace",
     in_lsql(" <write-transaction><select><Board/></select></write-transaction>"),
     refusal("Invalid operation \"text\".")},
    {"AnErrorAtTheSecondOfThree",
     in_lsql("<delete><Route/></delete><insert><Radio name=\"r0\"/></insert>"
             "<delete><Board/></delete>"),
     result("<rc>0</rc><counter>2</counter><error>Couldn't add instance \"r0\" of class "
            "\"Radio\".</error><rc>1</rc><counter>0</counter>")},
    {"AnUnknownClassThatTheFirstPassForgives",
     in_lsql("<delete><Route/></delete><update><Nothing/></update><select><Board/></select>"),
     result("<rc>0</rc><counter>2</counter><error>Unknown class \"Nothing\".</error><rc>1</rc>"
            "<counter>0</counter>")},
    {"AnOperationWithoutAClassBehindAnother", in_lsql("<select><Board/></select><select/>"),
     result(dataset("<Board/>", 1))},
    {"TwoOperations", in_lsql("<select><Board/></select><select><Radio name=\"r0\"/></select>"),
     result(dataset("<Board/>", 1) + dataset("<Radio name=\"r0\"/>", 1))},
    {"AnEmptyNodeBetweenOperations",
     in_lsql("<select><Board/></select><pause/><select><Board/></select>"),
     result(dataset("<Board/>", 1) + dataset("<Board/>", 1))},
    {"WhiteSpaceBetweenOperations",
     in_lsql("<select><Board/></select>\n <select><Board/></select>"),
     result(dataset("<Board/>", 1) + dataset("<Board/>", 1))},

    /* Select. */
    {"EveryInstance", in_lsql("<select><Radio/></select>"), both},
    {"OneByName", in_lsql("<select><Radio name=\"r1\"/></select>"), only_r1},
    {"NoneOfThatName", in_lsql("<select><Radio name=\"r9\"/></select>"), none},
    {"SelectedProperties", in_lsql("<select><Radio name=\"r0\"><mode/><channel/></Radio></select>"),
     result(dataset("<Radio name=\"r0\"><mode>g</mode><channel>6</channel></Radio>", 1))},
    {"APropertyWithoutAValue", in_lsql("<select><Radio name=\"r0\"><uptime/></Radio></select>"),
     result(dataset("<Radio name=\"r0\"><uptime/></Radio>", 1))},
    {"APropertyThatIsNone", in_lsql("<select><Radio name=\"r0\"><speed/></Radio></select>"),
     result(dataset("<Radio name=\"r0\"><speed/></Radio>", 1))},
    {"AllProperties", in_lsql("<select><Radio name=\"r0\" properties=\"all\"/></select>"),
     result(dataset("<Radio name=\"r0\"><channel>6</channel><mode>g</mode><uptime/></Radio>", 1))},
    {"AllPropertiesBeforeElements",
     in_lsql("<select><Radio name=\"r0\" properties=\"all\"><mode/></Radio></select>"),
     result(dataset("<Radio name=\"r0\"><channel>6</channel><mode>g</mode><uptime/></Radio>", 1))},
    {"OtherProperties", in_lsql("<select><Radio properties=\"some\"/></select>"),
     result("<dataset><Radio name=\"r0\"/></dataset><error>Invalid properties=\"some\".</error>"
            "<rc>1</rc><counter>1</counter>")},
    {"OtherPropertiesOfNothing",
     in_lsql("<select><Radio name=\"r9\" properties=\"some\"/></select>"), none},
    {"LongOtherProperties",
     in_lsql("<select><Board properties=\"" + std::string(100, 'p') + "\"/></select>"),
     result("<dataset><Board/></dataset><error>Invalid properties=\"" + std::string(59, 'p') +
            "</error><rc>1</rc><counter>1</counter>")},
    {"AnUnknownClass", in_lsql("<select><Nothing/></select>"), none},
    {"ASingleton", in_lsql("<select><Board><label/></Board></select>"),
     result(dataset("<Board><label>attic</label></Board>", 1))},
    {"AnonymousInstances", in_lsql("<select><Route><to/></Route></select>"),
     result(dataset("<Route><to>lan</to></Route><Route><to>wan</to></Route>", 2))},
    {"AnonymousInstancesByName", in_lsql("<select><Route name=\"lan\"/></select>"), none},
    {"AGroup", in_lsql("<select><Acl name=\"guests\"><mac/></Acl></select>"),
     result(dataset("<Acl name=\"guests\"><mac>01</mac></Acl>"
                    "<Acl name=\"guests\"><mac>03</mac></Acl>",
                    2))},
    {"AnAbstractClass", in_lsql("<select><Address properties=\"all\"/></select>"),
     result(dataset("<Address name=\"lan\"><kind>Static</kind></Address>", 1))},
    {"AllPropertiesOfASubclass",
     in_lsql("<insert><Address name=\"vpn\"><kind>Tunnel</kind><peer>1</peer></Address></insert>"
             "<select><Tunnel properties=\"all\"/></select>"),
     result(done(1) + dataset("<Tunnel name=\"vpn\"><kind>Tunnel</kind><peer>1</peer><state/>"
                              "</Tunnel>",
                              1))},
    {"UnreadableProperties",
     in_lsql("<insert><Key name=\"k\"><serial>1</serial><secret>s</secret></Key></insert>"
             "<select><Key properties=\"all\"/></select><select><Key><secret/></Key></select>"),
     result(done(1) + dataset("<Key name=\"k\"><serial>1</serial><secret>s</secret></Key>", 1) +
            dataset("<Key name=\"k\"><secret>s</secret></Key>", 1))},
    {"APropertyTwice", in_lsql("<select><Radio name=\"r0\"><mode/><mode/></Radio></select>"),
     result(dataset("<Radio name=\"r0\"><mode>g</mode><mode>g</mode></Radio>", 1))},
    {"OneByNameWhere",
     in_lsql("<select><Radio name=\"r0\"/></select>"
             "<where><eq><property>mode</property><value>b</value></eq></where>"),
     none},
    {"FurtherClassElements", in_lsql("<select><Radio name=\"r0\"/><Board/></select>"), only_r0},
    {"OtherPropertiesOfNoneMeant",
     in_lsql("<select><Radio properties=\"some\"/></select><where><or/></where>"), none},
    {"EmptyProperties", in_lsql("<select><Board properties=\"\"/></select>"),
     result("<dataset><Board/></dataset><error>Invalid properties=\"\".</error>"
            "<rc>1</rc><counter>1</counter>")},

    /* Where. */
    {"WhereEqual", select_where("<eq><property>mode</property><value>g</value></eq>"), only_r0},
    {"WhereNotEqual", select_where("<not><eq><property>mode</property><value>g</value></eq></not>"),
     only_r1},
    {"WhereBothUnset",
     select_where("<eq><property>uptime</property><property>uptime</property></eq>"), none},
    {"WhereNotBothUnset",
     select_where("<not><eq><property>uptime</property><property>uptime</property></eq></not>"),
     both},
    {"WhereName", select_where("<eq><metadata>name</metadata><value>r1</value></eq>"), only_r1},
    {"WhereOtherMetadata", select_where("<metadata>age</metadata>"), none},
    {"WhereMetadataOfNothing", select_where("<metadata/>"), none},
    {"WhereAValue", select_where("<value>yes</value>"), both},
    {"WhereNoValue", select_where("<value/>"), none},
    {"WhereAPropertyIsSet", select_where("<property>channel</property>"), both},
    {"WhereAPropertyIsNot", select_where("<property>uptime</property>"), none},
    {"WhereAPropertyHasNoName", select_where("<property/>"), none},
    {"WhereEmptyEq", select_where("<eq/>"), none},
    {"WhereEqOfOne", select_where("<eq><value>1</value></eq>"), none},
    {"WhereEqOfThree", select_where("<eq><value>1</value><value>1</value><value>2</value></eq>"),
     both},
    {"WhereEmptyNot", select_where("<not/>"), both},
    {"WhereNotOfTwo", select_where("<not><value/><value>1</value></not>"), both},
    {"WhereEmptyAnd", select_where("<and/>"), both},
    {"WhereAnd",
     select_where("<and><property>mode</property>"
                  "<eq><property>channel</property><value>11</value></eq></and>"),
     only_r1},
    {"WhereEmptyOr", select_where("<or/>"), none},
    {"WhereOr",
     select_where("<or><eq><property>channel</property><value>6</value></eq>"
                  "<eq><property>channel</property><value>12</value></eq></or>"),
     only_r0},
    {"WhereUnknownExpression", select_where("<xor/>"), none},
    {"WhereInCapitals", select_where("<AND/>"), none},
    {"WhereOfTwoExpressions", select_where("<or/><and/>"), none},
    {"WhereStartsWithWhiteSpace", select_where(" <and/>"), none},
    {"WhereIsEmpty", in_lsql("<select><Radio/></select><where/>"), both},
    {"WhereOfCdata", select_where("<eq><property><![CDATA[mode]]></property><value>g</value></eq>"),
     only_r0},
    {"WhereOfSplitText", select_where("<eq><property>mode</property><value>g<!-- --></value></eq>"),
     only_r0},
    {"WhereOfTextBehindAComment",
     select_where("<eq><property>mode</property><value><!-- -->g</value></eq>"), none},
    {"WhereValuesDiffer", select_where("<eq><value>ab</value><value>a</value></eq>"), none},
    {"WhereCaseDiffers", select_where("<eq><value>a</value><value>A</value></eq>"), none},
    {"WhereEmptyValues",
     in_lsql("<update><Board><label/></Board></update><select><Board/></select>"
             "<where><eq><property>label</property><property>label</property></eq></where>"),
     result(done(1) + dataset("<Board/>", 1))},
    {"WhereEqYieldsOne",
     select_where("<eq><eq><value>x</value><value>x</value></eq><value>1</value></eq>"), both},
    {"WhereNotYieldsOne", select_where("<eq><not/><value>1</value></eq>"), both},
    {"WhereAndYieldsOne", select_where("<eq><and><value>x</value></and><value>1</value></eq>"),
     both},
    {"WhereOrYieldsOne", select_where("<eq><or><value>x</value></or><value>1</value></eq>"), both},
    {"WhereTheNameOfNone",
     in_lsql("<select><Route/></select><where><metadata>name</metadata></where>"), none},
    {"WhereIsNotTheNextSibling", in_lsql("<select><Radio/></select> <where><or/></where>"),
     result("<dataset/><error>Invalid operation \"where\".</error><rc>1</rc>"
            "<counter>0</counter>")},

    /* Update. */
    {"UpdateOne", in_lsql("<update><Radio name=\"r0\"><channel>7</channel></Radio></update>"),
     result(done(1))},
    {"UpdateEvery", in_lsql("<update><Radio><channel>7</channel></Radio></update>"),
     result(done(2))},
    {"UpdateWhere",
     in_lsql("<update><Radio><channel>7</channel></Radio></update>"
             "<where><eq><property>mode</property><value>b</value></eq></where>"),
     result(done(1))},
    {"UpdateNone", in_lsql("<update><Radio name=\"r9\"><speed>7</speed></Radio></update>"),
     result(done(0))},
    {"UpdateNothingOfOne", in_lsql("<update><Radio name=\"r0\"/></update>"), result(done(1))},
    {"UpdateAnUnknownClass", in_lsql("<update><Nothing/></update>"),
     refusal("Unknown class \"Nothing\".")},
    {"UpdateAPropertyThatIsNone",
     in_lsql("<update><Radio name=\"r0\"><speed>7</speed></Radio></update>"),
     refusal("Property \"speed\" is not valid for class \"Radio\".")},
    {"UpdateAReadOnlyProperty",
     in_lsql("<update><Radio name=\"r0\"><uptime>7</uptime></Radio></update>"),
     refusal("Property \"uptime\" of class \"Radio\" is not writable.")},
    {"UpdateWithABadValue",
     in_lsql("<update><Radio name=\"r0\"><channel>six</channel></Radio></update>"),
     refusal("Value \"six\" is not valid for property \"channel\" of class \"Radio\".")},
    {"UpdateWithWhiteSpace",
     in_lsql("<update><Radio name=\"r0\"> <channel>7</channel></Radio></update>"),
     refusal("Property \"text\" is not valid for class \"Radio\".")},
    {"UpdateThroughTheAbstractClass",
     in_lsql("<update><Address><speed>1</speed></Address></update>"),
     refusal("Property \"speed\" is not valid for class \"Static\".")},
    {"UpdateWithALongBadValue",
     in_lsql("<update><Radio name=\"r0\"><channel>" + std::string(300, 'x') +
             "</channel></Radio></update>"),
     refusal("Value \"" + std::string(152, 'x'))},
    {"UpdateWithABadValueOfMarkup",
     in_lsql("<update><Radio name=\"r0\"><channel>&lt;&amp;&gt;</channel></Radio></update>"),
     refusal("Value \"&lt;&amp;&gt;\" is not valid for property \"channel\" of class \"Radio\".")},
    {"UpdateABadValueOfASubclass",
     in_lsql("<insert><Address name=\"vpn\"><kind>Tunnel</kind></Address></insert>"
             "<update><Address name=\"vpn\"><peer>x</peer></Address></update>"),
     result(done(1) + "<error>Value \"x\" is not valid for property \"peer\" of class "
                      "\"Tunnel\".</error><rc>1</rc><counter>0</counter>")},
    {"UpdateAReadOnlyPropertyOfASubclass",
     in_lsql("<insert><Address name=\"vpn\"><kind>Tunnel</kind></Address></insert>"
             "<update><Address name=\"vpn\"><state>x</state></Address></update>"),
     result(done(1) + "<error>Property \"state\" of class \"Tunnel\" is not writable.</error>"
                      "<rc>1</rc><counter>0</counter>")},
    {"UpdateARequiredReadOnlyProperty",
     in_lsql("<insert><Key name=\"k\"><serial>1</serial></Key></insert>"
             "<update><Key><serial>2</serial></Key></update>"),
     result(done(1) + "<error>Property \"serial\" of class \"Key\" is not writable.</error>"
                      "<rc>1</rc><counter>0</counter>")},
    {"UpdateThatFailsAtTheSecondInstance",
     in_lsql("<insert><Address name=\"a\"><kind>Tunnel</kind></Address>"
             "<Address name=\"b\"><kind>Loop</kind></Address></insert>"
             "<update><Address><peer>2</peer></Address></update>"
             "<where><not><eq><metadata>name</metadata><value>lan</value></eq></not></where>"),
     result(done(2) + "<error>Property \"peer\" is not valid for class \"Loop\".</error>"
                      "<rc>1</rc><counter>1</counter>")},
    {"UpdateWithALongName",
     in_lsql("<update><Board><" + std::string(300, 'p') + "/></Board></update>"),
     refusal("Property \"" + std::string(149, 'p'))},

    /* Delete. */
    {"DeleteOne", in_lsql("<delete><Radio name=\"r0\"/></delete>"), result(done(1))},
    {"DeleteEvery", in_lsql("<delete><Route/></delete>"), result(done(2))},
    {"DeleteAGroup", in_lsql("<delete><Acl name=\"guests\"/></delete>"), result(done(2))},
    {"DeleteWhere",
     in_lsql("<delete><Radio/></delete>"
             "<where><eq><property>mode</property><value>b</value></eq></where>"),
     result(done(1))},
    {"DeleteAnUnknownClass", in_lsql("<delete><Nothing/></delete>"), result(done(0))},

    /* Insert. */
    {"InsertOne", in_lsql("<insert><Radio name=\"r2\"><channel>1</channel></Radio></insert>"),
     result(done(1))},
    {"InsertTwo", in_lsql("<insert><Route><to>x</to></Route><Route/></insert>"), result(done(2))},
    {"InsertARequiredReadOnlyProperty",
     in_lsql("<insert><Key name=\"k\"><serial>1</serial></Key></insert>"), result(done(1))},
    {"InsertASubclass",
     in_lsql("<insert><Address name=\"wan\"><kind>Dhcp</kind></Address></insert>"),
     result(done(1))},
    {"InsertAnUnknownClass", in_lsql("<insert><Nothing/></insert>"),
     refusal("Unknown class \"Nothing\".")},
    {"InsertAnAbstractClass", in_lsql("<insert><Address name=\"wan\"/></insert>"),
     refusal("Unknown class \"Address\".")},
    {"InsertWithoutAName", in_lsql("<insert><Radio/></insert>"),
     refusal("Bad instance name \"(null)\" of class \"Radio\".")},
    {"InsertWithANameTooMany", in_lsql("<insert><Route name=\"x\"/></insert>"),
     refusal("Bad instance name \"x\" of class \"Route\".")},
    {"InsertAPropertyThatIsNone",
     in_lsql("<insert><Address name=\"wan\"><kind>Dhcp</kind><speed/></Address></insert>"),
     refusal("Property \"speed\" is not valid for class \"Dhcp\".")},
    {"InsertAReadOnlyProperty",
     in_lsql("<insert><Radio name=\"r2\"><uptime>1</uptime></Radio></insert>"),
     refusal("Property \"uptime\" of class \"Radio\" is not writable.")},
    {"InsertABadValue", in_lsql("<insert><Radio name=\"r2\"><channel>x</channel></Radio></insert>"),
     refusal("Value \"x\" is not valid for property \"channel\" of class \"Radio\".")},
    {"InsertWithoutARequiredProperty", in_lsql("<insert><Key name=\"k\"/></insert>"),
     refusal("Instance is invalid: Property \"serial\" of class \"Key\" is required on insert but "
             "not set.")},
    {"InsertANameThatIsTaken", in_lsql("<insert><Radio name=\"r0\"/></insert>"),
     refusal("Couldn't add instance \"r0\" of class \"Radio\".")},
    {"InsertASecondSingleton", in_lsql("<insert><Board/></insert>"),
     refusal("Couldn't add instance \"(null)\" of class \"Board\".")},
    {"InsertABadValueOfASubclass",
     in_lsql("<insert><Address name=\"vpn\"><kind>Tunnel</kind><peer>x</peer></Address></insert>"),
     refusal("Value \"x\" is not valid for property \"peer\" of class \"Address\".")},
    {"InsertAReadOnlyPropertyOfASubclass",
     in_lsql("<insert><Address name=\"vpn\"><kind>Tunnel</kind><state/></Address></insert>"),
     refusal("Property \"state\" of class \"Tunnel\" is not writable.")},
    {"InsertASubclassWithoutAName",
     in_lsql("<insert><Address><kind>Dhcp</kind></Address></insert>"),
     refusal("Bad instance name \"(null)\" of class \"Address\".")},
    {"InsertASubclassWithANameThatIsTaken",
     in_lsql("<insert><Address name=\"lan\"><kind>Dhcp</kind></Address></insert>"),
     refusal("Couldn't add instance \"lan\" of class \"Address\".")},
    {"InsertAnUnknownSubclass",
     in_lsql("<insert><Address name=\"wan\"><kind>Pppoe</kind></Address></insert>"),
     refusal("Unknown class \"Address\".")},
    {"InsertASubclassByItsOwnName",
     in_lsql("<insert><Dhcp name=\"wan\"><kind>Dhcp</kind></Dhcp></insert>"), result(done(1))},
    {"InsertIntoAGroup", in_lsql("<insert><Acl name=\"guests\"/></insert>"), result(done(1))},
    {"InsertNothingIntoNothing", in_lsql("<insert/>"), refusal("Incomplete lsql request.")},
    {"InsertWithWhiteSpace", in_lsql("<insert> <Route/></insert>"),
     refusal("Unknown class \"text\".")},
    {"InsertALongClass", in_lsql("<insert><" + std::string(300, 'c') + "/></insert>"),
     refusal("Unknown class \"" + std::string(144, 'c'))},
    {"InsertIgnoresWhere", in_lsql("<insert><Radio name=\"r2\"/></insert><where><or/></where>"),
     result(done(1))},
};

class Exchanges : public QueryTest, public testing::WithParamInterface<Exchange> {};

TEST_P(Exchanges, AnswerLiterally)
{
    EXPECT_EQ(ask(GetParam().request), GetParam().answer);
}

INSTANTIATE_TEST_SUITE_P(Of, Exchanges, testing::ValuesIn(exchanges),
                         [](const auto &each) { return std::string(each.param.name); });

} // namespace
