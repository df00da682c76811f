/* SPDX-License-Identifier: MIT */
/* The command line to a running daemon. */
#include <algorithm>
#include <clocale>
#include <cstdio>
#include <iostream>
#include <sstream>

#include "arguments.h"
#include "device.h"
#include "effects.h"
#include "failure.h"
#include "pager.h"
#include "text.h"

namespace {

using namespace vorn::client;

/* Output that nobody could take was not done. */
int flushed(int status)
{
    std::cout.flush();
    if (std::cout && std::fflush(stdout) == 0) return status;
    std::cerr << "vornctl: the output can't be written\n";
    return status == done ? static_cast<int>(misused) : status;
}

/* Until somebody deals with it; a daemon that does not tell is what the command itself reports. */
void warn_of_broken(const Options &options)
try {
    constexpr int patience_ms = 1000;
    Device device(std::min(options.timeout_ms(), patience_ms));
    const std::optional<Instance> saves = saves_of(device);
    const std::string broken = saves ? saves->value("broken") : "";
    if (broken.empty()) return;
    const std::string boot = saves->value("boot");
    const bool has_another = boot == "nothing" ? saves->value("result") == "saved" : !boot.empty();
    std::cerr << "vornctl: warning: this device "
              << (has_another ? "has started without its configuration once"
                              : "runs without its configuration")
              << ", which could not be read and is kept as " << shown(broken)
              << "; repair it and \"vornctl import\" it, or configure it again, then \"vornctl "
                 "forget-broken\" ends this warning\n";
} catch (const Failure &) {
    return;
}

int run(const std::vector<std::string> &words)
try {
    const Invocation invocation = parse_command_line(words);
    if (!invocation.verb) return flushed(done);
    if (invocation.verb->warns) warn_of_broken(invocation.options);
    std::optional<Pager> pager;
    if (invocation.verb->is_long) pager.emplace();
    const int status = invocation.verb->run(invocation);
    pager.reset();
    return flushed(status);
} catch (const Misuse &misuse) {
    std::cerr << misuse.what() << "\nRun with --help for more information.\n";
    return misuse.status();
} catch (const Failure &failure) {
    std::cout.flush();
    std::istringstream lines(failure.what());
    std::cerr << "vornctl: ";
    for (std::string line; std::getline(lines, line);)
        std::cerr << shown(line) << '\n';
    return failure.status();
}

} // namespace

int main(int argc, char **argv)
{
    std::setlocale(LC_CTYPE, "");
    try {
        return run({argv + 1, argv + argc});
    } catch (const std::exception &error) {
        std::fprintf(stderr, "vornctl: %s\n", error.what());
    }
    return no_answer;
}
