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

/* The class "log" tells where its program writes. */
std::string log_file(Device &device)
{
    Request request(Request::Kind::plain);
    request.select({"log", {}, {}}, {"file"});
    const std::vector<Outcome> outcomes = parse_answer(device.ask(request.text()));
    const bool is_told = !outcomes.empty() && !outcomes[0].instances.empty();
    const std::string file = is_told ? outcomes[0].instances[0].value("file") : "";
    if (!is_told) throw Failure(differs, "this device does not tell where its log is");
    if (file.empty()) throw Failure(differs, "the log has no file: see \"vornctl show log\"");
    return file;
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
    const std::string name = log_file(device);
    std::ifstream file(name);
    if (!file) throw Failure(misused, name + ": " + std::strerror(errno));
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
