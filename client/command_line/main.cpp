/* SPDX-License-Identifier: MIT */
/* The command line to a running daemon. */
#include <clocale>
#include <cstdio>
#include <iostream>
#include <map>

#include "commands.h"
#include "failure.h"

namespace {

using namespace vorn::client;

constexpr char footer[] =
    "Exit status: 0 done; 1 refused by the daemon; 2 misused; 3 no daemon, or no answer in time;\n"
    "4 connection closed without an answer; 5 nothing there that was asked for, or a difference.\n"
    "The manual: vornctl(1).";

void add_options(CLI::App &program, Options &options)
{
    const std::map<std::string, Colour> colours = {
        {"auto", Colour::automatic}, {"always", Colour::always}, {"never", Colour::never}};
    CLI::Option *json = program.add_flag_callback(
        "--json", [&options] { options.output.format = Format::json; }, "results as JSON");
    program
        .add_flag_callback(
            "--xml", [&options] { options.output.format = Format::xml; }, "results as XML")
        ->excludes(json);
    program.add_option("--color", options.output.colour, "auto, always or never")
        ->transform(CLI::CheckedTransformer(colours).description(""))
        ->type_name("WHEN");
    program.add_option("--timeout", options.timeout_seconds, "how long the daemon may take")
        ->check(CLI::Range(0.001, 86400.0).description(""))
        ->type_name("SECONDS");
    program.add_option("--origin", options.origin, "who changes notices name; \"\" for nobody")
        ->type_name("NAME");
    program.set_version_flag("--version", "vornctl " VORN_VERSION);
}

int report(const Failure &failure)
{
    std::cout.flush();
    std::cerr << "vornctl: " << failure.what() << '\n';
    return failure.status();
}

/* The parser would only say that a command is missing. */
int report(const CLI::App &program, const CLI::ParseError &error)
{
    const std::vector<std::string> unknown = program.remaining();
    if (program.get_subcommands().empty() && !unknown.empty() && error.get_exit_code() != 0) {
        return report(
            Failure(misused, "unknown command \"" + unknown[0] + "\"; vornctl --help lists them"));
    }
    return program.exit(error) == 0 ? done : misused;
}

/* Output that nobody could take was not done. */
int flushed(int status)
{
    std::cout.flush();
    if (std::cout && std::fflush(stdout) == 0) return status;
    std::cerr << "vornctl: the output can't be written\n";
    return status == done ? static_cast<int>(misused) : status;
}

int run(int argc, char **argv)
{
    Options options;
    int status = done;
    CLI::App program("Reads and changes the configuration of this device.", "vornctl");
    program.footer(footer);
    program.require_subcommand(1);
    program.fallthrough();
    add_options(program, options);
    add_show_commands(program, options, status);
    add_change_commands(program, options, status);
    add_configuration_commands(program, options, status);
    add_watch_command(program, options, status);
    add_raw_commands(program, options, status);
    add_complete_command(program, options, status);
    try {
        program.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        return flushed(report(program, error));
    } catch (const Failure &failure) {
        return report(failure);
    }
    return flushed(status);
}

} // namespace

int main(int argc, char **argv)
{
    std::setlocale(LC_CTYPE, "");
    try {
        return run(argc, argv);
    } catch (const std::exception &error) {
        std::fprintf(stderr, "vornctl: %s\n", error.what());
    }
    return no_answer;
}
