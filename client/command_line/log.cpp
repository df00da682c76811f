/* SPDX-License-Identifier: MIT */
/* vornctl log: what happened last on the device. */
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>

#include "device.h"
#include "failure.h"
#include "text.h"
#include "verb.h"

namespace vorn::client {

namespace {

/* The class "log" tells where its program writes, be it that it was set or is its own. */
Instance log_of(Device &device)
{
    const std::vector<Instance> logs = device.select({"log", {}, {}});
    if (logs.empty()) fail(differs, {"this device does not tell where its log is"});
    return logs[0];
}

std::string file_of(const Instance &log)
{
    const std::string &written_to = log.value("written-to");
    const std::string &file = written_to.empty() ? log.value("file") : written_to;
    if (file.empty()) fail(differs, {"the log has no file: see \"vornctl show log\""});
    return file;
}

[[noreturn]] void refuse_unreadable(const Instance &log, const std::string &name, int error)
{
    const std::string &status = log.value("status");
    if (error == ENOENT && status == "stopped")
        fail(differs, {"there is no log yet: \"vornctl set log enabled=on\" starts it"});
    if (error == ENOENT && !status.empty() && status != "running")
        fail(differs, {"there is no log yet: ", log.value("state")});
    fail(misused, {name, ": ", std::strerror(error)});
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
    std::vector<std::string> last; /* a ring: the oldest line makes room for the newest */
    std::size_t count = 0;
    for (std::string line; std::getline(file, line); count++) {
        if (count < most) last.emplace_back();
        last[count % most].swap(line);
    }
    for (std::size_t i = 0; i < last.size(); i++)
        std::cout << shown(last[(count + i) % last.size()]) << '\n';
    return done;
}

} // namespace vorn::client
