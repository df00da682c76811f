/* SPDX-License-Identifier: MIT */
#pragma once

#include "api/query_passes.h"
#include "api/query_state.h"
#include "change/providers_reset.h"
#include "config/config_state.h"
#include "model/instances_walk.h"
#include "support/allocation.h"
#include "support/builders.h"
#include "vorn/actions.h"
#include "vorn/config.h"
#include "vorn/provider.h"
#include "vorn/query.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace vorn::tests {

inline constexpr char change_channel[] =
    "<lsql><update><Radio name=\"r0\"><channel>7</channel></Radio></update></lsql>";
inline constexpr char change_channel_in_transaction[] =
    "<lsql><write-transaction><update><Radio name=\"r0\"><channel>7</channel></Radio></update>"
    "</write-transaction></lsql>";

/* The answer to a request that was refused as a whole. */
inline std::string refusal(const std::string &error)
{
    return "<lsql_result><error>" + error + "</error><rc>1</rc><counter>0</counter></lsql_result>";
}

/*
 * A running configuration with a class of every type, and one provider that writes down each
 * commit and can be told what to do when it refreshes.
 */
class QueryTest : public ModelTest {
protected:
    /* Who has providers of his own adds them then, after the one that records. */
    explicit QueryTest(void (*add_providers)() = nullptr)
    {
        log.set_level(0);
        ClassBuilder("Board", VORN_CLASS_SINGLETON).with("label").add_resolved();
        ClassBuilder("Radio")
            .with("channel", numeric)
            .with("mode")
            .with("uptime", {.is_valid = accepts_digits, .writable = 0})
            .add_resolved();
        ClassBuilder("Route", VORN_CLASS_ANONYMOUS).with("to").add_resolved();
        ClassBuilder("Acl", VORN_CLASS_GROUP_NAMED).with("mac").add_resolved();
        ClassBuilder("Key")
            .with("serial", {.is_valid = accepts_digits, .writable = 0, .required_on_insert = 1})
            .with("secret", {.readable = 0})
            .add_resolved();
        add_family("Address", "kind", {"Static", "Dhcp"});
        ClassBuilder("Tunnel")
            .below("Address")
            .with("peer", numeric)
            .with("state", read_only)
            .add_resolved();
        ClassBuilder("Loop").below("Address").add_resolved();
        add_recorder();
        if (add_providers) add_providers();
        vorn_providers_done_adding();

        populate();
        vorn_query_transaction_number = 0;
    }

    ~QueryTest() override
    {
        clear();
        external_updates_disabled = false;
        vorn_query_transaction_number = 0;
    }

    static void populate()
    {
        running_config = vorn_instances_new();
        put("Board", nullptr, {{"label", "attic"}});
        put("Radio", "r0", {{"channel", "6"}, {"mode", "g"}});
        put("Radio", "r1", {{"channel", "11"}, {"mode", "b"}});
        put("Route", nullptr, {{"to", "lan"}});
        put("Route", nullptr, {{"to", "wan"}});
        put("Acl", "guests", {{"mac", "01"}});
        put("Acl", "staff", {{"mac", "02"}});
        put("Acl", "guests", {{"mac", "03"}});
        put("Static", "lan", {{"kind", "Static"}});
    }

    /* Frees every instance, also of the configurations that transactions replaced. */
    void clear()
    {
        vorn_instances *last = std::exchange(running_config, nullptr);
        for (vorn_instance *instance : std::exchange(retired, {}))
            vorn_instance_delete(instance);
        vorn_instances_delete_all(last);
    }

    /* As it was at the start of the test. */
    void renew()
    {
        clear();
        populate();
        commits.clear();
        committed_properties.clear();
        refreshed.clear();
        log.take();
    }

    /* Everything that the running configuration holds, in its order. */
    static std::string state()
    {
        return printed([](std::FILE *stream) {
            const Walk walk(vorn_instances_new_iterator(vorn_config_get_running()));
            for (const vorn_instance *instance : walk)
                vorn_instance_print(instance, stream);
        });
    }

    static void put(const char *class_name, const char *name, std::initializer_list<Value> values)
    {
        vorn_instance *instance =
            new_instance(vorn_classes_get(class_name), name, values).release();
        ASSERT_EQ(vorn_instances_add(running_config, instance), 0);
    }

    /* The answer without its declaration and last newline; "(nothing)" for none. */
    std::string ask(const std::string &request) { return evaluate(vorn_query_eval, request); }
    std::string ask_passively(const std::string &request)
    {
        return evaluate(vorn_query_eval_passive, request);
    }

    /* For what sends a request of its own. */
    void let(void (*act)())
    {
        const RetiredKeeper keeper(*this);
        act();
    }

    static std::string value(const char *class_name, const char *name, const char *property)
    {
        const vorn_instance *instance =
            name ? vorn_instances_get(running_config, class_name, name)
                 : vorn_instances_get_singleton(running_config, class_name);
        const char *text = instance ? vorn_instance_get_value(instance, property) : nullptr;
        return text ? text : "(none)";
    }

    /* Every commit as one line: what changed and what was deleted, by name. */
    std::vector<std::string> commits;
    /* What the last commit was given. */
    const vorn_instances *committed_after = nullptr;
    std::string committed_properties;   /* of every instance that changed */
    bool has_committed_restart = false; /* of r0, as an action */
    std::string refreshed;
    void (*on_refresh)(QueryTest &test) = nullptr;
    void (*on_commit)(QueryTest &test) = nullptr;
    void (*on_check)(QueryTest &test, vorn_check_info *info) = nullptr;
    void (*on_amend)(QueryTest &test, vorn_amend_info *info) = nullptr;

private:
    using Evaluate = char *(*)(const char *request);

    std::string evaluate(Evaluate function, const std::string &request)
    {
        const RetiredKeeper keeper(*this);
        const Text answer(function(request.c_str()));
        const AllocationsAllowed allowed;
        if (!answer) return "(nothing)";
        const std::string text = answer.get();
        const std::string declaration = "<?xml version=\"1.0\"?>\n";
        if (text.substr(0, declaration.size()) != declaration || text.back() != '\n') return text;
        return text.substr(declaration.size(), text.size() - declaration.size() - 1);
    }

    /*
     * The instances of a store that a transaction replaced are the fixture's to free, except for
     * those that a request inside it has deleted.
     */
    struct RetiredKeeper {
        explicit RetiredKeeper(QueryTest &owner)
            : test(owner), store(running_config), outer(std::exchange(owner.innermost, this))
        {
            const AllocationsAllowed allowed;
            for (vorn_instance *instance : Walk(vorn_instances_new_iterator(store))) {
                before.insert(instance);
            }
        }
        ~RetiredKeeper()
        {
            const AllocationsAllowed allowed;
            test.innermost = outer;
            for (vorn_instance *instance : Walk(vorn_instances_new_iterator(running_config)))
                before.erase(instance); /* also of a class that the transaction did not touch */
            if (running_config != store) {
                test.retired.insert(test.retired.end(), before.begin(), before.end());
            } else if (outer) {
                for (vorn_instance *instance : before)
                    outer->before.erase(instance);
            }
        }
        QueryTest &test;
        vorn_instances *store;
        RetiredKeeper *outer;
        std::set<vorn_instance *> before;
    };

    void add_recorder()
    {
        vorn_provider *provider = vorn_provider_new("recorder");
        vorn_provider_set_commit_fn(provider, record_commit, this);
        vorn_provider_set_refresh_fn(provider, record_refresh, this);
        vorn_provider_set_check_fn(provider, check, this);
        vorn_provider_set_amend_fn(provider, amend, this);
        vorn_providers_add(provider);
    }

    static std::string names(vorn_instances_iterator *instances)
    {
        std::string list;
        for (const vorn_instance *instance : Walk(instances)) {
            const char *name = vorn_instance_get_name(instance);
            list += std::string(" ") + instance->klass->name.get() + (name ? "." : "") +
                    (name ? name : "");
        }
        return list;
    }

    static std::string changed_properties(const vorn_changes &changes)
    {
        std::string list;
        for (const vorn_instance *instance :
             Walk(vorn_changes_new_class_instances_iterator(&changes, nullptr))) {
            for (auto [name, property] : instance->klass->properties) {
                const char *text = name;
                if (vorn_changes_contains_property(&changes, instance, text)) {
                    list += std::string(" ") + text;
                }
            }
        }
        return list;
    }

    static void record_commit(vorn_commit_info *info)
    {
        const AllocationsAllowed allowed;
        auto *test = static_cast<QueryTest *>(vorn_commit_info_get_data(info));
        const vorn_changes *changes = vorn_commit_info_get_changes(info);
        test->committed_properties = changed_properties(*changes);
        test->committed_after = vorn_commit_info_get_after(info);
        test->has_committed_restart = vorn_actions_exists(vorn_commit_info_get_actions(info), "net",
                                                          "restart", "Radio", "r0") != 0;
        if (test->on_commit) std::exchange(test->on_commit, nullptr)(*test);
        test->commits.push_back(
            "changed" + names(vorn_changes_new_class_instances_iterator(changes, nullptr)) +
            "; deleted" +
            names(vorn_changes_new_deleted_class_instances_iterator(changes, nullptr)));
    }

    static void amend(vorn_amend_info *info, void *data)
    {
        auto *test = static_cast<QueryTest *>(data);
        if (test->on_amend) test->on_amend(*test, info);
    }

    static void check(vorn_check_info *info, void *data)
    {
        auto *test = static_cast<QueryTest *>(data);
        if (test->on_check) test->on_check(*test, info);
    }

    static void record_refresh(vorn_refresh_info *info, void *data)
    {
        const AllocationsAllowed allowed;
        auto *test = static_cast<QueryTest *>(data);
        test->refreshed +=
            printed([&](std::FILE *stream) { vorn_refresh_info_print(info, stream); });
        if (test->on_refresh) std::exchange(test->on_refresh, nullptr)(*test);
    }

    ProvidersReset providers;
    RetiredKeeper *innermost = nullptr;
    std::vector<vorn_instance *> retired;
};

} // namespace vorn::tests
