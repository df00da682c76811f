/* SPDX-License-Identifier: MIT */
/*
 * OpenMetrics. A label is the name of an object that somebody configured, or of a provider: never a
 * text that a station on the air may choose.
 */
#include "metrics.h"

#include <cctype>
#include <cstdlib>
#include <fstream>
#include <map>
#include <sstream>

#include "bounds.h"
#include "commits.h"

namespace vorn::gate {

namespace {

constexpr char type_of_metrics[] = "application/openmetrics-text; version=1.0.0; charset=utf-8";

bool is_number(const std::string &value)
{
    char *end = nullptr;
    std::strtod(value.c_str(), &end);
    return !value.empty() && *end == '\0' && std::isdigit(static_cast<unsigned char>(value[0]));
}

std::string label_of(const std::string &value)
{
    std::string label;
    for (const char each : value) {
        if (each == '\\' || each == '"') label += '\\';
        label += each == '\n' ? ' ' : each;
    }
    return label;
}

class Page {
public:
    void family(const char *name, const char *type, const char *help)
    {
        text_ +=
            "# TYPE " + std::string(name) + " " + type + "\n# HELP " + name + " " + help + "\n";
    }

    /* What is no number is not there. */
    void sample(const std::string &name, const char *label, const std::string &label_value,
                const std::string &value)
    {
        if (!is_number(value) || series_ >= most_series) return;
        series_++;
        text_ += name;
        if (*label) text_ += "{" + std::string(label) + "=\"" + label_of(label_value) + "\"}";
        text_ += " " + value + "\n";
    }

    void sample(const std::string &name, long long value)
    {
        sample(name, "", "", std::to_string(value));
    }

    std::string end() { return text_ + "# EOF\n"; }

private:
    std::string text_;
    std::size_t series_ = 0;
};

/* A line "NAME:   123 kB" of a file of the kernel, in bytes; empty when there is none. */
std::string kernel_bytes(const std::string &path, const std::string &name)
{
    constexpr long long kibi = 1024;
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);)
        if (line.starts_with(name + ":"))
            return std::to_string(std::atoll(line.c_str() + name.size() + 1) * kibi);
    return {};
}

std::string daemon_status()
{
    int pid = 0;
    std::ifstream("/var/run/vorn.pid") >> pid;
    return "/proc/" + std::to_string(pid) + "/status";
}

std::string first_word_of(const char *path)
{
    std::string word;
    std::ifstream(path) >> word;
    return word;
}

void add_memory(Page &page)
{
    page.family("device_memory_bytes", "gauge", "Memory of the device.");
    for (const auto &[label, name] :
         {std::pair("total", "MemTotal"), {"available", "MemAvailable"}})
        page.sample("device_memory_bytes", "kind", label, kernel_bytes("/proc/meminfo", name));
    page.family("program_memory_bytes", "gauge", "Resident memory of a program.");
    page.sample("program_memory_bytes", "program", "vorn", kernel_bytes(daemon_status(), "VmRSS"));
    page.sample("program_memory_bytes", "program", "vorn-gate",
                kernel_bytes("/proc/self/status", "VmRSS"));
}

/* Whoever may not read something of the class "system" is not told the same here. */
void add_device(Page &page, const client::Instance &system)
{
    if (!system.value("uptime").empty()) {
        page.family("device_uptime_seconds", "gauge", "Time since the device started.");
        page.sample("device_uptime_seconds", "", "", first_word_of("/proc/uptime"));
    }
    if (!system.value("load").empty()) {
        page.family("device_load", "gauge", "Processes that could run, over the last minute.");
        page.sample("device_load", "", "", first_word_of("/proc/loadavg"));
    }
    if (!system.value("memory-total").empty()) add_memory(page);
}

void add_commits(Page &page, const std::vector<client::Instance> &commits)
{
    if (commits.empty()) return;
    const client::Instance &last = commits.back();
    page.family("commits", "counter", "Changes since the daemon started.");
    page.sample("commits_total", "", "", last.called());
    page.family("last_commit_microseconds", "gauge", "What the last change took.");
    for (const char *phase : {"parse", "refresh", "validate", "apply", "save"})
        page.sample("last_commit_microseconds", "phase", phase, last.value(phase));

    std::map<std::string, long long> microseconds;
    for (const client::Instance &each : commits) {
        std::istringstream parts(each.value("providers"));
        for (std::string part; std::getline(parts, part, ',');) {
            std::istringstream words(part);
            std::string name;
            long long instances = 0;
            long long took = 0;
            if (words >> name >> instances >> took) microseconds[name] = took;
        }
    }
    page.family("provider_last_microseconds", "gauge",
                "What each provider took when it was last concerned, of the last 64 changes.");
    for (const auto &[name, took] : microseconds)
        page.sample("provider_last_microseconds", "provider", name, std::to_string(took));
}

void add_save(Page &page, const std::vector<client::Instance> &saves)
{
    if (saves.empty() || saves[0].value("result").empty()) return;
    page.family("saved", "gauge", "1 when the last save succeeded, 0 when it failed or is held.");
    const std::string &result = saves[0].value("result");
    page.sample("saved", result == "failed" || result == "held" ? 0 : 1);
}

struct Counter {
    const char *property;
    const char *family;
    const char *help;
};

constexpr Counter counters[] = {
    {"rx-bytes", "interface_receive_bytes", "Bytes received."},
    {"tx-bytes", "interface_transmit_bytes", "Bytes sent."},
    {"rx-packets", "interface_receive_packets", "Packets received."},
    {"tx-packets", "interface_transmit_packets", "Packets sent."},
};

void add_interfaces(Page &page, const std::vector<client::Instance> &interfaces)
{
    for (const Counter &each : counters) {
        page.family(each.family, "counter", each.help);
        for (const client::Instance &interface : interfaces)
            page.sample(std::string(each.family) + "_total", "interface", interface.called(),
                        interface.value(each.property));
    }
}

/* A radio counts as up when its state says that it runs; stations are a number. */
void add_radios(Page &page, const std::vector<client::Instance> &radios,
                const std::vector<client::Instance> &stations)
{
    if (radios.empty()) return;
    page.family("radio_up", "gauge", "1 when the radio is on the air.");
    for (const client::Instance &each : radios) {
        const std::string &state = each.value("state");
        const std::string is_up = state.starts_with("running") ? "1" : "0";
        page.sample("radio_up", "radio", each.called(), state.empty() ? state : is_up);
    }
    std::map<std::string, int> counts;
    for (const client::Instance &each : stations)
        if (each.value("unknown").empty()) counts[each.value("network")]++;
    page.family("stations", "gauge", "Stations that are associated, for each network.");
    for (const auto &[network, count] : counts)
        page.sample("stations", "network", network, std::to_string(count));
}

} // namespace

Answer get_metrics(Desk &desk, const Caller &caller, const Request &)
{
    const auto schema = desk.schemas.of(desk.device, caller.user);
    const auto all_of = [&](const char *class_name, const std::vector<std::string> &properties) {
        return schema->schema.find(class_name)
                   ? select(desk, caller, {class_name, {}, {}}, properties)
                   : std::vector<client::Instance>();
    };
    Page page;
    page.family("up", "gauge", "1 when the daemon answers.");
    page.sample("up", 1);
    for (const client::Instance &each : all_of("system", {"uptime", "load", "memory-total"}))
        add_device(page, each);
    add_commits(page, last_commits(desk, caller));
    add_save(page, all_of("save", {"result"}));
    add_interfaces(page, all_of("interface", {"rx-bytes", "tx-bytes", "rx-packets", "tx-packets"}));
    add_radios(page, all_of("radio", {"state"}), all_of("station", {"network", "unknown"}));
    return {200, type_of_metrics, page.end()};
}

} // namespace vorn::gate
