/* SPDX-License-Identifier: MIT */
/*
 * What was told is kept, so that only what differs is told again. What doesn't fit into a message
 * stays different, and comes with the next one.
 */
#include "states.h"

#include <algorithm>
#include <utility>

#include "bounds.h"
#include "document.h"
#include "json.h"
#include "outside.h"
#include "signature.h"

namespace vorn::fleet {

namespace {

constexpr std::size_t size_of_frame = 24; /* what stands around an instance, and what keeps it */

const std::string &name_of(const Item &item)
{
    static const std::string none;
    return item.name ? *item.name : none;
}

bool can_be_told_apart(const std::vector<Item> &items)
{
    std::set<std::string> names;
    return std::ranges::all_of(
        items, [&](const Item &each) { return names.insert(name_of(each)).second; });
}

std::size_t size_of(const std::string &name, const std::map<std::string, std::string> &values)
{
    std::size_t size = size_of_frame + name.size();
    for (const auto &[property, value] : values)
        size += property.size() + value.size() + 6;
    return size;
}

/* A property that has no value any more is told with none. */
std::map<std::string, std::string> changed(const std::map<std::string, std::string> &before,
                                           const std::map<std::string, std::string> &after)
{
    std::map<std::string, std::string> values;
    for (const auto &[property, value] : before)
        if (!after.contains(property)) values[property] = "";
    for (const auto &[property, value] : after) {
        const auto found = before.find(property);
        if (found == before.end() || found->second != value) values[property] = value;
    }
    return values;
}

std::map<std::string, std::string> cut_values(const Item &item)
{
    std::map<std::string, std::string> values;
    for (const auto &[property, value] : item.values)
        if (!value.empty()) values[property] = cut(value, longest_detail);
    return values;
}

} // namespace

std::optional<Selection> Selection::of(std::string_view word)
{
    const std::size_t point = word.find('.');
    const std::string_view class_name = word.substr(0, point);
    const std::string_view property =
        point == std::string_view::npos ? std::string_view() : word.substr(point + 1);
    if (!is_identifier(class_name) || (point != std::string_view::npos && !is_identifier(property)))
        return std::nullopt;
    Selection selection = {std::string(class_name), {}};
    if (!property.empty()) selection.properties.emplace(property);
    return selection;
}

/* A message in the making. */
struct States::Writer {
    Json instances = owned(json_array());
    Json gone = owned(json_array());
    std::size_t size = 0;
    std::size_t left_out = 0;
    bool is_full = false; /* the rest is to come with the next one */

    bool takes(std::size_t more)
    {
        is_full = is_full || (size != 0 && size + more > longest_state);
        if (!is_full) size += more;
        return !is_full;
    }

    void add(const Item &item, const Values &values)
    {
        Json json = owned(json_object());
        if (item.name) put(json.get(), "name", text(*item.name));
        Json told = owned(json_object());
        for (const auto &[property, value] : values)
            put(told.get(), property.c_str(), text(value));
        put(json.get(), "values", std::move(told));
        append(instances.get(), std::move(json));
    }

    std::string message(std::int64_t sequence, bool is_whole, std::int64_t wall)
    {
        Json json = owned(json_object());
        put(json.get(), "version", owned(json_integer(1)));
        put(json.get(), "time", owned(json_integer(wall)));
        put(json.get(), "sequence", owned(json_integer(sequence)));
        put(json.get(), "whole", Json(json_boolean(is_whole)));
        put(json.get(), "instances", std::move(instances));
        put(json.get(), "gone", std::move(gone));
        put(json.get(), "more", Json(json_boolean(is_full)));
        put(json.get(), "left-out", owned(json_integer(static_cast<json_int_t>(left_out))));
        return written(json);
    }

    bool has_something() const
    {
        return json_array_size(instances.get()) + json_array_size(gone.get()) != 0;
    }
};

/* Who repeats a question makes the device look no more than once a second. */
void States::Told::forget(std::int64_t now_ms)
{
    next_ms = std::max(read_ms + ms_of_s, now_ms);
    sequence = 0;
    size = 0;
    instances.clear();
    digest.clear();
}

States::States(const Watch &always)
{
    if (!always.what.empty()) watches_.push_back(always);
    merge(0);
}

/* Each class as often as whoever wants it most. */
void States::merge(std::int64_t now_ms)
{
    std::map<std::string, Told> all;
    for (const Watch &watch : watches_) {
        for (const Selection &each : watch.what) {
            const auto known = told_.find(each.class_name);
            const bool is_new = !all.contains(each.class_name);
            Told &told = all[each.class_name];
            if (is_new && known != told_.end()) told = std::move(known->second);
            const std::int64_t every_ms = watch.every_s * ms_of_s;
            told.every_ms = is_new ? every_ms : std::min(told.every_ms, every_ms);
            told.next_ms = std::min(told.next_ms, now_ms + told.every_ms);
        }
    }
    told_ = std::move(all);
}

/* What others still watch of the same classes is told anew. */
void States::drop_ended(std::int64_t now_ms, std::int64_t wall)
{
    const std::size_t ended = std::erase_if(
        watches_, [&](const Watch &each) { return each.until != 0 && each.until < wall; });
    if (ended == 0) return;
    merge(now_ms);
    begin_anew(now_ms);
}

bool States::add(const Watch &watch, std::int64_t now_ms, std::int64_t wall)
{
    drop_ended(now_ms, wall);
    const auto same = std::ranges::find_if(watches_, [&](const Watch &each) {
        return each.until != 0 && each.what == watch.what && each.every_s == watch.every_s;
    });
    if (same != watches_.end()) {
        same->until = std::max(same->until, watch.until);
    } else {
        std::set<std::string> classes;
        watches_.push_back(watch);
        for (const Watch &each : watches_)
            for (const Selection &selection : each.what)
                classes.insert(selection.class_name);
        if (watches_.size() > most_watches || classes.size() > most_watched) {
            watches_.pop_back();
            return false;
        }
    }
    merge(now_ms);
    for (const Selection &each : watch.what)
        told_.at(each.class_name).forget(now_ms);
    return true;
}

void States::begin_anew(std::int64_t now_ms)
{
    for (auto &[class_name, told] : told_)
        told.forget(now_ms);
}

std::int64_t States::wake_at() const
{
    std::int64_t at = never;
    for (const auto &[class_name, told] : told_)
        at = std::min(at, told.next_ms);
    return at;
}

std::vector<Selection> States::due(std::int64_t now_ms, std::int64_t wall)
{
    drop_ended(now_ms, wall);
    std::vector<Selection> due;
    for (auto &[class_name, told] : told_) {
        if (now_ms < told.next_ms) continue;
        told.read_ms = now_ms;
        told.next_ms = now_ms + told.every_ms;
        Selection &selection = due.emplace_back(Selection{class_name, {}});
        bool is_whole = false;
        for (const Watch &watch : watches_) {
            for (const Selection &each : watch.what) {
                if (each.class_name != class_name) continue;
                is_whole = is_whole || each.properties.empty();
                selection.properties.insert(each.properties.begin(), each.properties.end());
            }
        }
        if (is_whole) selection.properties.clear();
    }
    return due;
}

std::size_t States::kept() const
{
    std::size_t size = 0;
    for (const auto &[class_name, told] : told_)
        size += told.size;
    return size;
}

void States::compare(Told &told, const std::vector<Item> &items, Writer &writer)
{
    std::set<std::string> there;
    for (const Item &each : items)
        there.insert(name_of(each));
    std::erase_if(told.instances, [&](const auto &each) {
        const bool goes = !there.contains(each.first) && writer.takes(each.first.size() + 3);
        if (!goes) return false;
        append(writer.gone.get(), text(each.first));
        told.size -= size_of(each.first, each.second);
        return true;
    });
    for (const Item &each : items) {
        const Values after = cut_values(each);
        const auto found = told.instances.find(name_of(each));
        const bool is_known = found != told.instances.end();
        const Values values = changed(is_known ? found->second : Values(), after);
        if (is_known && values.empty()) continue;
        const std::size_t before = is_known ? size_of(found->first, found->second) : 0;
        const std::size_t size = size_of(name_of(each), after);
        if (kept() - before + size > most_state_kept) {
            writer.left_out++;
        } else if (writer.takes(size_of(name_of(each), values))) {
            writer.add(each, values);
            told.size += size - before;
            told.instances[name_of(each)] = after;
        }
    }
}

/* Of instances that can't be told from each other all are told, when any is another. */
bool States::renew(Told &told, const Shown &shown, Writer &writer)
{
    const std::string digest = hash_of({{shown.class_name, {true, shown.items, {}}}});
    if (digest == told.digest) return false;
    told.digest = digest;
    for (const Item &each : shown.items) {
        const Values values = cut_values(each);
        if (writer.left_out == 0 && writer.takes(size_of(name_of(each), values)))
            writer.add(each, values);
        else
            writer.left_out++;
    }
    writer.is_full = false;
    return true;
}

std::vector<States::Message> States::differences(const std::vector<Shown> &shown, std::int64_t wall)
{
    std::vector<Message> messages;
    for (const Shown &each : shown) {
        const auto found = told_.find(each.class_name);
        if (found == told_.end()) continue;
        Told &told = found->second;
        const bool is_apart = can_be_told_apart(each.items);
        if (is_apart != told.digest.empty())
            told.forget(told.next_ms); /* it is another class by now */
        Writer writer;
        const bool is_whole = !is_apart || told.sequence == 0;
        if (is_apart) compare(told, each.items, writer);
        const bool differs =
            is_apart ? is_whole || writer.has_something() : renew(told, each, writer);
        if (differs)
            messages.push_back({each.class_name, writer.message(++told.sequence, is_whole, wall)});
    }
    return messages;
}

} // namespace vorn::fleet
