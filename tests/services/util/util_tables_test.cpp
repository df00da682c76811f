/* SPDX-License-Identifier: MIT */
#include "change/refresher_record.h"
#include "support/builders.h"
#include "vorn/query.h"
#include "vorn/util.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using vorn::tests::ClassBuilder;
using vorn::tests::ModelTest;
using vorn::tests::new_instance;
using vorn::tests::read_only;

std::vector<std::string> *requests = nullptr;

} // namespace

extern "C" {
char *__real_vorn_query_eval_passive(const char *request);

char *__wrap_vorn_query_eval_passive(const char *request)
{
    if (!requests) return __real_vorn_query_eval_passive(request);
    requests->emplace_back(request);
    return strdup("answer");
}
}

namespace {

std::string update(const std::string &rest)
{
    return "<?xml version=\"1.0\"?><lsql><update>" + rest + "</lsql>";
}

/* The requests that the update writer makes of a text. */
class UpdateWriters : public ModelTest {
protected:
    UpdateWriters() { requests = &made; }
    ~UpdateWriters() override { requests = nullptr; }

    std::vector<std::string> made;
};

constexpr const char *columns[] = {"name", "channel", "", "mode", nullptr};

TEST_F(UpdateWriters, WriteOneUpdateForEachLine)
{
    vorn_util_put2object("r0 6 x g\nr1 11 y b\n", columns, "radio");

    EXPECT_THAT(made, ElementsAre(update("<radio name=\"r0\"><channel>6</channel><mode>g</mode>"
                                         "</radio></update>"),
                                  update("<radio name=\"r1\"><channel>11</channel><mode>b</mode>"
                                         "</radio></update>")));
}

TEST_F(UpdateWriters, TakeALineWithoutAnEnd)
{
    vorn_util_put2object("r0 6", columns, "radio");

    EXPECT_THAT(made, ElementsAre(update("<radio name=\"r0\"><channel>6</channel></radio>"
                                         "</update>")));
}

TEST_F(UpdateWriters, UpdateNothingForAnEmptyLineOrNoText)
{
    vorn_util_put2object("", columns, "radio");
    vorn_util_put2object("\n\n", columns, "radio");

    EXPECT_THAT(made, IsEmpty());
}

TEST_F(UpdateWriters, MakeTwoBlanksAnEmptyValue)
{
    vorn_util_put2object("r0  x g\n", columns, "radio");
    vorn_util_put2object("r0 \n", columns, "radio");

    EXPECT_THAT(made, ElementsAre(update("<radio name=\"r0\"><channel></channel><mode>g</mode>"
                                         "</radio></update>"),
                                  update("<radio name=\"r0\"><channel></channel></radio>"
                                         "</update>")));
}

TEST_F(UpdateWriters, TakeAQuotedValueWhole)
{
    vorn_util_put2object("r0 \"6 or 7\" \"\" \"g\n", columns, "radio");

    EXPECT_THAT(made, ElementsAre(update("<radio name=\"r0\"><channel>6 or 7</channel>"
                                         "<mode>g</mode></radio></update>")));
}

TEST_F(UpdateWriters, SkipValuesBeyondTheColumns)
{
    vorn_util_put2object("r0 6 x g more and more\nr1 1\n", columns, "radio");

    EXPECT_EQ(made.size(), 2u);
    EXPECT_EQ(made[1], update("<radio name=\"r1\"><channel>1</channel></radio></update>"));
}

TEST_F(UpdateWriters, PutOneKeyIntoTheCondition)
{
    static const char *const keyed[] = {"*mac", "signal", nullptr};

    vorn_util_put2object("00:11 42\n", keyed, "station");

    EXPECT_THAT(made, ElementsAre(update("<station><signal>42</signal></station></update><where>"
                                         "<eq><property>mac</property><value>00:11</value></eq>"
                                         "</where>")));
}

TEST_F(UpdateWriters, JoinSeveralKeys)
{
    static const char *const keyed[] = {"*mac", "*radio", "*name", "signal", nullptr};

    vorn_util_put2object("00:11 r0 n 42\n", keyed, "station");

    EXPECT_THAT(made, ElementsAre(update(
                          "<station name=\"n\"><signal>42</signal></station></update><where><and>"
                          "<eq><property>mac</property><value>00:11</value></eq>"
                          "<eq><property>radio</property><value>r0</value></eq></and></where>")));
}

TEST_F(UpdateWriters, TakeTheLastOfTwoNames)
{
    static const char *const twice[] = {"name", "signal", "name", nullptr};

    vorn_util_put2object("n 42 m\n", twice, "station");

    EXPECT_THAT(made,
                ElementsAre(update("<station name=\"m\"><signal>42</signal></station></update>")));
}

TEST_F(UpdateWriters, SendNothingForKeysAlone)
{
    static const char *const keyed[] = {"*mac", "name", nullptr};

    vorn_util_put2object("00:11 n\n", keyed, "station");

    EXPECT_THAT(made, IsEmpty());
}

TEST_F(UpdateWriters, TranslateOneFlagOfTheInterfaceClass)
{
    static const char *const flag[] = {"exclude-unencrypted", nullptr};

    vorn_util_put2object("1\n0\nyes\n", flag, "interface");
    vorn_util_put2object("1\n", flag, "radio");

    EXPECT_THAT(
        made,
        ElementsAre(
            update("<interface><exclude-unencrypted>on</exclude-unencrypted></interface></update>"),
            update(
                "<interface><exclude-unencrypted>off</exclude-unencrypted></interface></update>"),
            update(
                "<interface><exclude-unencrypted>off</exclude-unencrypted></interface></update>"),
            update("<radio><exclude-unencrypted>1</exclude-unencrypted></radio></update>")));
}

TEST_F(UpdateWriters, InsertValuesAsTheyAre)
{
    vorn_util_put2object("r<0 <b>&\n", columns, "radio");

    EXPECT_THAT(made, ElementsAre(update("<radio name=\"r<0\"><channel><b>&</channel></radio>"
                                         "</update>")));
}

TEST_F(UpdateWriters, CutANameAt79Characters)
{
    vorn_util_put2object((std::string(100, 'n') + " 6\n").c_str(), columns, "radio");

    EXPECT_THAT(made, ElementsAre(update("<radio name=\"" + std::string(79, 'n') +
                                         "\"><channel>6</channel></radio></update>")));
}

TEST_F(UpdateWriters, CutPropertiesAt3000Bytes)
{
    static const char *const one[] = {"p", nullptr};

    vorn_util_put2object(std::string(5000, 'v').c_str(), one, "c");

    EXPECT_EQ(made[0], update("<c><p>" + std::string(2999 - 3, 'v') + "</c></update>"));
}

TEST_F(UpdateWriters, CutConditionsAt1024Bytes)
{
    static const char *const keyed[] = {"*k", "p", nullptr};

    vorn_util_put2object((std::string(2000, 'v') + " 1\n").c_str(), keyed, "c");

    const std::string start = "<eq><property>k</property><value>";
    EXPECT_EQ(made[0], update("<c><p>1</p></c></update><where>" + start +
                              std::string(1023 - start.size(), 'v') + "</where>"));
}

TEST_F(UpdateWriters, CutRequestsAt4000Bytes)
{
    static const char *const keyed[] = {"*k", "p", nullptr};

    vorn_util_put2object((std::string(2000, 'k') + " " + std::string(5000, 'v') + "\n").c_str(),
                         keyed, "c");

    EXPECT_EQ(made[0].size(), 3999u);
}

TEST_F(UpdateWriters, NeedTextColumnsAndClass)
{
    vorn_util_put2object(nullptr, columns, "c");
    vorn_util_put2object("x", nullptr, "c");
    vorn_util_put2object("x", columns, nullptr);

    EXPECT_EQ(log.text(), "vorn: Null text.\nvorn: Null columns.\nvorn: Null class.\n");
}

TEST_F(UpdateWriters, MakeShortRequestsOfWhateverTheyAreGiven)
{
    static const char *const keyed[] = {"*a", "name", "", "b", "*c", "#d", nullptr};
    std::mt19937 random(2);
    std::size_t sent = 0;
    for (int round = 0; round < 500; round++) {
        std::string text(random() % 9000, '\0');
        for (char &byte : text)
            byte = "ab \n\"<&>*x"[random() % 10];
        vorn_util_put2object(text.c_str(), keyed, "c");
        for (const std::string &request : made)
            EXPECT_LT(request.size(), 4000u);
        sent += made.size();
        made.clear();
    }
    EXPECT_GT(sent, 500u);
}

/* Text tables: what is read, when, and where it goes. */
struct Source {
    std::string text;
    int reads = 0;
    int parses = 0;
};

void read_source(const void *argument, char *buffer, int size, char *start)
{
    auto *source = static_cast<Source *>(const_cast<void *>(argument));
    EXPECT_EQ(size, 7999);
    EXPECT_EQ(buffer, start);
    EXPECT_STREQ(buffer, "");
    source->reads++;
    std::snprintf(buffer, static_cast<std::size_t>(size), "%s", source->text.c_str());
}

void parse_source(const char *text, const char *const names[], const void *argument, ...)
{
    auto *source = static_cast<Source *>(const_cast<void *>(argument));
    va_list more;
    va_start(more, argument);
    EXPECT_EQ(va_arg(more, const char *), text);
    va_end(more);
    EXPECT_STREQ(names[0], "*name");
    EXPECT_EQ(text, source->text);
    source->parses++;
}

constexpr const char *traffic_columns[] = {"*name", "rx", "#tx", "", nullptr};

class TextTables : public ModelTest {
protected:
    TextTables()
    {
        radio = ClassBuilder("radio").with("rx", read_only).with("tx", read_only).add_resolved();
        instance = new_instance(radio, "r0");
        vorn_instance_set_value(instance.get(), "rx", "5");
        vorn_query_transaction_number = 1;
    }
    ~TextTables() override { vorn_query_transaction_number = 0; }

    const char *get(const char *property)
    {
        return vorn_util_txt_tables_get_val(instance.get(), tables, property);
    }

    vorn_class *radio;
    vorn::Owned<vorn_instance> instance;
    Source source{"r0 5"};
    vorn_util_txt_table traffic = {0, read_source, &source, parse_source, &source, traffic_columns};
    vorn_util_txt_table *tables[2] = {&traffic, nullptr};
};

TEST_F(TextTables, AreReadOncePerOperation)
{
    EXPECT_STREQ(get("rx"), "5");
    EXPECT_EQ(get("tx"), nullptr);
    EXPECT_EQ(source.reads, 1);
    EXPECT_EQ(source.parses, 1);
    EXPECT_EQ(traffic.last_transaction, 1);

    vorn_query_transaction_number = 2;
    get("rx");

    EXPECT_EQ(source.reads, 2);
}

TEST_F(TextTables, AreNotReadForAnotherProperty)
{
    EXPECT_EQ(get("mode"), nullptr);

    EXPECT_EQ(source.reads, 0);
}

TEST_F(TextTables, FindAPropertyWithItsMarks)
{
    get("*rx");
    EXPECT_EQ(source.reads, 1);

    vorn_query_transaction_number = 2;
    get("#tx");
    EXPECT_EQ(source.reads, 2);
}

TEST_F(TextTables, AddTheirColumnsAsReadOnlyVolatileProperties)
{
    const vorn::Owned<vorn_class> fresh = ClassBuilder("fresh").build();
    static const char *const names[] = {"*key", "rx", "", "tx", nullptr};
    traffic.columns = names;

    EXPECT_EQ(vorn_util_txt_tables_add_properties(tables, fresh.get()), 0);

    EXPECT_EQ(vorn_class_get_properties(fresh.get()), 2);
    const vorn_property *rx = vorn_class_get_property(fresh.get(), "rx");
    ASSERT_NE(rx, nullptr);
    EXPECT_EQ(rx->writable, 0);
    EXPECT_EQ(rx->persistence, 0);
}

TEST_F(TextTables, AnswerWithTheLastAddition)
{
    const vorn::Owned<vorn_class> fresh = ClassBuilder("fresh").with("tx").build();
    static const char *const names[] = {"rx", "tx", nullptr};
    traffic.columns = names;

    EXPECT_EQ(vorn_util_txt_tables_add_properties(tables, fresh.get()), 1);

    EXPECT_EQ(vorn_class_get_properties(fresh.get()), 2);
}

const char *value(vorn_instance *, const char *, vorn_refresh_info *)
{
    return "x";
}

TEST_F(TextTables, RegisterAFunctionForTheSameColumns)
{
    vorn_refresher *refresher = vorn_refresher_new("radio");
    static const char *const names[] = {"*key", "rx", "", "tx", nullptr};
    traffic.columns = names;

    EXPECT_EQ(vorn_util_txt_tables_add_refresh(tables, refresher, value), 0);
    EXPECT_EQ(vorn_util_txt_tables_add_refresh(tables, refresher, value), 1);

    EXPECT_EQ(vorn_refresher_set_property_fn(refresher, "key", value), 0);
    EXPECT_EQ(vorn_refresher_set_property_fn(refresher, "rx", value), 1);
    delete refresher;
}

TEST_F(TextTables, TakeTheUpdateWriterForTheirParser)
{
    std::vector<std::string> made;
    requests = &made;
    traffic.parse = vorn_util_put2object;
    traffic.parse_argument = "radio";

    get("rx");

    requests = nullptr;
    EXPECT_THAT(made, ElementsAre(update("<radio name=\"r0\"><rx>5</rx></radio></update>")));
}

} // namespace
