/* SPDX-License-Identifier: MIT */
/* vornctl watch: the daemon's notices as they come. */
#include <chrono>
#include <ctime>
#include <iostream>
#include <thread>
#include <utility>

#include "configuration.h"
#include "device.h"
#include "differences.h"
#include "failure.h"
#include "json.h"
#include "secrets.h"
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
        text += concat({"configuration changed (", std::to_string(event.number), ")"});
    } else {
        text += concat({event.class_name, " "});
        if (event.has_name) text += concat({"\"", event.name, "\" "});
        text += concat({event.property, " = ", event.value});
    }
    if (event.has_origin) text += concat({" by ", event.origin});
    return text;
}

/* What a notice does not tell: which values are other than they were at the one before. */
class Follower {
public:
    explicit Follower(const Options &options)
        : device_(options.timeout_ms()), compares_(options.output.format == Format::table)
    {
        look();
    }

    void print_changes()
    {
        const Configuration before = std::exchange(known_, {});
        look();
        std::vector<Difference> differences = compare(before, known_, schema_);
        hide_secrets(differences, schema_);
        print(Output(), differences);
    }
    bool is_secret(const std::string &class_name, const std::string &property) const
    {
        return schema_.is_secret(class_name, property);
    }

private:
    /* Where nothing can be asked the notice itself has to do. */
    void look()
    try {
        if (!schema_.known()) schema_ = Schema::of(device_);
        if (compares_) known_ = running_configuration(device_, schema_);
    } catch (const Failure &) {
        known_.clear();
    }

    Device device_;
    bool compares_; /* programs compare for themselves */
    Schema schema_;
    Configuration known_;
};

/* Whether there was one. */
bool hide_secret(const pugi::xml_document &document, const Follower &follower)
{
    const pugi::xml_node object = document.document_element().first_child();
    const pugi::xml_node property = object.first_child();
    if (!follower.is_secret(object.name(), property.name())) return false;
    property.text().set("(secret)");
    return true;
}

/* Notices are sent unescaped: one that is no XML is shown as it came. */
void print(const Options &options, const std::string &notice, Follower &follower)
{
    pugi::xml_document document;
    const bool parsed = document.load_buffer(notice.data(), notice.size());
    const bool has_secret = parsed && hide_secret(document, follower);
    if (options.output.format == Format::xml) {
        if (has_secret) {
            document.save(std::cout, "", pugi::format_raw);
            std::cout << std::endl;
        } else {
            std::cout << notice << std::flush;
        }
    } else if (!parsed) {
        std::cout << shown(notice.substr(0, notice.find_last_not_of('\n') + 1)) << std::endl;
    } else if (options.output.format == Format::json) {
        std::cout << json_of(event_of(document.document_element())) << std::endl;
    } else {
        const Event event = event_of(document.document_element());
        std::cout << shown(sentence_of(event)) << '\n';
        if (event.class_name.empty()) follower.print_changes();
        std::cout << std::flush;
    }
}

/* The daemon may be starting again: that takes a moment, and then longer if it keeps failing. */
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
    return invocation.words.empty()
               ? 0
               : static_cast<int>(number_in("COUNT", invocation.words[0], most));
}

} // namespace

int watch(const Invocation &invocation)
{
    const Options &options = invocation.options;
    const int count = count_of(invocation);
    Device device(options.timeout_ms());
    Follower follower(options); /* looks first: what changes from then on is told */
    device.subscribe();
    for (int seen = 0; count == 0 || seen < count;) {
        if (const std::optional<std::string> notice = device.next_notice()) {
            print(options, *notice, follower);
            if (!std::cout) return misused;
            seen++;
        } else if (invocation.has("--once")) {
            fail(no_answer, {"the daemon dropped the connection"});
        } else {
            subscribe_again(device);
        }
    }
    return done;
}

} // namespace vorn::client
