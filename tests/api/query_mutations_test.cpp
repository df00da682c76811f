/* SPDX-License-Identifier: MIT */
/*
 * Requests that went wrong on their way: valid ones of every kind, mutated at random. Whatever
 * arrives, what is answered is a document, and a transaction that fails has changed nothing.
 */
#include "api/query_fixture.h"
#include "services/xml.h"

#include <gtest/gtest.h>

#include <iterator>
#include <random>
#include <string>

namespace vorn::tests {

namespace {

constexpr const char *requests[] = {
    "<lsql><select><Radio name=\"r0\"><channel/><mode/></Radio></select></lsql>",
    "<lsql origin=\"cli\"><select><Address properties=\"all\"/></select></lsql>",
    "<lsql><select><Radio properties=\"all\"/></select><where><and><eq><property>mode</property>"
    "<value>g</value></eq><not><eq><metadata>name</metadata><value>r1</value></eq></not></and>"
    "</where></lsql>",
    "<lsql><update><Radio name=\"r1\"><channel>7</channel><mode/></Radio></update><where><or><eq>"
    "<property>channel</property><value>11</value></eq></or></where></lsql>",
    "<lsql><insert><Radio name=\"r2\"><channel>1</channel></Radio><Route><to>x</to></Route>"
    "<Key name=\"k\"><serial>1</serial></Key></insert></lsql>",
    "<lsql><delete><Acl name=\"guests\"/></delete><delete><Route/></delete></lsql>",
    "<lsql><write-transaction><update><Board><label>a&amp;b</label></Board></update>"
    "<insert><Address name=\"wan\"><kind>Dhcp</kind></Address></insert>"
    "<delete><Radio/></delete><where><eq><property>mode</property><value>b</value></eq></where>"
    "<select><Radio properties=\"all\"/></select></write-transaction></lsql>",
    "<lsql><write-transaction><delete><Static name=\"lan\"/></delete><insert><Acl name=\"new\">"
    "<mac>04</mac></Acl></insert></write-transaction></lsql>",
};

} // namespace

class MutatedRequests : public QueryTest, public testing::WithParamInterface<unsigned int> {
protected:
    std::size_t below(std::size_t limit)
    {
        return std::uniform_int_distribution<std::size_t>(0, limit - 1)(random);
    }

    /* An element of the text, from its tag to the end of what looks like it. */
    std::string any_piece(const std::string &text)
    {
        const std::size_t begin = text.find('<', below(text.size()));
        if (begin == std::string::npos) return "<value/>";
        const std::size_t end = text.find('>', begin + below(text.size() - begin));
        return text.substr(begin, end == std::string::npos ? end : end + 1 - begin);
    }

    std::string mutated(std::string text)
    {
        static constexpr const char *words[] = {"Radio",
                                                "write-transaction",
                                                "select",
                                                "update",
                                                "insert",
                                                "delete",
                                                "channel",
                                                "name",
                                                "where",
                                                "&#1;",
                                                "\xFF",
                                                "%s%n",
                                                "",
                                                "lsql",
                                                "<![CDATA[x]]>"};
        for (std::size_t i = below(3) + 1; i > 0 && !text.empty(); i--) {
            const std::size_t place = below(text.size());
            switch (below(5)) {
            case 0:
                text[place] = "<>/\"&;= aR0\n"[below(12)];
                break;
            case 1:
                text.erase(place, below(20));
                break;
            case 2:
                text.insert(text.find('<', place) == std::string::npos ? 0 : text.find('<', place),
                            any_piece(text));
                break;
            case 3:
                text.replace(place, below(8), words[below(std::size(words))]);
                break;
            default:
                text.insert(place, text.substr(below(text.size()), below(60)));
                break;
            }
        }
        return text;
    }

    static std::string everything()
    {
        return printed([](std::FILE *stream) { vorn_instances_print(running_config, stream); });
    }

    std::mt19937 random{GetParam()};
};

TEST_P(MutatedRequests, AreAnsweredByADocumentAndFailWholeInATransaction)
{
    for (int round = 0; round < 150; round++) {
        const std::string request = mutated(requests[below(std::size(requests))]);
        const std::string before = everything();
        const bool passive = below(4) == 0;

        const std::string answer = passive ? ask_passively(request) : ask(request);

        if (answer == "(nothing)") {
            EXPECT_EQ(parse_xml_text(request.c_str(), request.size()), nullptr) << request;
            EXPECT_EQ(everything(), before) << request;
            continue;
        }
        EXPECT_NE(parse_xml_text(answer.c_str(), answer.size()), nullptr) << request << answer;
        const bool failed = answer.find("<rc>1</rc>") != std::string::npos;
        if (failed && request.find("<lsql><write-transaction>") == 0) {
            EXPECT_EQ(everything(), before) << request;
        }
        log.take();
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, MutatedRequests, testing::Range(1U, 17U));

} // namespace vorn::tests
