/* SPDX-License-Identifier: MIT */
#pragma once

#include "api/query_fixture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>

#include <unistd.h>

#include "vorn-plugin/repair.h"

extern "C" {
#include "pauses.h"
void vorn_plugin_init(void);
}

namespace vorn::tests {

/* What the plugin takes for the time, and what it has done with it. */
struct FakeClock {
    std::int64_t now;
    std::int64_t uptime;
    std::int64_t wakes_at;
    int reboots;
    int is_held;
    int timer;
    void (*hears)(int sock, void *eloop_data, void *data);
};
extern FakeClock fake;

/* Seconds since 1970 of "2026-11-23 12:00". */
std::int64_t instant(const char *utc);

inline constexpr char berlin[] = "CET-1CEST,M3.5.0,M10.5.0/3";

/* The 23rd of November 2026 is a Monday. */
class Schedules : public QueryTest {
protected:
    Schedules() : QueryTest(add_plugin)
    {
        put("system", nullptr, {});
        put("repair", nullptr, {});
        put("radio", "wlan0", {{"status", "up"}});
        put("wireless-network", "home", {{"radio", "wlan0"}});
        put("wireless-network", "guests", {{"radio", "wlan0"}});
        put("wireless-network", "far", {{"radio", "wlan1"}});
        fake.uptime = 100000;
        fake.now = 0;
        wake();
        set_clock("2026-11-23 12:00");
        paused.clear();
        applied = fake.reboots = fake.is_held = 0;
    }
    ~Schedules() override
    {
        close(fake.timer);
        paused.clear();
    }

    static void add_plugin()
    {
        ClassBuilder("system", VORN_CLASS_SINGLETON).with("time-zone").add_resolved();
        ClassBuilder("repair", VORN_CLASS_SINGLETON).with("what").add_resolved();
        ClassBuilder("radio").with("status").add_resolved();
        ClassBuilder("wireless-network")
            .with("radio")
            .with("status")
            .with("state", read_only)
            .add_resolved();
        vorn_plugin_init();
        add_wireless();
        for (const char *name : {"wireless-schedule", "restart-schedule"})
            vorn_class_resolve(vorn_classes_get(name));
    }

    static void for_each_network(void (*call)(vorn_instance *network), const vorn_instances *store)
    {
        vorn_instances_iterator *walk =
            vorn_instances_new_class_iterator(store, "wireless-network");
        while (vorn_instances_iterator_has_next(walk))
            call(vorn_instances_iterator_next(walk));
        vorn_instances_delete_iterator(walk);
    }

    /* As the plugin wireless: it takes off the air what it is asked to. */
    static void add_wireless()
    {
        const auto apply = [](vorn_commit_info *info) {
            const char *const own_classes[] = {"wireless-network", nullptr};
            if (!repair_concerns(info, own_classes)) return;
            std::optional<AllocationsAllowed> allowed;
            if (wireless_has_memory) allowed.emplace();
            pauses_take(vorn_commit_info_get_actions(info), vorn_commit_info_get_after(info));
            allowed.emplace();
            paused.clear();
            applied++;
            const auto note = [](vorn_instance *network) {
                const char *name = vorn_instance_get_name(network);
                if (pauses_have(name)) paused += std::string(name) + " ";
            };
            for_each_network(note, vorn_commit_info_get_after(info));
        };
        const auto tell = [](vorn_refresh_info *info, void *) {
            const auto set = [](vorn_instance *network) {
                const std::string name = vorn_instance_get_name(network);
                const bool is_off = paused.find(name + " ") != std::string::npos;
                vorn_instance_set_value(network, "state", is_off ? "stopped" : "running");
            };
            if (vorn_refresh_info_contains_class(info, "wireless-network"))
                for_each_network(set, vorn_refresh_info_get_instances(info));
        };
        vorn_provider *wireless = vorn_provider_new("wireless");
        vorn_provider_set_commit_fn(wireless, apply, nullptr);
        vorn_provider_set_refresh_fn(wireless, tell, nullptr);
        vorn_providers_add(wireless);
    }

    void wake()
    {
        let([] { fake.hears(fake.timer, nullptr, nullptr); });
    }
    /* Somebody sets the clock, which wakes those who wait for a time. */
    void set_clock(const char *utc)
    {
        fake.now = instant(utc);
        wake();
    }
    /* Time goes by, and the timer is heard as often as it was set. */
    void pass_until(const char *utc) { pass_until(instant(utc)); }
    void minutes_pass(int minutes) { pass_until(fake.now + minutes * 60); }
    void pass_until(std::int64_t then)
    {
        for (int times = 0; fake.wakes_at <= then && times < 1000; times++) {
            const std::int64_t next = std::max(fake.wakes_at, fake.now);
            fake.uptime += next - fake.now;
            fake.now = next;
            wake();
        }
        fake.uptime += then - fake.now;
        fake.now = then;
    }

    static void commit_nothing()
    {
        vorn_changes *nothing = vorn_changes_new(running_config);
        if (nothing == nullptr) return;
        vorn_providers_commit(running_config, nothing, nullptr);
        vorn_changes_delete(nothing);
    }
    std::string change(const std::string &operations)
    {
        return ask("<lsql><write-transaction>" + operations + "</write-transaction></lsql>");
    }
    std::string add(const std::string &kind, const std::string &values)
    {
        const std::string answer = change("<insert><" + kind + "-schedule name=\"s\">" + values +
                                          "</" + kind + "-schedule></insert>");
        return answer;
    }
    std::string add_nights(const std::string &more = "")
    {
        return add("wireless", "<from>23:00</from><to>06:00</to>" + more);
    }
    std::string add_restart(const std::string &more = "")
    {
        return add("restart", "<time>04:00</time>" + more);
    }
    std::string told(const std::string &klass, const std::string &name)
    {
        const std::string answer = ask("<lsql><select><" + klass + " name=\"" + name +
                                       "\"><state/></" + klass + "></select></lsql>");
        const auto at = answer.find("<state>");
        if (at == std::string::npos) return answer;
        return answer.substr(at + 7, answer.find('<', at + 7) - at - 7);
    }
    std::string network() { return told("wireless-network", "guests"); }

    static inline std::string paused;
    static inline int applied = 0;
    static inline bool wireless_has_memory = false; /* whatever others have */
};

} // namespace vorn::tests
