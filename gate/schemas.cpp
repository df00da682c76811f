/* SPDX-License-Identifier: MIT */
#include "schemas.h"

#include <algorithm>
#include <cstdlib>

#include "answer.h"
#include "asking.h"
#include "json.h"
#include "sha256.h"

namespace vorn::gate {

namespace {

constexpr std::size_t most_known = 16;
constexpr std::size_t digits_of_id = 16;

std::string digest_of(const std::vector<client::Outcome> &outcomes)
{
    std::string all;
    const auto add = [&](const std::string &word) { all.append(word).push_back('\0'); };
    for (const client::Outcome &outcome : outcomes) {
        for (const client::Instance &each : outcome.instances) {
            add(each.called());
            for (const auto &[property, value] : each.values) {
                add(property);
                add(value);
            }
        }
    }
    return sha256(all).substr(0, digits_of_id);
}

struct Told {
    const char *name;
    enum class Kind { text, flag, number, json } kind;
    const char *source;
};

constexpr Told told_of_class[] = {
    {"type", Told::Kind::text, "type"},
    {"persistent", Told::Kind::flag, "persistent"},
    {"abstract", Told::Kind::flag, "abstract"},
    {"superclass", Told::Kind::text, "superclass"},
    {"subclass-identifier", Told::Kind::text, "subclass-identifier"},
    {"label", Told::Kind::text, "label"},
    {"help", Told::Kind::text, "help"},
    {"group", Told::Kind::text, "group"},
    {"order", Told::Kind::number, "order"},
    {"insertable", Told::Kind::flag, "insertable"},
    {"deletable", Told::Kind::flag, "deletable"},
};

constexpr Told told_of_property[] = {
    {"name", Told::Kind::text, "property"},
    {"readable", Told::Kind::flag, "readable"},
    {"writable", Told::Kind::flag, "writable"},
    {"persistent", Told::Kind::flag, "persistent"},
    {"required", Told::Kind::flag, "required"},
    {"inherited", Told::Kind::flag, "inherited"},
    {"secret", Told::Kind::flag, "secret"},
    {"references", Told::Kind::text, "references"},
    {"valid", Told::Kind::text, "valid"},
    {"label", Told::Kind::text, "label"},
    {"help", Told::Kind::text, "help"},
    {"unit", Told::Kind::text, "unit"},
    {"example", Told::Kind::text, "example"},
    {"group", Told::Kind::text, "group"},
    {"order", Told::Kind::number, "order"},
    {"accepts", Told::Kind::json, "accepts"},
    {"changeable", Told::Kind::flag, "changeable"},
    {"insertable", Told::Kind::flag, "insertable"},
};

Json value_of(const Told &told, const std::string &value)
{
    switch (told.kind) {
    case Told::Kind::flag:
        return boolean(value == "yes");
    case Told::Kind::number:
        return number(std::atoi(value.c_str()));
    case Told::Kind::json: {
        Json parsed = parse_json(value);
        return parsed && json_is_array(parsed.get()) ? std::move(parsed) : list();
    }
    default:
        return text(value);
    }
}

template <typename Table>
void put_told(const Json &json, const Table &table, const client::Instance &instance)
{
    for (const Told &each : table)
        put(json, each.name, value_of(each, instance.value(each.source)));
}

std::string json_of(const std::string &id, const std::vector<client::Instance> &classes,
                    const std::vector<client::Instance> &properties)
{
    Json list_of_classes = list();
    for (const client::Instance &each : classes) {
        Json klass = object();
        put_text(klass, "name", each.called());
        put_told(klass, told_of_class, each);
        Json its_properties = list();
        for (const client::Instance &owned : properties) {
            if (owned.called() != each.called()) continue;
            Json property = object();
            put_told(property, told_of_property, owned);
            append(its_properties, std::move(property));
        }
        put(klass, "properties", std::move(its_properties));
        append(list_of_classes, std::move(klass));
    }
    const Json json = object();
    put_text(json, "id", id);
    put(json, "classes", std::move(list_of_classes));
    return written(json);
}

std::shared_ptr<const DeviceSchema> read_schema(client::Device &device, const std::string &user)
{
    client::Request request(client::Request::Kind::plain);
    request.speak_for(user);
    request.select({"schema-class", {}, {}}, {});
    request.select({"schema-property", {}, {}}, {});
    const std::vector<client::Outcome> outcomes = client::parse_answer(device.ask(request.text()));
    auto schema = std::make_shared<DeviceSchema>();
    if (!outcomes.empty() && outcomes[0].rc != 0) throw problem_of(outcomes[0].error);
    if (outcomes.size() < 2) {
        schema->told = json_of({}, {}, {});
        return schema;
    }
    schema->schema = client::Schema::of(outcomes[0].instances, outcomes[1].instances);
    schema->id = digest_of(outcomes);
    schema->told = json_of(schema->id, outcomes[0].instances, outcomes[1].instances);
    for (const client::Class &each : schema->schema.classes()) {
        const client::Property *state = each.find("state");
        if (!each.abstract && state && state->readable)
            schema->classes_with_state.push_back(each.name);
    }
    return schema;
}

} // namespace

std::shared_ptr<const DeviceSchema> Schemas::of(client::Device &device, const std::string &user)
{
    const unsigned now = generation_;
    const Stillness::Epoch epoch = rights_.present();
    const auto is_present = [&](const Known &each) {
        return each.generation == now && each.epoch == epoch;
    };
    const bool can_be_kept = epoch != Stillness::none || rights_.is_unknown();
    if (can_be_kept) {
        const std::lock_guard lock(mutex_);
        for (const Known &each : known_)
            if (each.user == user && is_present(each)) return each.schema;
    }
    std::shared_ptr<const DeviceSchema> schema = read_schema(device, user);
    if (!schema->schema.known() || !can_be_kept) return schema;

    const std::lock_guard lock(mutex_);
    /* Most users see the same: it is kept once. */
    for (const Known &each : known_)
        if (each.schema->id == schema->id) schema = each.schema;
    std::erase_if(known_,
                  [&](const Known &each) { return each.user == user || !is_present(each); });
    if (known_.size() >= most_known) known_.erase(known_.begin());
    known_.push_back({user, now, epoch, schema});
    return schema;
}

} // namespace vorn::gate
