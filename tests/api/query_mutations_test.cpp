/* SPDX-License-Identifier: MIT */
/*
 * Valid requests of every kind, damaged at random: as trees, so that most of them still are
 * requests, and as bytes. Whatever comes of it is answered with a document or not at all, and a
 * transaction that fails leaves no trace.
 */
#include "api/query_fixture.h"
#include "services/xml/xml.h"

#include <gtest/gtest.h>

#include <iterator>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace {

using vorn::Walk;
using vorn::XmlDocument;
using vorn::tests::QueryTest;

/* Together they insert, change, read and take out instances of every type of class. */
constexpr const char *operations[] = {
    "<select><Radio/></select>",
    "<select><Radio name=\"r0\"><mode/><channel/><uptime/></Radio></select>",
    "<select><Board properties=\"all\"/></select>",
    "<select><Address properties=\"all\"/></select>",
    "<select><Acl name=\"guests\"><mac/></Acl></select>"
    "<where><not><eq><property>mac</property><value>01</value></eq></not></where>",
    "<select><Route><to/></Route></select>"
    "<where><or><eq><property>to</property><value>lan</value></eq><value/></or></where>",
    "<select><Nothing><at/></Nothing></select>",
    "<select><Radio/></select><where><and><property>mode</property>"
    "<eq><metadata>name</metadata><value>r1</value></eq></and></where>",
    "<update><Radio name=\"r0\"><channel>7</channel></Radio></update>",
    "<update><Radio><channel>1</channel><mode>n &amp; g</mode></Radio></update>",
    "<update><Board><label>a &lt; b</label></Board></update>",
    "<update><Board><label/></Board></update>",
    "<update><Route><to><![CDATA[<lan>]]></to></Route></update>"
    "<where><eq><property>to</property><value>lan</value></eq></where>",
    "<update><Acl name=\"guests\"><mac>04</mac></Acl></update>",
    "<update><Static name=\"lan\"/></update>",
    "<delete><Radio name=\"r1\"/></delete>",
    "<delete><Radio/></delete><where><eq><property>mode</property><value>b</value></eq></where>",
    "<delete><Acl name=\"guests\"/></delete>",
    "<delete><Route/></delete>",
    "<delete><Board/></delete>",
    "<delete><Address/></delete>",
    "<delete><Nothing/></delete>",
    "<insert><Radio name=\"r2\"><channel>1</channel><mode>a</mode></Radio></insert>",
    "<insert><Route><to>dmz</to></Route><Route/><Route><to>x</to></Route></insert>",
    "<insert><Acl name=\"guests\"><mac>05</mac></Acl><Acl name=\"new\"/></insert>",
    "<insert><Key name=\"k\"><serial>1</serial><secret>s</secret></Key></insert>",
    "<insert><Address name=\"wan\"><kind>Dhcp</kind></Address></insert>",
    "<insert><Address name=\"vpn\"><kind>Tunnel</kind><peer>1</peer></Address></insert>",
};

/* What a node, an attribute or a text may turn into. */
constexpr const char *names[] = {"lsql",     "write-transaction",
                                 "select",   "update",
                                 "delete",   "insert",
                                 "where",    "eq",
                                 "not",      "and",
                                 "or",       "value",
                                 "property", "metadata",
                                 "xor",      "Board",
                                 "Radio",    "Route",
                                 "Acl",      "Key",
                                 "Address",  "Dhcp",
                                 "Static",   "Tunnel",
                                 "Nothing",  "label",
                                 "channel",  "mode",
                                 "kind",     "to",
                                 "mac",      "serial",
                                 "get-conf", "uptime",
                                 "peer"};
constexpr const char *attributes[] = {"name", "properties", "origin", "other"};
constexpr const char *texts[] = {
    "",     "r0",  "r1",   "lan",  "guests",       "all",        "some",
    "7",    "x",   "Dhcp", "Loop", "mode",         "name",       "g",
    "%s%n", "<&>", "]]>",  "  ",   "\xE2\x82\xAC", "\xC3\xA4..."};

/* A request, and what may happen to it. */
class Mutation {
public:
    Mutation(const std::string &request, std::mt19937 &random) : request_(request), random_(random)
    {}

    std::string apply()
    {
        const bool as_bytes = below(5) == 0;
        if (!as_bytes || below(2) == 0) mutate_tree();
        if (as_bytes) mutate_bytes();
        return request_;
    }

private:
    std::size_t below(std::size_t limit)
    {
        return std::uniform_int_distribution<std::size_t>(0, limit - 1)(random_);
    }
    template <std::size_t count>
    const char *any_of(const char *const (&list)[count])
    {
        return list[below(count)];
    }

    void mutate_tree()
    {
        document_ = vorn::parse_xml_text(request_.c_str(), request_.size());
        for (std::size_t i = 1 + below(3); i > 0; i--)
            mutate_node(any_node());
        xmlChar *text = nullptr;
        int size = 0;
        xmlDocDumpMemory(document_.get(), &text, &size);
        const vorn::XmlText owned(text);
        request_.assign(vorn::plain(text), static_cast<std::size_t>(size));
    }

    /*
     * Any node but the root; rather one deep inside, so that operations have done some of their
     * work before they come to it.
     */
    xmlNode *any_node()
    {
        std::vector<xmlNode *> nodes;
        collect(xmlDocGetRootElement(document_.get()), nodes);
        if (nodes.empty()) return nullptr;

        xmlNode *one = nodes[below(nodes.size())];
        xmlNode *other = nodes[below(nodes.size())];
        return depth_of(one) > depth_of(other) ? one : other;
    }
    static int depth_of(const xmlNode *node) { return node ? 1 + depth_of(node->parent) : 0; }
    static void collect(xmlNode *parent, std::vector<xmlNode *> &nodes)
    {
        for (xmlNode *child = parent->children; child; child = child->next) {
            nodes.push_back(child);
            if (vorn::is_element(child)) collect(child, nodes);
        }
    }

    void mutate_node(xmlNode *node)
    {
        if (!node) return;
        switch (below(8)) {
        case 0: /* repeated */
            xmlAddNextSibling(node, xmlCopyNode(node, 1));
            break;
        case 1: /* gone */
            xmlUnlinkNode(node);
            xmlFreeNode(node);
            break;
        case 2:
            swap(node, any_node());
            break;
        case 3:
            nest(node);
            break;
        case 4: /* called something else */
            if (vorn::is_element(node)) xmlNodeSetName(node, vorn::xml(any_of(names)));
            break;
        case 5: /* given another attribute */
            set_attribute(vorn::is_element(node) ? node : node->parent);
            break;
        case 6: /* preceded by something that is no element */
            xmlAddPrevSibling(node, stray());
            break;
        default: /* given another text */
            set_text(node);
        }
    }

    xmlNode *new_element()
    {
        return xmlNewDocNode(document_.get(), nullptr, vorn::xml(any_of(names)), nullptr);
    }
    void nest(xmlNode *node)
    {
        xmlNode *outer = new_element();
        xmlReplaceNode(node, outer);
        xmlAddChild(outer, node);
    }
    xmlNode *stray()
    {
        switch (below(4)) {
        case 0:
            return xmlNewDocComment(document_.get(), vorn::xml("c"));
        case 1:
            return xmlNewCDataBlock(document_.get(), vorn::xml("d"), 1);
        case 2:
            return xmlNewDocPI(document_.get(), vorn::xml(any_of(names)), nullptr);
        default:
            return new_element();
        }
    }
    void set_attribute(xmlNode *element)
    {
        xmlSetProp(element, vorn::xml(any_of(attributes)), vorn::xml(any_of(texts)));
    }
    void set_text(xmlNode *node)
    {
        if (vorn::is_element(node)) xmlNodeSetContent(node, nullptr);
        xmlNode *text = xmlNewDocText(document_.get(), vorn::xml(any_of(texts)));
        if (vorn::is_element(node)) {
            xmlAddChild(node, text);
        } else {
            xmlFreeNode(xmlReplaceNode(node, text));
        }
    }
    /* One that is inside the other can't change places with it. */
    static void swap(xmlNode *one, xmlNode *other)
    {
        if (!other || is_inside(one, other) || is_inside(other, one)) return;
        xmlNode *place = xmlNewText(vorn::xml("-"));
        xmlReplaceNode(one, place);
        xmlReplaceNode(other, one);
        xmlReplaceNode(place, other);
        xmlFreeNode(place);
    }
    static bool is_inside(const xmlNode *node, const xmlNode *outer)
    {
        while (node && node != outer)
            node = node->parent;
        return node != nullptr;
    }

    void mutate_bytes()
    {
        for (std::size_t i = 1 + below(3); i > 0 && !request_.empty(); i--) {
            const std::size_t at = below(request_.size());
            const std::size_t length = 1 + below(std::min<std::size_t>(request_.size() - at, 20));
            switch (below(4)) {
            case 0:
                request_[at] = static_cast<char>(request_[at] ^ (1 << below(8)));
                break;
            case 1:
                request_.resize(at);
                break;
            case 2:
                request_.insert(below(request_.size()), request_.substr(at, length));
                break;
            default:
                request_.erase(at, length);
            }
        }
    }

    std::string request_;
    std::mt19937 &random_;
    XmlDocument document_;
};

bool is_named(const xmlNode *node, const char *name)
{
    return node && node->name && xmlStrEqual(node->name, vorn::xml(name));
}

bool is_transaction(const std::string &request)
{
    const XmlDocument document =
        vorn::parse_xml_text(request.c_str(), std::char_traits<char>::length(request.c_str()));
    const xmlNode *root = document ? xmlDocGetRootElement(document.get()) : nullptr;
    return is_named(root, "lsql") && is_named(root->children, "write-transaction");
}

std::string text_of(const xmlNode *element)
{
    const xmlNode *text = element->children;
    return text && text->content ? vorn::plain(text->content) : "";
}

class RandomRequests : public QueryTest {
protected:
    /* What the indexes find is what the walk over everything yields. */
    static void expect_soundness()
    {
        const vorn_instances *running = vorn_config_get_running();
        for (vorn_instance *instance : Walk(vorn_instances_new_iterator(running))) {
            const char *class_name = instance->klass->name.get();
            const char *name = vorn_instance_get_name(instance);
            if (instance->klass->type == VORN_CLASS_UNIQUE_NAMED) {
                EXPECT_EQ(vorn_instances_get(running, class_name, name), instance);
            }
            bool found = false;
            for (vorn_instance *each :
                 Walk(vorn_instances_new_group_iterator(running, class_name, name)))
                found = found || each == instance;
            EXPECT_TRUE(found) << class_name;
        }
    }

    /* The number of errors in an answer, which must be made as answers are. */
    static int errors_in(const std::string &answer)
    {
        const XmlDocument document = vorn::parse_xml_text(answer.c_str(), answer.size());
        const xmlNode *root = document ? xmlDocGetRootElement(document.get()) : nullptr;
        EXPECT_TRUE(is_named(root, "lsql_result"));
        if (!root) return 0;

        int errors = 0;
        bool says_why = false;
        for (const xmlNode *part = root->children; part; part = part->next) {
            if (is_named(part, "error")) {
                EXPECT_FALSE(says_why);
                says_why = true;
            } else if (is_named(part, "rc")) {
                EXPECT_EQ(text_of(part) != "0", says_why);
                EXPECT_TRUE(is_named(part->next, "counter"));
                errors += std::exchange(says_why, false);
            } else {
                EXPECT_TRUE(is_named(part, "dataset") || is_named(part, "counter"));
            }
        }
        EXPECT_FALSE(says_why);
        return errors;
    }

    /* A provider that reads the system, and so changes the running configuration on the way. */
    static void refresh_some(QueryTest &test)
    {
        const vorn::Text answer(
            vorn_query_eval_passive("<lsql><update><Radio><uptime>99</uptime></Radio></update>"
                                    "<update><Route><to>elsewhere</to></Route></update></lsql>"));
        static_cast<RandomRequests &>(test).state_before = state();
    }

    void expect_that_nothing_happened()
    {
        EXPECT_EQ(state(), state_before);
        EXPECT_TRUE(commits.empty());
    }
    void check(const std::string &request, bool passive)
    {
        const vorn_instances *before = vorn_config_get_running();
        state_before = state();

        const std::string answer = passive ? ask_passively(request) : ask(request);

        const bool answered = answer != "(nothing)";
        const bool failed = !answered || errors_in(answer) > 0;
        const bool accepted = !failed && !passive && is_transaction(request);
        EXPECT_EQ(vorn_config_get_running() != before, accepted);
        EXPECT_LE(commits.size(), failed || passive ? 0u : 1u);
        EXPECT_GE(commits.size(), accepted ? 1u : 0u);
        if (!answered || (is_transaction(request) && !accepted)) {
            expect_that_nothing_happened();
        }
        expect_soundness();
        EXPECT_EQ(vorn_query_origin, nullptr);
    }

    /* Before any operation is executed. */
    std::string state_before;
};

std::string in_lsql(const std::string &content, bool transaction)
{
    return transaction
               ? "<lsql origin=\"m\"><write-transaction>" + content + "</write-transaction></lsql>"
               : "<lsql>" + content + "</lsql>";
}

TEST_F(RandomRequests, AreMadeOfValidOnes)
{
    for (const char *operation : operations) {
        for (const bool transaction : {false, true}) {
            SCOPED_TRACE(in_lsql(operation, transaction));

            EXPECT_EQ(errors_in(ask(in_lsql(operation, transaction))), 0);

            renew();
        }
    }
}

class DamagedRequests : public RandomRequests, public testing::WithParamInterface<unsigned int> {
protected:
    std::size_t below(std::size_t limit)
    {
        return std::uniform_int_distribution<std::size_t>(0, limit - 1)(random);
    }
    std::string any_valid_request()
    {
        std::string content;
        for (std::size_t i = 1 + below(4); i > 0; i--)
            content += operations[below(std::size(operations))];
        return in_lsql(content, below(2) == 0);
    }

    std::mt19937 random{GetParam()};
};

TEST_P(DamagedRequests, AreAnsweredAndLeaveNoTraceWhenTheyFail)
{
    constexpr int rounds = 60;

    for (int round = 0; round < rounds && !HasFailure(); round++) {
        const std::string request = Mutation(any_valid_request(), random).apply();
        const bool passive = below(5) == 0;
        SCOPED_TRACE((passive ? "passive: " : "active: ") + request);
        log.set_level(static_cast<int>(below(6)));
        on_refresh = below(3) == 0 ? refresh_some : nullptr;

        check(request, passive);

        renew();
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, DamagedRequests, testing::Range(1U, 41U));

} // namespace
