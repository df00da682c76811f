/* SPDX-License-Identifier: MIT */
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include <sys/types.h>

namespace vorn::tests {

/* Where the daemon's standard error goes. */
inline constexpr char error_file[] = "/tmp/vorn.stderr";

/*
 * A throwaway device: the test program is process 1 of a sandbox, with the daemon's real paths
 * around it, so that the shipped binary can run as it would on the board. A daemon that still
 * runs after a test must end as it should, without a leak; whatever else the test started is
 * killed. Orphans (a daemonised daemon is one) become children of the test.
 */
class Device : public testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    static void write_file(const std::string &path, const std::string &text);
    /* The same for a shell script, which can be executed. */
    static void write_script(const std::string &path, const std::string &lines);
    static std::string read_file(const std::string &path);
    static bool exists(const std::string &path);
    /* A plugin that the build made, by its file name. */
    static void install_plugin(const std::string &name);

    /*
     * Starts the daemon in a session of its own; its standard error goes to a file. The
     * preparations are made in the new process, before it becomes the daemon.
     */
    void start(const std::vector<std::string> &options, void (*prepare)() = nullptr);
    /* The same, and waits until it serves. */
    void boot(const std::vector<std::string> &options = {"-f"}, void (*prepare)() = nullptr);
    /* For a daemon that was started in some other way. */
    void await_service();
    /* Ends the daemon with SIGTERM and expects status 0. */
    void shut_down();
    /* The wait status of any child. */
    int wait_for_exit(pid_t pid);
    /* The daemon's exit status, or the negative number of the signal that ended it. */
    int exit_status();
    pid_t daemon_pid() const { return daemon_; }
    /* After daemonising: the process that the pid file names. */
    void adopt_daemon();

    /* What the console showed since the last start. */
    static std::string console();
    /* The same with every process id written as N. */
    static std::string console_without_ids();
    static std::string standard_error();
    static int count(const std::string &text, const std::string &wanted);
    /* Waits until the text shows on the console, once or the given number of times. */
    static testing::AssertionResult console_shows(const std::string &text, int times = 1);
    static testing::AssertionResult comes_true(const std::function<bool()> &condition);

    static std::string lsql(const std::string &request);
    /* The line that the plugin answers. */
    static std::string inform(const std::string &object,
                              const std::vector<const char *> &parameters = {});

    /* Runs a shell command and gives its standard output. */
    static std::string shell(const std::string &command);

private:
    pid_t daemon_ = -1;
};

} // namespace vorn::tests
