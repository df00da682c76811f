/* SPDX-License-Identifier: MIT */
/* vornctl watch: the daemon's notices as they come. */
#include <chrono>
#include <iostream>
#include <thread>

#include "commands.h"
#include "device.h"
#include "failure.h"
#include <nlohmann/json.hpp>

namespace vorn::client {

namespace {

struct Watch {
    int count = 0; /* 0 is for ever */
    bool once = false;
};

std::string time_of_day()
{
    const std::time_t now = std::time(nullptr);
    char text[16] = "";
    std::strftime(text, sizeof text, "%H:%M:%S", std::localtime(&now));
    return text;
}

nlohmann::ordered_json json_of(const pugi::xml_node &root)
{
    nlohmann::ordered_json json = {{"event", root.name()}};
    if (const pugi::xml_attribute origin = root.attribute("origin")) {
        json["origin"] = origin.value();
    }
    const pugi::xml_node object = root.first_child();
    if (object.type() != pugi::node_element) {
        json["number"] = root.text().as_int();
        return json;
    }
    json["class"] = object.name();
    if (const pugi::xml_attribute name = object.attribute("name")) json["name"] = name.value();
    json["property"] = object.first_child().name();
    json["value"] = object.first_child().text().get();
    return json;
}

std::string sentence_of(const nlohmann::ordered_json &event)
{
    std::string text = time_of_day() + "  ";
    if (event.contains("class")) {
        text += event["class"].get<std::string>() + " ";
        if (event.contains("name")) text += "\"" + event["name"].get<std::string>() + "\" ";
        text += event["property"].get<std::string>() + " = " + event["value"].get<std::string>();
    } else {
        text += "configuration changed (" + std::to_string(event["number"].get<int>()) + ")";
    }
    if (event.contains("origin")) text += " by " + event["origin"].get<std::string>();
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
        std::cout << json_of(document.document_element()).dump() << std::endl;
    } else {
        std::cout << shown(sentence_of(json_of(document.document_element()))) << std::endl;
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

int watch(const Options &options, const Watch &watch)
{
    Device device(options.timeout_ms());
    device.subscribe();
    for (int seen = 0; watch.count == 0 || seen < watch.count;) {
        if (const std::optional<std::string> notice = device.next_notice()) {
            print(options, *notice);
            if (!std::cout) return misused;
            seen++;
        } else if (watch.once) {
            throw Failure(no_answer, "the daemon dropped the connection");
        } else {
            subscribe_again(device);
        }
    }
    return done;
}

} // namespace

void add_watch_command(CLI::App &program, const Options &options, int &status)
{
    CLI::App *command = program.add_subcommand("watch", "change notices as they come");
    auto what = std::make_shared<Watch>();
    command->add_option("COUNT", what->count, "how many; without it for ever")
        ->type_name("")
        ->check(CLI::Range(1, 1000000).description(""));
    command->add_flag("--once", what->once, "end when the daemon ends, don't wait for the next");
    command->callback([&options, &status, what] { status = watch(options, *what); });
}

} // namespace vorn::client
