/* SPDX-License-Identifier: MIT */
/* vornctl status: how the device is doing, in one look, and what is not as it should be. */
#include <algorithm>
#include <array>
#include <iostream>

#include "device.h"
#include "effects.h"
#include "failure.h"
#include "health.h"
#include "schema.h"
#include "text.h"
#include "verb.h"

namespace vorn::client {

namespace {

/* What the device tells of one class, as far as it has it. */
struct Source {
    const char *class_name;
    std::array<const char *, 4> properties; /* all, where none is named */
};

constexpr Source sources[] = {
    {"daemon", {}},
    {"save", {}},
    {"trial", {"state", "holder", "until", "remaining"}},
    {"generation", {"time", "proven", "state"}},
    {"history", {"result", "unproven", "upgrade", "taken"}},
    {"plugin", {}},
};

class Status {
public:
    Status(Device &device, const Schema &schema) : schema_(schema)
    {
        Request request(Request::Kind::plain);
        request.ask_for_commit();
        for (const Source &each : sources) {
            if (schema.find(each.class_name)) select(request, each.class_name, each.properties);
        }
        for (const auto &[class_name, property] : states_in(schema)) {
            if (class_name != "plugin") select(request, class_name, {property.c_str()});
        }
        if (request.empty()) fail(differs, {"this device does not tell how it is doing"});
        const std::string answer = device.ask(request.text());
        commit_ = commit_of(answer);
        told_.outcomes = parse_answer(answer);
        problems_ = told_.problems();
    }

    bool is_healthy() const { return problems_.empty(); }
    const std::vector<std::string> &problems() const { return problems_; }

    Rows lines(bool all, Format format) const
    {
        Rows lines;
        const Instance *daemon = told_.first_of("daemon");
        if (daemon) {
            for (const char *each : {"version", "since", "uptime"})
                lines.push_back(row({each, daemon->value(each)}));
        }
        if (!commit_.empty()) lines.push_back(row({"commit", commit_}));
        if (daemon && daemon->has("schema"))
            lines.push_back(row({"schema", daemon->value("schema")}));
        add_generation(lines);
        add_upgrade(lines);
        add_trial(lines);
        add_save(lines);
        if (daemon) {
            for (const char *each : {"clients", "subscribers"})
                lines.push_back(row({each, daemon->value(each)}));
            add_left_behind(lines, *daemon, format);
        }
        if (all) add_details(lines);
        return lines;
    }

private:
    void select(Request &request, const std::string &class_name,
                const decltype(Source::properties) &properties)
    {
        std::vector<std::string> there;
        for (const char *each : properties) {
            if (each && schema_.find_property(class_name, each)) there.emplace_back(each);
        }
        if (there.empty() && properties[0]) return;
        request.select({class_name, {}, {}}, there);
        told_.asked.push_back({class_name, there.size() == 1 ? there[0] : ""});
    }

    void add_generation(Rows &lines) const
    {
        const std::vector<Instance> *generations = told_.all_of("generation");
        if (!generations || generations->empty()) return;
        const auto newest = std::max_element(generations->begin(), generations->end(),
                                             [](const Instance &left, const Instance &right) {
                                                 return number(left) < number(right);
                                             });
        const std::string &proven = newest->value("proven");
        lines.push_back(row({"generation", concat({newest->called(),
                                                   proven.empty() ? "" : ", proven: ", proven})}));
    }

    /* Nothing while there is nothing to be said. */
    void add_upgrade(Rows &lines) const
    {
        const Instance *history = told_.first_of("history");
        if (!history) return;
        const std::string &upgrade = history->value("upgrade");
        if (!upgrade.empty() && upgrade != "none") lines.push_back(row({"upgrade", upgrade}));
        const std::string &taken = history->value("taken");
        if (!taken.empty()) lines.push_back(row({"taken", taken}));
    }

    /* Programs have relied on the bytes alone since before the instances were told. */
    static void add_left_behind(Rows &lines, const Instance &daemon, Format format)
    {
        const std::string bytes = concat({daemon.value("left-behind"), " bytes"});
        const std::string &instances = daemon.value("left-behind-instances");
        if (format != Format::json && !instances.empty()) {
            lines.push_back(row({"left-behind", concat({bytes, " of ", instances, " instances"})}));
            return;
        }
        lines.push_back(row({"left-behind", bytes}));
        if (!instances.empty()) lines.push_back(row({"left-behind-instances", instances}));
    }

    static long number(const Instance &generation)
    {
        return std::strtol(generation.called().c_str(), nullptr, 10);
    }

    void add_trial(Rows &lines) const
    {
        const Instance *trial = told_.first_of("trial");
        if (!trial) return;
        const std::string &state = trial->value("state");
        lines.push_back(
            row({"trial", state == "pending" ? concat({"pending, of ", trial->value("holder"), ", ",
                                                       trial->value("remaining"), " s left"})
                                             : state}));
    }

    void add_save(Rows &lines) const
    {
        const Instance *save = told_.first_of("save");
        if (!save) return;
        const std::string &time = save->value("time");
        lines.push_back(
            row({"save", concat({save->value("result"), time.empty() ? "" : ", ", time})}));
    }

    void add_details(Rows &lines) const
    {
        if (const Instance *daemon = told_.first_of("daemon"))
            lines.push_back(row({"kept", daemon->value("kept")}));
        const std::vector<Instance> *plugins = told_.all_of("plugin");
        if (!plugins) return;
        for (const Instance &each : *plugins) {
            const std::string &schema = each.value("schema");
            lines.push_back(
                row({title_of("plugin", each.called()),
                     concat({each.value("state"), schema.empty() ? "" : ", schema ", schema})}));
        }
    }

    const Schema &schema_;
    Answers told_;
    std::string commit_;
    std::vector<std::string> problems_;
};

void print_json(const Status &status, bool all)
{
    JsonWriter json(json_indentation);
    json.open_object();
    json.member("health", status.is_healthy() ? "good" : "bad");
    json.name("problems");
    json.open_list();
    for (const std::string &each : status.problems())
        json.text(each);
    json.close_list();
    for (const Row &line : status.lines(all, Format::json))
        json.member(line[0], line[1]);
    json.close_object();
    std::cout << json.document() << '\n';
}

void print_for_people(const Status &status, const Output &output, bool all)
{
    output.print_lines(status.is_healthy() ? "healthy" : "not healthy",
                       status.lines(all, Format::table), true);
    for (const std::string &each : status.problems())
        std::cout << "! " << shown(each) << '\n';
}

} // namespace

int status(const Invocation &invocation)
{
    const Options &options = invocation.options;
    Device device(options.timeout_ms());
    const Schema schema = Schema::required_of(device);
    const Status status(device, schema);
    if (options.output.format == Format::json) {
        print_json(status, invocation.has("-v"));
    } else {
        print_for_people(status, options.output, invocation.has("-v"));
    }
    return status.is_healthy() ? done : differs;
}

} // namespace vorn::client
