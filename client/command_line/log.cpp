/* SPDX-License-Identifier: MIT */
/* vornctl log: what happened last on the device. */
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <fstream>
#include <iostream>

#include "device.h"
#include "failure.h"
#include "lsql.h"
#include "text.h"
#include "verb.h"

namespace vorn::client {

namespace {

/* The class "log" tells where its program writes, be it that it was set or is its own. */
Instance log_of(Device &device)
{
    Request request(Request::Kind::plain);
    request.select({"log", {}, {}}, {});
    const std::vector<Outcome> outcomes = parse_answer(device.ask(request.text()));
    if (outcomes.empty() || outcomes[0].instances.empty()) {
        throw Failure(differs, "this device does not tell where its log is");
    }
    return outcomes[0].instances[0];
}

std::string file_of(const Instance &log)
{
    const std::string written_to = log.value("written-to");
    const std::string file = written_to.empty() ? log.value("file") : written_to;
    if (file.empty()) throw Failure(differs, "the log has no file: see \"vornctl show log\"");
    return file;
}

[[noreturn]] void refuse_unreadable(const Instance &log, const std::string &name, int error)
{
    const std::string status = log.value("status");
    if (error == ENOENT && !status.empty() && status != "running") {
        throw Failure(differs, "there is no log yet: " +
                                   (status == "stopped" ? "\"vornctl set log enabled=on\" starts it"
                                                        : log.value("state")));
    }
    throw Failure(misused, name + ": " + std::strerror(error));
}

std::size_t line_count(const Invocation &invocation)
{
    constexpr std::size_t usual = 20;
    constexpr long most = 100000;
    if (invocation.words.empty()) return usual;
    return static_cast<std::size_t>(number_in("LINES", invocation.words[0], most));
}

} // namespace

int log(const Invocation &invocation)
{
    const std::size_t most = line_count(invocation);
    Device device(invocation.options.timeout_ms());
    const Instance log = log_of(device);
    const std::string name = file_of(log);
    std::ifstream file(name);
    if (!file) refuse_unreadable(log, name, errno);
    std::deque<std::string> last;
    for (std::string line; std::getline(file, line);) {
        last.push_back(line);
        if (last.size() > most) last.pop_front();
    }
    for (const std::string &line : last)
        std::cout << shown(line) << '\n';
    return done;
}

} // namespace vorn::client
