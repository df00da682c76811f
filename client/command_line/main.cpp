/* SPDX-License-Identifier: MIT */
/* The command line to a running daemon. */
#include <clocale>
#include <cstdio>
#include <iostream>

#include "arguments.h"
#include "failure.h"

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

int run(const std::vector<std::string> &words)
try {
    const Invocation invocation = parse_command_line(words);
    return flushed(invocation.verb ? invocation.verb->run(invocation) : static_cast<int>(done));
} catch (const Misuse &misuse) {
    std::cerr << misuse.what() << "\nRun with --help for more information.\n";
    return misuse.status();
} catch (const Failure &failure) {
    std::cout.flush();
    std::cerr << "vornctl: " << failure.what() << '\n';
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
