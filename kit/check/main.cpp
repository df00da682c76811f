/* SPDX-License-Identifier: MIT */
/*
 * vorn-plugin-check: what plugins would do to a daemon, and what a boot with them would make of its
 * configuration files, found out in a process to throw away.
 */
#include <csignal>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <string>
#include <vector>

#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include "boot.h"
#include "loading.h"
#include "migrated.h"
#include "report.h"

namespace {

using namespace vorn::check;

enum ExitStatus { well = 0, wrong = 1, misused = 2, crashed = 3 };

constexpr std::size_t name_room = 4096;

constexpr char help[] =
    "Usage: vorn-plugin-check [--startup FILE] [--default FILE] [--rescue FILE] PLUGIN...\n"
    "       vorn-plugin-check --migrate FILE [--to \"NAME=VERSION ...\"] PLUGIN...\n"
    "\n"
    "Loads the plugins in a throwaway process, as the daemon would, and reports what they\n"
    "register and everything that is wrong. A plugin that is well says nothing while it is\n"
    "loaded. No provider is called and no socket opened, but what vorn_plugin_init does is\n"
    "done, and validators run on the values of the files.\n"
    "\n"
    "Given configuration files it says what a boot with these plugins would skip, refuse or\n"
    "fall back to.\n"
    "\n"
    "--migrate prints what the plugins make of a configuration of other versions: of theirs, or\n"
    "of those after --to. What is lost on the way is said on the error output.\n"
    "\n"
    "Exit status: 0 all is well; 1 something is wrong, or lost; 2 misused; 3 a plugin crashed or\n"
    "hung.\n";

struct Arguments {
    std::vector<std::string> plugins;
    std::vector<std::pair<std::string, std::string>> files; /* startup, default, rescue */
    std::string migrated;                                   /* a file */
    std::string versions;                                   /* to which it is */
};

bool parse(int argc, char **argv, Arguments &arguments)
{
    constexpr const char *roles[] = {"startup", "default", "rescue"};
    constexpr const char *words[] = {"startup", "default", "rescue", "migrate", "to"};
    constexpr int all = std::size(words);
    std::string given[all];
    for (int i = 1; i < argc; i++) {
        const std::string word = argv[i];
        if (word.rfind("--", 0) != 0) {
            arguments.plugins.push_back(word);
            continue;
        }
        int role = 0;
        while (role < all && word.substr(2) != words[role])
            role++;
        if (role == all || ++i == argc) return false;
        given[role] = argv[i];
    }
    for (int role = 0; role < 3; role++) {
        if (!given[role].empty()) arguments.files.emplace_back(roles[role], given[role]);
    }
    arguments.migrated = given[3];
    arguments.versions = given[4];
    const bool is_migration = !arguments.migrated.empty();
    if (is_migration ? !arguments.files.empty() : !arguments.versions.empty()) return false;
    return !arguments.plugins.empty();
}

int check(const Arguments &arguments, char *current)
{
    const Loading loading = load(arguments.plugins, current, name_room);
    if (!arguments.migrated.empty()) {
        const bool is_well = report_problems(loading) == 0;
        return migrate_file(arguments.migrated, arguments.versions) && is_well ? well : wrong;
    }
    int problems = report(loading);
    std::vector<CheckedFile> files;
    for (const auto &[role, path] : arguments.files) {
        files.push_back(check_file(role, path));
        problems += report(files.back());
    }
    if (!files.empty()) report(simulate(files));
    std::printf("\n%d problem(s)\n", problems);
    return problems == 0 ? well : wrong;
}

int explain_death(int status, const char *current)
{
    const int signal_number = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
    const char *place = *current ? current : "a validator";
    if (signal_number == SIGALRM) {
        std::fprintf(stderr, "vorn-plugin-check: %s hangs\n", place);
    } else if (signal_number != 0) {
        std::fprintf(stderr, "vorn-plugin-check: %s crashed: %s\n", place,
                     strsignal(signal_number));
    } else {
        std::fprintf(stderr, "vorn-plugin-check: %s ended the process\n", place);
    }
    return crashed;
}

} // namespace

int main(int argc, char **argv)
{
    Arguments arguments;
    if (argc == 2 && std::strcmp(argv[1], "--help") == 0) {
        std::fputs(help, stdout);
        return well;
    }
    if (!parse(argc, argv, arguments)) {
        std::fputs(help, stderr);
        return misused;
    }
    /* What the child is at, and whether it came to its end, outlives it here. */
    struct Shared {
        char current[name_room];
        bool finished;
    };
    auto *shared = static_cast<Shared *>(
        mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    if (shared == MAP_FAILED) return crashed;

    const pid_t child = fork();
    if (child == 0) {
        const int status = check(arguments, shared->current);
        std::fflush(stdout);
        shared->finished = true;
        _exit(status);
    }
    int status = 0;
    if (child < 0 || waitpid(child, &status, 0) != child) return crashed;
    return shared->finished ? WEXITSTATUS(status) : explain_death(status, shared->current);
}
