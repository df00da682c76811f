/* SPDX-License-Identifier: MIT */
/*
 * Whoever has the key, for measuring: fleet_conductor BROKER PORT TENANT FIRST COUNT GENERATION
 * [WORD=VALUE]...
 *
 * Signs a document for each of the devices simFIRST and on, publishes all, and waits until each has
 * reported the number as applied. Prints one line of JSON: how long it took from a document's own
 * publication, and from that of the first.
 *
 *     seconds=60        how long to wait; 0: until the broker has all of them
 *     rate=0            how many are published a second; 0 for as fast as the broker takes them
 *     connection=kept   as in a document
 *     trial=60
 *     attempts=1
 *     size=1000         bytes of a value in it, which make it larger
 *     cut=0             1: a wrong gateway
 *     bare=0            1: messages of the same size that begin with the time, instead; 2: and the
 *                       second that comes back, whatever it is, counts as a report
 */
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <unordered_map>
#include <vector>

#include <jansson.h>
#include <mosquitto.h>
#include <mqtt_protocol.h>
#include <poll.h>

#include "agent/protocol/content.h"
#include "measure.h"
#include "tests/agent/signer.h"

namespace {

using vorn::fleet::microseconds;

struct Options {
    std::string host;
    int port = 0;
    std::string tenant;
    int first = 0;
    int count = 0;
    long long generation = 0;
    std::map<std::string, std::string> words = {
        {"seconds", "60"}, {"rate", "0"},    {"connection", "kept"}, {"trial", "60"},
        {"attempts", "1"}, {"size", "1000"}, {"cut", "0"},           {"bare", "0"},
    };
    long number(const char *word) const { return std::atol(words.at(word).c_str()); }
};

class Conductor {
public:
    explicit Conductor(const Options &options);
    int run();

private:
    struct Device {
        std::string topic;
        std::string payload;
        std::int64_t sent_us = 0;
        std::int64_t applied_us = 0;
        int heard = 0;
    };

    std::string document(const std::string &name) const;
    void connect();
    void publish_some();
    bool is_done() const;
    void step();
    void hear(const mosquitto_message &message);
    void print() const;

    const Options &options_;
    const long rate_ = options_.number("rate");
    const long bare_ = options_.number("bare");
    mosquitto *client_ = nullptr;
    bool is_subscribed_ = false;
    std::vector<Device> devices_;
    std::unordered_map<std::string, std::size_t> by_topic_;
    std::size_t sent_ = 0;
    std::size_t acknowledged_ = 0;
    std::size_t applied_ = 0;
    std::size_t refused_ = 0;
    std::int64_t begin_us_ = 0;
};

Conductor::Conductor(const Options &options) : options_(options)
{
    const Signer signer;
    for (int i = 0; i < options.count; i++) {
        const std::string name = "sim" + std::to_string(options.first + i);
        const std::string base = "v1/" + options.tenant + '/' + name + '/';
        devices_.push_back({base + "desired", signer.sign(document(name))});
        by_topic_[base + "reported"] = devices_.size() - 1;
    }
}

std::string Conductor::document(const std::string &name) const
{
    const std::string text(static_cast<std::size_t>(options_.number("size")), 'x');
    const std::string number = std::to_string(options_.generation);
    vorn::fleet::Content content;
    content["system"] = {false, {{std::nullopt, {{"contact", number}, {"location", text}}}}, {}};
    std::string configuration = R"("system":{"some":[{"values":{"contact":")" + number +
                                R"(","location":")" + text + R"("}}]})";
    if (options_.number("cut") != 0) {
        content["route"] = {false, {{"default", {{"gateway", "10.9.0.254"}}}}, {}};
        configuration +=
            R"(,"route":{"some":[{"name":"default","values":{"gateway":"10.9.0.254"}}]})";
    }
    return R"({"version":1,"tenant":")" + options_.tenant + R"(","device":")" + name +
           R"(","generation":)" + number + R"(,"by":"conductor","why":"measuring","trial":)" +
           options_.words.at("trial") + R"(,"attempts":)" + options_.words.at("attempts") +
           R"(,"connection":")" + options_.words.at("connection") + R"(","hash":")" +
           vorn::fleet::hash_of(content) + R"(","configuration":{)" + configuration + "}}";
}

void Conductor::connect()
{
    client_ = mosquitto_new("conductor", true, this);
    mosquitto_int_option(client_, MOSQ_OPT_PROTOCOL_VERSION, MQTT_PROTOCOL_V5);
    mosquitto_int_option(client_, MOSQ_OPT_SEND_MAXIMUM, 1000);
    mosquitto_int_option(client_, MOSQ_OPT_TCP_NODELAY, 1);
    mosquitto_subscribe_callback_set(client_, [](mosquitto *, void *own, int, int, const int *) {
        static_cast<Conductor *>(own)->is_subscribed_ = true;
    });
    mosquitto_publish_callback_set(client_, [](mosquitto *, void *own, int) {
        static_cast<Conductor *>(own)->acknowledged_++;
    });
    mosquitto_message_callback_set(client_,
                                   [](mosquitto *, void *own, const mosquitto_message *message) {
                                       static_cast<Conductor *>(own)->hear(*message);
                                   });
    if (mosquitto_connect(client_, options_.host.c_str(), options_.port, 60) != 0) {
        std::fputs("fleet_conductor: no broker\n", stderr);
        std::exit(1);
    }
    const std::string topic = "v1/" + options_.tenant + "/+/reported";
    /* As vorn-fleet does: what is retained need not be acknowledged. */
    mosquitto_subscribe_v5(client_, nullptr, topic.c_str(), 0, MQTT_SUB_OPT_SEND_RETAIN_NEVER,
                           nullptr);
    while (!is_subscribed_)
        step();
}

void Conductor::hear(const mosquitto_message &message)
{
    const auto found = by_topic_.find(message.topic);
    if (found == by_topic_.end() || devices_[found->second].applied_us != 0) return;
    if (bare_ != 0) {
        if (++devices_[found->second].heard < 2) return;
        devices_[found->second].applied_us = microseconds();
        applied_++;
        return;
    }
    const std::int64_t now_us = microseconds(); /* what follows is not the device's work */
    json_t *report = json_loadb(static_cast<const char *>(message.payload),
                                static_cast<std::size_t>(message.payloadlen), 0, nullptr);
    const auto text = [&](const char *name) -> std::string {
        const char *value = json_string_value(json_object_get(report, name));
        return value ? value : "";
    };
    const bool is_about_it =
        json_integer_value(json_object_get(report, "about")) == options_.generation;
    const bool is_over = is_about_it && text("trial") == "none";
    if (is_over && text("state") == "applied") {
        devices_[found->second].applied_us = now_us;
        applied_++;
    } else if (is_over && (text("state") == "refused" || text("state") == "reverted")) {
        refused_++;
    }
    json_decref(report);
}

/* No more than the client sends at once are given to it: it would keep them all. */
void Conductor::publish_some()
{
    constexpr std::size_t at_once = 500;
    const std::int64_t passed = microseconds() - begin_us_;
    while (sent_ < devices_.size() && sent_ < acknowledged_ + at_once &&
           (rate_ == 0 || static_cast<std::int64_t>(sent_) * 1000000 / rate_ <= passed)) {
        Device &device = devices_[sent_++];
        device.sent_us = microseconds();
        if (bare_ != 0) {
            std::string time = std::to_string(device.sent_us) + ' ' + std::to_string(begin_us_);
            time.resize(40, ' ');
            device.payload.replace(0, time.size(), time);
        }
        mosquitto_publish(client_, nullptr, device.topic.c_str(),
                          static_cast<int>(device.payload.size()), device.payload.data(), 1,
                          bare_ == 0);
    }
}

void Conductor::step()
{
    const bool wants_write = mosquitto_want_write(client_);
    pollfd descriptor = {mosquitto_socket(client_),
                         static_cast<short>(POLLIN | (wants_write ? POLLOUT : 0)), 0};
    if (descriptor.fd < 0) {
        print();
        std::exit(1);
    }
    poll(&descriptor, 1, sent_ < devices_.size() ? 1 : 100);
    if ((descriptor.revents & POLLIN) != 0) mosquitto_loop_read(client_, 1);
    if (mosquitto_want_write(client_)) mosquitto_loop_write(client_, 1);
    mosquitto_loop_misc(client_);
}

bool Conductor::is_done() const
{
    const std::int64_t seconds = options_.number("seconds");
    const bool is_out = acknowledged_ == devices_.size();
    if (bare_ == 1 || seconds == 0) return is_out;
    return applied_ + refused_ >= devices_.size() || microseconds() > begin_us_ + seconds * 1000000;
}

void Conductor::print() const
{
    std::vector<std::int64_t> each;
    std::vector<std::int64_t> since_begin;
    for (const Device &device : devices_) {
        if (device.applied_us == 0) continue;
        each.push_back(device.applied_us - device.sent_us);
        since_begin.push_back(device.applied_us - begin_us_);
    }
    std::ranges::sort(each);
    std::ranges::sort(since_begin);
    std::printf("{\"sent\":%zu,\"acknowledged\":%zu,\"applied\":%zu,\"others\":%zu,"
                "\"payload\":%zu,\"each\":%s,\"since_begin\":%s}\n",
                sent_, acknowledged_, applied_, refused_, devices_[0].payload.size(),
                vorn::fleet::percentiles(each).c_str(),
                vorn::fleet::percentiles(since_begin).c_str());
}

int Conductor::run()
{
    connect();
    begin_us_ = microseconds();
    while (!is_done()) {
        publish_some();
        step();
    }
    print();
    mosquitto_disconnect(client_);
    return 0;
}

} // namespace

int main(int count, char *arguments[])
{
    if (count < 7) return 2;
    Options options = {.host = arguments[1],
                       .port = std::atoi(arguments[2]),
                       .tenant = arguments[3],
                       .first = std::atoi(arguments[4]),
                       .count = std::atoi(arguments[5]),
                       .generation = std::atoll(arguments[6])};
    for (int i = 7; i < count; i++) {
        const std::string word = arguments[i];
        const std::size_t equals = word.find('=');
        const auto known = options.words.find(word.substr(0, equals));
        if (equals == std::string::npos || known == options.words.end()) return 2;
        known->second = word.substr(equals + 1);
    }
    if (mosquitto_lib_init() != MOSQ_ERR_SUCCESS) return 1;
    return Conductor(options).run();
}
