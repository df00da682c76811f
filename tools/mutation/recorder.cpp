/* SPDX-License-Identifier: MIT */
/*
 * Notes of each test when it begins and, when it ends, how long it took and which changes it
 * reached. In a device it also takes away the files that the test made, so that the next one finds
 * the device new.
 */
#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "tools/mutation/guard.h"

namespace {

namespace fs = std::filesystem;

const std::vector<std::string> folders = {"/etc",      "/run",     "/tmp", "/usr/lib/vorn",
                                          "/usr/sbin", "/usr/bin", "/dev"};

std::vector<fs::path> files()
{
    std::vector<fs::path> found;
    std::error_code error;
    for (const std::string &folder : folders) {
        fs::recursive_directory_iterator entry(folder, error);
        for (; !error && entry != fs::end(entry); entry.increment(error)) {
            if (entry->path().parent_path() == "/run/host") entry.disable_recursion_pending();
            found.push_back(entry->path());
        }
    }
    return found;
}

/* Where a link leads; nowhere, if it is none. */
fs::path target(const fs::path &path)
{
    std::error_code error;
    return fs::read_symlink(path, error);
}

void note(const std::string &line)
{
    const long file = syscall(SYS_openat, AT_FDCWD, VORN_RECORD, O_WRONLY | O_APPEND);
    syscall(SYS_write, file, line.data(), line.size());
    syscall(SYS_close, file);
}

std::string name_of(const testing::TestInfo &test)
{
    return std::string(test.test_suite_name()) + "." + test.name();
}

class Recorder : public testing::EmptyTestEventListener {
    void OnTestStart(const testing::TestInfo &test) override
    {
        if (getpid() == 1 && there_.empty()) {
            for (const fs::path &path : files())
                there_[path] = target(path);
        }
        if (vorn_reached) note(name_of(test) + " started 0\n");
    }

    void OnTestEnd(const testing::TestInfo &test) override
    {
        if (getpid() == 1) clean();
        if (vorn_reached == nullptr) return;
        std::string line = name_of(test) + (test.result()->Failed() ? " failed " : " passed ") +
                           std::to_string(test.result()->elapsed_time());
        for (unsigned int number = 0; number < VORN_MUTANTS; number++) {
            if (vorn_reached[number]) line += " " + std::to_string(number);
            vorn_reached[number] = 0;
        }
        note(line + "\n");
    }

    void clean()
    {
        std::error_code error;
        for (const fs::path &path : files()) {
            if (there_.count(path) == 0) fs::remove_all(path, error);
        }
        for (const auto &[path, target_before] : there_) {
            if (target_before.empty() || target(path) == target_before) continue;
            fs::remove_all(path, error);
            fs::create_symlink(target_before, path, error);
        }
    }

    /* What there was at first, and where the links led. */
    std::map<fs::path, fs::path> there_;
};

const bool listens = [] {
    testing::UnitTest::GetInstance()->listeners().Append(new Recorder);
    return true;
}();

} // namespace
