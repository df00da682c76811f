/* SPDX-License-Identifier: MIT */
/*
 * What somebody is told, held against a device that never had what he may not read: random rules,
 * random requests, and the same answer byte for byte. Which rule decides is found out here once
 * more, in the plainest way. VORN_ACCESS_REQUESTS=100000 takes more of them.
 */
#include "api/access_fixture.h"
#include "support/rounds.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

namespace {

using namespace vorn::tests;

struct KindOfClass {
    const char *name;
    int type;
    const char *superclass;
    std::vector<std::string> properties;
    const char *required;
};

/* "kind" is the identifier of the family's subclasses. */
const std::vector<KindOfClass> kinds_of_classes = {
    {"Board", VORN_CLASS_SINGLETON, nullptr, {"label", "place"}, nullptr},
    {"Radio", VORN_CLASS_UNIQUE_NAMED, nullptr, {"channel", "mode", "power"}, nullptr},
    {"Route", VORN_CLASS_ANONYMOUS, nullptr, {"to", "via"}, nullptr},
    {"Acl", VORN_CLASS_GROUP_NAMED, nullptr, {"mac"}, nullptr},
    {"Key", VORN_CLASS_UNIQUE_NAMED, nullptr, {"serial", "owner"}, "serial"},
    {"Static", VORN_CLASS_UNIQUE_NAMED, "Address", {"address"}, nullptr},
    {"Tunnel", VORN_CLASS_UNIQUE_NAMED, "Address", {"peer", "address"}, nullptr},
};
constexpr char family[] = "Address";

struct Rule {
    int order;
    std::string subject, target;
    std::set<std::string> properties, operations;
    bool permits;
};

/* The rules once more, without a thought of what it costs. */
struct Model {
    std::vector<Rule> rules; /* in their order */
    bool read = true;
    bool write = true;

    bool may(const std::string &who, const std::string &operation, const KindOfClass &klass,
             const std::string &property = "") const
    {
        for (const Rule &each : rules) {
            if (each.subject != "any" && each.subject != "gate:" + who) continue;
            const bool covers = each.target == "*" || each.target == klass.name ||
                                (klass.superclass && each.target == klass.superclass);
            if (!covers || !each.operations.contains(operation)) continue;
            if (!each.properties.empty() && !each.properties.contains(property)) continue;
            return each.permits;
        }
        return operation == "read" ? read : write;
    }
    static std::vector<std::string> all_of(const KindOfClass &klass)
    {
        std::vector<std::string> all = klass.properties;
        if (klass.superclass) all.insert(all.begin(), "kind");
        return all;
    }
    bool is_there(const std::string &who, const KindOfClass &klass) const
    {
        const std::vector<std::string> all = all_of(klass);
        return may(who, "read", klass) || std::any_of(all.begin(), all.end(), [&](auto &each) {
                   return may(who, "read", klass, each);
               });
    }
    /* Whether any value at all may be given so, or instances without values. */
    bool may_any(const std::string &who, const std::string &operation,
                 const KindOfClass &klass) const
    {
        bool any = may(who, operation, klass);
        for (const std::string &each : all_of(klass)) {
            const bool counts = each != "kind" || operation != "insert";
            any |= counts && may(who, operation, klass, each);
            if (operation == "insert" && klass.required && each == klass.required &&
                !may(who, operation, klass, each))
                return false;
        }
        return any;
    }
};

struct Written {
    std::string klass, name;
    std::map<std::string, std::string> values;
};

using Random = std::mt19937;

class AccessModel : public AccessTest {
protected:
    std::string pick(const std::vector<std::string> &from)
    {
        return from[std::uniform_int_distribution<std::size_t>(0, from.size() - 1)(random)];
    }
    bool chance(int percent)
    {
        return std::uniform_int_distribution<int>(1, 100)(random) <= percent;
    }

    void make_rules()
    {
        model = {};
        model.read = chance(60);
        model.write = chance(60);
        const int count = std::uniform_int_distribution<int>(1, 7)(random);
        for (int i = 0; i < count; i++) {
            Rule rule = {i,        pick({"any", "gate:bob", "gate:bob", "gate:eve", "user:0"}),
                         target(), {},
                         {},       chance(50)};
            for (int left = chance(50) ? 2 : 0; left > 0; left--)
                rule.properties.insert(pick({"label", "channel", "mode", "to", "mac", "serial",
                                             "address", "peer", "nothing"}));
            for (const char *each : {"read", "insert", "update", "delete"})
                if (chance(50)) rule.operations.insert(each);
            if (rule.operations.empty()) rule.operations.insert("read");
            model.rules.push_back(rule);
        }
    }
    std::string target()
    {
        return pick({"*", "Board", "Radio", "Radio", "Route", "Acl", "Key", "Address", "Static",
                     "Tunnel", "Nothing"});
    }
    void make_content()
    {
        content.clear();
        for (const KindOfClass &klass : kinds_of_classes) {
            const bool is_one = klass.type == VORN_CLASS_SINGLETON;
            const bool has_name = !is_one && klass.type != VORN_CLASS_ANONYMOUS;
            for (int i = is_one ? 1 : std::uniform_int_distribution<int>(0, 3)(random); i > 0;
                 i--) {
                Written instance = {
                    klass.name, has_name ? prefix_of(klass.name) + std::to_string(i % 3) : "", {}};
                for (const std::string &each : klass.properties)
                    if (chance(80) || (klass.required && each == klass.required))
                        instance.values[each] = value();
                content.push_back(instance);
            }
        }
    }
    /* Of two subclasses no two instances have the same name, of which one might be hidden. */
    static std::string prefix_of(const std::string &klass) { return klass == "Tunnel" ? "t" : "n"; }
    std::string value() { return pick({"1", "2", "3"}); }

    bool may_read(const KindOfClass &klass, const std::string &property) const
    {
        return model.may("bob", "read", klass, property);
    }
    bool is_there(const KindOfClass &klass) const { return model.is_there("bob", klass); }

    /* The device as it is, or as if there was nothing that may not be read. */
    void build(bool is_whole)
    {
        clear();
        forget_classes();
        declare_rules();
        bool has_family = is_whole;
        for (const KindOfClass &klass : kinds_of_classes)
            has_family |= klass.superclass && is_there(klass);
        if (has_family) {
            EXPECT_EQ(vorn_class_resolve(ClassBuilder(family).abstract("kind").add()), 0);
        }
        vorn::running_config = vorn_instances_new();
        for (const KindOfClass &klass : kinds_of_classes) {
            if (!is_whole && !is_there(klass)) continue;
            ClassBuilder builder(klass.name, klass.type);
            if (klass.superclass) builder.below(klass.superclass);
            for (const std::string &each : klass.properties) {
                if (!is_whole && !may_read(klass, each)) continue;
                const bool is_required = klass.required && each == klass.required;
                builder.with(each.c_str(), is_required ? required : plain);
            }
            builder.add_resolved();
        }
        for (const Written &each : content)
            if (vorn_class *klass = vorn_classes_get(each.klass.c_str())) fill(klass, each);
    }
    void fill(vorn_class *klass, const Written &written)
    {
        vorn::Owned<vorn_instance> instance =
            new_instance(klass, written.name.empty() ? nullptr : written.name.c_str());
        if (klass->superclass)
            vorn_instance_set_value(instance.get(), "kind", written.klass.c_str());
        for (const auto &[property, text] : written.values)
            if (vorn_class_get_property(klass, property.c_str()))
                vorn_instance_set_value(instance.get(), property.c_str(), text.c_str());
        if (vorn_instances_add(vorn::running_config, instance.get()) == 0) instance.release();
    }
    void put_rules()
    {
        put("access-default", nullptr,
            {{"read", model.read ? "permit" : "deny"}, {"write", model.write ? "permit" : "deny"}});
        for (const Rule &each : model.rules)
            rule(("r" + std::to_string(each.order)).c_str(), each.order, each.subject.c_str(),
                 each.target.c_str(), joined(each.properties).c_str(),
                 joined(each.operations).c_str(), each.permits ? "permit" : "deny");
        vorn::put_rules_in_force(vorn_config_get_running());
    }
    static std::string joined(const std::set<std::string> &words)
    {
        std::string text;
        for (const std::string &each : words)
            text += (text.empty() ? "" : " ") + each;
        return text;
    }

    /* What there is, as somebody sees it, or the rest of it. */
    std::string seen(bool readable) const
    {
        std::string text;
        for (const KindOfClass &klass : kinds_of_classes) {
            if (!vorn_classes_get(klass.name)) continue;
            for (const vorn_instance *each :
                 vorn::Walk(vorn_instances_new_class_iterator(vorn::running_config, klass.name))) {
                const bool is_seen = is_there(klass);
                if (is_seen != readable) continue;
                text += std::string(klass.name) + " " + (each->name ? each->name.get() : "");
                for (const std::string &property : klass.properties) {
                    const char *value = vorn_instance_get_value(each, property.c_str());
                    if (value && (!readable || may_read(klass, property)))
                        text += " " + property + "=" + value;
                }
                text += "\n";
            }
        }
        return text;
    }

    std::vector<const KindOfClass *> meant_by(const std::string &name) const
    {
        std::vector<const KindOfClass *> meant;
        for (const KindOfClass &each : kinds_of_classes)
            if (is_there(each) &&
                (name == each.name || (each.superclass && name == each.superclass)))
                meant.push_back(&each);
        return meant;
    }
    std::string any_property()
    {
        return pick({"label", "channel", "mode", "to", "mac", "serial", "owner", "address", "peer",
                     "nothing"});
    }
    std::string condition(int depth)
    {
        if (depth == 0 || chance(40)) {
            const std::string what = chance(75) ? "<property>" + any_property() + "</property>"
                                                : "<metadata>name</metadata>";
            return "<eq>" + what + "<value>" + pick({"1", "2", "n1", "n2"}) + "</value></eq>";
        }
        if (chance(30)) return "<not>" + condition(depth - 1) + "</not>";
        const std::string both = pick({"and", "or"});
        return "<" + both + ">" + condition(depth - 1) + condition(depth - 1) + "</" + both + ">";
    }
    /* Null for a value that may be written and not read, which has no counterpart. */
    bool add_values(const std::vector<const KindOfClass *> &meant, const std::string &operation,
                    std::string &text)
    {
        for (int left = std::uniform_int_distribution<int>(0, 2)(random); left > 0; left--) {
            std::string property = any_property();
            if (!meant.empty() && chance(80)) property = pick(meant[0]->properties);
            for (const KindOfClass *each : meant) {
                const bool has =
                    std::count(each->properties.begin(), each->properties.end(), property) > 0;
                if (!has || denied) continue;
                if (may_read(*each, property)) {
                    if (!model.may("bob", operation, *each, property)) deny(each->name, property);
                } else if (model.may("bob", "insert", *each, property) ||
                           model.may("bob", "update", *each, property)) {
                    return false;
                }
            }
            text += "<" + property + ">" + value() + "</" + property + ">";
        }
        return true;
    }
    void deny(const std::string &klass, const std::string &property = "")
    {
        if (denied) return;
        denied = true;
        denial = property.empty()
                     ? "Access denied: class \"" + klass + "\"."
                     : "Access denied: property \"" + property + "\" of class \"" + klass + "\".";
    }
    /* False when it is one that can't be compared. */
    bool add_operation(std::string &text)
    {
        const std::string operation = pick({"select", "select", "update", "insert", "delete"});
        const std::string klass = pick({"Board", "Radio", "Radio", "Route", "Acl", "Key", "Address",
                                        "Static", "Tunnel", "Nothing"});
        const std::vector<const KindOfClass *> meant = meant_by(klass);
        std::string attributes =
            chance(50) ? " name=\"n" + std::to_string(random() % 3) + "\"" : "";
        std::string inner;
        if (operation == "insert") return add_insertion(klass, attributes, text);
        for (const KindOfClass *each : meant) {
            if (operation == "delete" && !model.may("bob", "delete", *each)) deny(each->name);
            if (operation == "update" && !model.may_any("bob", "update", *each)) deny(each->name);
        }
        if (operation == "update" && !add_values(meant, "update", inner)) return false;
        if (operation == "select" && chance(50)) {
            attributes += " properties=\"all\"";
        } else if (operation == "select") {
            for (int left = 2; left > 0; left--)
                inner += "<" + any_property() + "/>";
        }
        const std::string guard = operation != "select" && chance(20) ? " must-match=\"yes\"" : "";
        text += "<" + operation + guard + "><" + klass + attributes + ">" + inner + "</" + klass +
                "></" + operation + ">";
        if (chance(60)) text += "<where>" + condition(2) + "</where>";
        return true;
    }
    bool add_insertion(const std::string &klass, std::string attributes, std::string &text)
    {
        std::vector<const KindOfClass *> meant = meant_by(klass);
        std::string inner;
        if (klass == family) {
            const std::string kind = pick({"Static", "Tunnel"});
            inner = "<kind>" + kind + "</kind>";
            std::erase_if(meant, [&](const KindOfClass *each) { return kind != each->name; });
        } else if (!meant.empty() && meant[0]->superclass) {
            return false;
        }
        const bool is_tunnel = klass == "Tunnel" || inner == "<kind>Tunnel</kind>";
        if (is_tunnel && !attributes.empty()) attributes[7] = 't';
        for (const KindOfClass *each : meant) {
            if (!model.may_any("bob", "insert", *each)) deny(each->name);
            if (each->required && !may_read(*each, each->required) && !denied) return false;
        }
        if (!add_values(meant, "insert", inner)) return false;
        text += "<insert><" + klass + attributes + ">" + inner + "</" + klass + "></insert>";
        return true;
    }
    bool make_request()
    {
        denied = false;
        operations.clear();
        for (int left = std::uniform_int_distribution<int>(1, 3)(random); left > 0; left--)
            if (!add_operation(operations)) return false;
        root = pick({"lsql", "lsql", "transaction", "explain"});
        return true;
    }
    std::string request() const
    {
        if (root == "transaction")
            return "<lsql><write-transaction>" + operations + "</write-transaction></lsql>";
        return "<" + root + ">" + operations + "</" + root + ">";
    }
    /* The identifier is the family's, and can't be taken from a subclass alone. */
    bool can_be_compared() const
    {
        return std::all_of(kinds_of_classes.begin(), kinds_of_classes.end(),
                           [&](const KindOfClass &each) {
                               return !each.superclass || !is_there(each) || may_read(each, "kind");
                           });
    }

    Random random;
    Model model;
    std::vector<Written> content;
    std::string root, operations, denial;
    bool denied = false;
    unsigned int denials = 0, answers = 0, hidden = 0;
};

TEST_F(AccessModel, TellsAsMuchAsADeviceWithoutWhatMayNotBeRead)
{
    const char *wanted = std::getenv("VORN_ACCESS_REQUESTS");
    const unsigned int count = wanted ? static_cast<unsigned int>(std::atol(wanted)) : rounds(3000);
    for (unsigned int seed = 1; answers + denials < count; seed++) {
        random.seed(seed);
        make_rules();
        make_content();
        if (!can_be_compared()) continue;
        for (int i = 0; i < 4; i++) {
            if (!make_request()) continue;
            build(true);
            put_rules();
            const std::string unseen = seen(false);
            const std::string before = seen(true);
            hidden += !unseen.empty();
            const std::string told = ask_as("bob", request());
            const std::string after = seen(true);
            ASSERT_EQ(seen(false), unseen) << seed << ": " << request();
            if (denied) {
                ASSERT_EQ(told, "<lsql_result><error>" + denial +
                                    "</error><rc>1</rc><counter>0</counter></lsql_result>")
                    << seed << ": " << request();
                ASSERT_EQ(after, before) << seed << ": " << request();
                denials++;
                continue;
            }
            build(false);
            ASSERT_EQ(told, ask(request())) << seed << ": " << request();
            ASSERT_EQ(after, seen(true)) << seed << ": " << request();
            answers++;
        }
    }
    EXPECT_GT(denials, count / 20);
    EXPECT_GT(answers, count / 4);
    EXPECT_GT(hidden, count / 4);
}

} // namespace
