/* SPDX-License-Identifier: MIT */
/* vornctl watch: the daemon's notices as they come. */
#include <chrono>
#include <cstdlib>
#include <ctime>
#include <iostream>
#include <thread>

#include "device.h"
#include "failure.h"
#include "json.h"
#include "text.h"
#include "verb.h"

namespace vorn::client {

namespace {

std::string time_of_day()
{
    const std::time_t now = std::time(nullptr);
    char text[16] = "";
    std::strftime(text, sizeof text, "%H:%M:%S", std::localtime(&now));
    return text;
}

/* One notice; empty texts for what it does not tell. */
struct Event {
    std::string kind;
    std::string origin;
    int number = 0;
    std::string class_name; /* empty when the configuration as a whole has changed */
    std::string name;
    std::string property;
    std::string value;
    bool has_origin = false;
    bool has_name = false;
};

Event event_of(const pugi::xml_node &root)
{
    Event event;
    event.kind = root.name();
    if (const pugi::xml_attribute origin = root.attribute("origin")) {
        event.origin = origin.value();
        event.has_origin = true;
    }
    const pugi::xml_node object = root.first_child();
    if (object.type() != pugi::node_element) {
        event.number = root.text().as_int();
        return event;
    }
    event.class_name = object.name();
    if (const pugi::xml_attribute name = object.attribute("name")) {
        event.name = name.value();
        event.has_name = true;
    }
    event.property = object.first_child().name();
    event.value = object.first_child().text().get();
    return event;
}

std::string json_of(const Event &event)
{
    constexpr int one_line = 0;
    JsonWriter json(one_line);
    json.open_object();
    json.member("event", event.kind);
    if (event.has_origin) json.member("origin", event.origin);
    if (event.class_name.empty()) {
        json.name("number");
        json.number(event.number);
    } else {
        json.member("class", event.class_name);
        if (event.has_name) json.member("name", event.name);
        json.member("property", event.property);
        json.member("value", event.value);
    }
    json.close_object();
    return json.document();
}

std::string sentence_of(const Event &event)
{
    std::string text = time_of_day() + "  ";
    if (event.class_name.empty()) {
        text += "configuration changed (" + std::to_string(event.number) + ")";
    } else {
        text += event.class_name + " ";
        if (event.has_name) text += "\"" + event.name + "\" ";
        text += event.property + " = " + event.value;
    }
    if (event.has_origin) text += " by " + event.origin;
    return text;
}

/* Notices are sent unescaped: one that is no XML is shown as it came. */
void print(const Options &options, const std::string &notice)
{
    pugi::xml_document document;
    const bool parsed = document.load_buffer(notice.data(), notice.size());
    if (options.output.format == Format::xml) {
        std::cout << notice << std::flush;
    } else if (!parsed) {
        std::cout << shown(notice.substr(0, notice.find_last_not_of('\n') + 1)) << std::endl;
    } else if (options.output.format == Format::json) {
        std::cout << json_of(event_of(document.document_element())) << std::endl;
    } else {
        std::cout << shown(sentence_of(event_of(document.document_element()))) << std::endl;
    }
}

/* The daemon may be starting anew: that takes a moment, and then longer if it keeps failing. */
void subscribe_again(Device &device)
{
    using namespace std::chrono_literals;
    constexpr auto longest_pause = 5000ms;
    std::cerr << "vornctl: the daemon is gone; waiting for it\n";
    for (auto pause = 100ms;; pause = std::min(2 * pause, longest_pause)) {
        std::this_thread::sleep_for(pause);
        try {
            device.subscribe();
            std::cerr << "vornctl: the daemon is back\n";
            return;
        } catch (const Failure &failure) {
            if (failure.status() != not_there) throw;
        }
    }
}

/* How many notices to wait for; 0 is for ever. */
int count_of(const Invocation &invocation)
{
    constexpr long most = 1000000;
    if (invocation.words.empty()) return 0;
    char *end = nullptr;
    const long count = std::strtol(invocation.words[0].c_str(), &end, 10);
    if (*end != '\0' || count < 1 || count > most) {
        throw Misuse("COUNT: Value " + invocation.words[0] + " not in range 1 to " +
                     std::to_string(most));
    }
    return static_cast<int>(count);
}

} // namespace

int watch(const Invocation &invocation)
{
    const Options &options = invocation.options;
    const int count = count_of(invocation);
    Device device(options.timeout_ms());
    device.subscribe();
    for (int seen = 0; count == 0 || seen < count;) {
        if (const std::optional<std::string> notice = device.next_notice()) {
            print(options, *notice);
            if (!std::cout) return misused;
            seen++;
        } else if (invocation.has("--once")) {
            throw Failure(no_answer, "the daemon dropped the connection");
        } else {
            subscribe_again(device);
        }
    }
    return done;
}

} // namespace vorn::client
