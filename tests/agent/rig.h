/* SPDX-License-Identifier: MIT */
#pragma once

#include <deque>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include <jansson.h>

#include "agent/protocol/agent.h"
#include "signer.h"

/* A document for a device in the making. Members are JSON as they stand there; an empty one goes.
 */
class Wish {
public:
    explicit Wish(long long generation, const std::string &location = "roof")
    {
        const vorn::fleet::Content content = {
            {"system", {true, {{std::nullopt, {{"location", location}}}}, {}}}};
        set("version", "1");
        set("tenant", R"("acme")");
        set("device", R"("ap1")");
        set("generation", std::to_string(generation));
        set("by", R"("anna")");
        set("why", R"("a test")");
        set("trial", "60");
        set("hash", '"' + vorn::fleet::hash_of(content) + '"');
        set("configuration",
            R"({"system":{"all":[{"values":{"location":")" + location + R"("}}]}})");
    }

    Wish &set(const std::string &name, const std::string &json)
    {
        members_[name] = json;
        return *this;
    }

    std::string text() const
    {
        std::string text = "{";
        for (const auto &[name, json] : members_) {
            if (json.empty()) continue;
            text += (text.size() > 1 ? ",\"" : "\"") + name + "\":" + json;
        }
        return text + "}";
    }

private:
    std::map<std::string, std::string> members_;
};

/*
 * A device with a daemon that does as it is told and a broker that is there while a test says so.
 * The daemon answers when it is run().
 */
class Rig : public vorn::fleet::Outside {
public:
    using Refusal = vorn::fleet::Refusal;
    using Reason = vorn::fleet::Reason;

    Rig() { settings.identity = {"acme", "ap1"}; }

    /* The agent is there, its device looked at, and the broker reached. */
    void begin()
    {
        settings.keys = {*vorn::fleet::Key::of(signer.public_key())};
        agent = std::make_unique<vorn::fleet::Agent>(settings, *this);
        agent->start(now);
        run();
        reach();
    }

    /* As if the agent had been killed. */
    void begin_anew()
    {
        questions.clear();
        is_connecting = false;
        begin();
    }

    void run()
    {
        while (!questions.empty())
            run_one();
    }
    void run_one()
    {
        const std::function<void()> next = std::move(questions.front());
        questions.pop_front();
        next();
    }

    void pass(std::int64_t ms)
    {
        const std::int64_t end = now.ms + ms;
        while (agent->wake_at() <= end) {
            const std::int64_t step = std::max<std::int64_t>(agent->wake_at() - now.ms, 0);
            now.ms += step;
            now.wall += step / 1000;
            agent->wake(now);
            run();
        }
        now.wall += (end - now.ms) / 1000;
        now.ms = end;
    }

    /* Lets the agent connect, which takes as long as it takes. */
    void reach()
    {
        for (int i = 0; i < 100 && !is_connecting; i++)
            pass(1000);
        is_connecting = false;
        agent->connected(now);
        run();
    }

    void lose()
    {
        is_connecting = false;
        agent->disconnected(now);
    }

    void hand_over(const std::string &payload)
    {
        agent->received({"v1/acme/ap1/desired", payload, {}, {}}, now);
    }
    void deliver(const std::string &payload)
    {
        hand_over(payload);
        run();
    }
    void deliver(const Wish &wish) { deliver(signer.sign(wish.text())); }

    /* Acknowledges all that was published; true when that made the agent confirm. */
    bool acknowledge()
    {
        const std::size_t before = confirmations;
        const std::vector<vorn::fleet::Publication> all = publications;
        for (const auto &each : all)
            agent->acknowledged(each.token, now);
        run();
        return confirmations > before;
    }

    /* Makes the whole way of a change that is well. */
    void put_in_force(const Wish &wish)
    {
        deliver(wish);
        reach();
        acknowledge();
        pass(2000);
    }

    /* The daemon tells that it has changed. */
    void tell_change()
    {
        agent->changed(now);
        pass(2000);
    }

    /* Somebody else changes what the document is about. */
    void change_by_hand()
    {
        device.differences = {{"system", "", "location", "roof", "cellar"}};
        device.commit += '+';
        tell_change();
    }

    void take_trial_back()
    {
        if (device.trial == vorn::fleet::View::Trial::none) return;
        device = saved;
    }

    /* A member of the last report; "" when there is none. */
    std::string told(const char *member) const
    {
        for (auto each = publications.rbegin(); each != publications.rend(); ++each) {
            if (each->topic != "v1/acme/ap1/reported") continue;
            json_t *json = json_loads(each->payload.c_str(), 0, nullptr);
            const json_t *value = json_object_get(json, member);
            const std::string text = json_is_integer(value)
                                         ? std::to_string(json_integer_value(value))
                                     : json_is_string(value) ? json_string_value(value)
                                     : json_is_true(value)   ? "true"
                                     : json_is_false(value)  ? "false"
                                                             : "";
            json_decref(json);
            return text;
        }
        return "";
    }
    /* "state reason generation" of the last report. */
    std::string outcome() const
    {
        return told("state") + ' ' + told("reason") + ' ' + told("generation");
    }
    std::size_t count_of(const std::string &leaf) const
    {
        std::size_t count = 0;
        for (const auto &each : publications)
            count += each.topic == "v1/acme/ap1/" + leaf ? 1 : 0;
        return count;
    }

    void connect() override { is_connecting = true; }
    void disconnect() override
    {
        disconnections++;
        questions.emplace_back([this] { agent->disconnected(now); });
    }
    void subscribe(const std::string &topic) override { subscriptions.push_back(topic); }
    void publish(const vorn::fleet::Publication &publication) override
    {
        publications.push_back(publication);
    }
    void look(std::shared_ptr<const vorn::fleet::Desired> document) override
    {
        looks++;
        questions.emplace_back([this, document] {
            vorn::fleet::View view = device;
            if (!document) {
                view.hash.clear();
                view.differences.clear();
            }
            agent->looked(view, now);
        });
    }
    void apply(std::shared_ptr<const vorn::fleet::Desired> document) override
    {
        questions.emplace_back([this, document] {
            applications.push_back(document->generation);
            if (answer_to_apply) {
                agent->applied({answer_to_apply, {}}, now);
                return;
            }
            saved = device;
            device.generation = document->generation;
            device.digest = document->digest;
            device.differences.clear();
            device.commit += '+';
            device.trial = vorn::fleet::View::Trial::ours;
            device.trial_id = "0123456789abcdef";
            agent->applied({{}, device.trial_id}, now);
        });
    }
    void confirm(const std::string &trial_id) override
    {
        confirmations++;
        questions.emplace_back([this, trial_id] {
            if (!answer_to_confirm && device.trial_id == trial_id)
                device.trial = vorn::fleet::View::Trial::none;
            agent->confirmed(answer_to_confirm, now);
        });
    }
    void revert(const std::string &) override
    {
        questions.emplace_back([this] {
            take_trial_back();
            agent->reverted(now);
        });
    }
    void ask(const std::string &lsql) override { asked.push_back(lsql); }
    void read(const std::vector<vorn::fleet::Selection> &what) override
    {
        reads.push_back(what);
        questions.emplace_back([this, what] {
            std::vector<vorn::fleet::Shown> answer;
            for (const auto &each : what)
                answer.push_back({each.class_name, values[each.class_name]});
            agent->states_read(answer, now);
        });
    }
    vorn::fleet::Note read_note() override { return note; }
    bool write_note(const vorn::fleet::Note &written) override
    {
        if (!can_note) return false;
        note = written;
        return true;
    }
    std::uint32_t chance() override { return 0x80000000; }

    Signer signer;
    vorn::fleet::Settings settings;
    vorn::fleet::Time now = {0, 1800000000};
    std::unique_ptr<vorn::fleet::Agent> agent;
    std::deque<std::function<void()>> questions;
    vorn::fleet::View device;
    vorn::fleet::View saved;
    vorn::fleet::Note note;
    Refusal answer_to_apply;
    Refusal answer_to_confirm;
    bool can_note = true;
    bool is_connecting = false;
    std::size_t looks = 0;
    std::size_t confirmations = 0;
    std::size_t disconnections = 0;
    std::vector<std::int64_t> applications;
    std::vector<std::string> asked;
    std::map<std::string, std::vector<vorn::fleet::Item>> values; /* of classes */
    std::vector<std::vector<vorn::fleet::Selection>> reads;
    std::vector<std::string> subscriptions;
    std::vector<vorn::fleet::Publication> publications;
};
