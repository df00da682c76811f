/* SPDX-License-Identifier: MIT */
/*
 * Programs that only note how they are run. A path is taken by a mount over it; where nothing is,
 * its folder is covered by one of links first. Names go to a folder that the daemon's PATH begins
 * with.
 */
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

#include <sys/mount.h>

#include "vorn-test/device.h"

namespace vorn::test {

namespace fs = std::filesystem;

namespace {

constexpr char folder[] = "/tmp/stand-ins";
constexpr char notes[] = "/tmp/stand-ins/.runs";
constexpr char end_of_word = '\x1F';
constexpr char end_of_run = '\x1E';

/* One write for each run: two programs that start together would mix theirs otherwise. */
std::string script_of(const std::string &program, const std::string &lines)
{
    return "printf '%s\\037' '" + program + "' \"$@\" \"$(printf '\\036')\" >>" + notes + "\n" +
           lines;
}

void mount_over(const fs::path &what, const fs::path &place)
{
    ASSERT_EQ(mount(what.c_str(), place.c_str(), nullptr, MS_BIND | MS_REC, nullptr), 0)
        << place << ": " << std::strerror(errno);
}

/* What is mounted right in the folder: earlier stand-ins, or the daemon itself. */
std::vector<fs::path> mounts_in(const fs::path &place)
{
    constexpr int place_field = 5;
    std::vector<fs::path> found;
    std::ifstream table("/proc/self/mountinfo");
    for (std::string line; std::getline(table, line);) {
        std::istringstream fields(line);
        std::string field;
        for (int i = 0; i < place_field; i++)
            fields >> field;
        if (fs::path(field).parent_path() == place) found.emplace_back(field);
    }
    return found;
}

/*
 * The same entries, as links to where the sandbox keeps the real ones. What is mounted in the
 * folder would be hidden, so it comes along.
 */
void cover_folder(const fs::path &place)
{
    const fs::path links = folder + place.string() + ".links";
    const fs::path real = "/run/host" + place.string();
    fs::create_directories(links);
    for (const fs::directory_entry &entry : fs::directory_iterator(real))
        fs::create_symlink(entry.path(), links / entry.path().filename());
    for (const fs::path &mounted : mounts_in(place)) {
        const fs::path kept = links / mounted.filename();
        fs::remove(kept);
        if (fs::is_directory(mounted)) {
            fs::create_directory(kept);
        } else {
            std::ofstream(kept).flush();
        }
        mount_over(mounted, kept);
    }
    mount_over(links, place);
}

std::vector<std::vector<std::string>> all_runs()
{
    std::vector<std::vector<std::string>> runs;
    std::ifstream file(notes, std::ios::binary);
    for (std::string run; std::getline(file, run, end_of_run) && !file.eof();) {
        if (!runs.empty()) run.erase(0, 1);
        std::istringstream words(run);
        std::vector<std::string> &found = runs.emplace_back();
        for (std::string word; std::getline(words, word, end_of_word);)
            found.push_back(word);
    }
    return runs;
}

} // namespace

void Device::stand_in(const std::string &program, const std::string &lines)
{
    const bool is_path = program.find('/') != std::string::npos;
    const fs::path script = fs::path(folder) / (is_path ? "at" + program : program);
    fs::create_directories(script.parent_path());
    write_script(script, script_of(program, lines));
    if (!is_path) {
        const char *path = std::getenv("PATH");
        set_environment("PATH", std::string(folder) + ":" + (path ? path : "/usr/bin:/bin"));
        return;
    }
    const fs::path place =
        fs::weakly_canonical(fs::path(program).parent_path()) / fs::path(program).filename();
    if (fs::is_symlink(place)) fs::remove(place);
    if (!fs::exists(place) && !std::ofstream(place)) {
        cover_folder(place.parent_path());
        std::ofstream(place).flush();
    }
    mount_over(script, place);
}

std::vector<std::string> Device::commands_run()
{
    std::vector<std::string> commands;
    for (const auto &run : all_runs()) {
        std::string &command = commands.emplace_back();
        for (const std::string &word : run)
            command += (command.empty() ? "" : " ") + word;
    }
    return commands;
}

std::vector<std::vector<std::string>> Device::runs_of(const std::string &program)
{
    std::vector<std::vector<std::string>> runs;
    for (const auto &run : all_runs()) {
        if (!run.empty() && run[0] == program) runs.emplace_back(run.begin() + 1, run.end());
    }
    return runs;
}

void Device::forget_runs()
{
    fs::remove(notes);
}

} // namespace vorn::test
