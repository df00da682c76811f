/* SPDX-License-Identifier: MIT */
#ifndef VORN_TEST_DEVICE_H
#define VORN_TEST_DEVICE_H

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <string>
#include <vector>

#include <sys/types.h>

/**
 * A device to throw away, for tests of plugins with GoogleTest: the real daemon with the plugin in
 * the sandbox, with the device's real paths around it.
 *
 *     using Radios = vorn::test::Device;
 *
 *     TEST_F(Radios, RestartWhenTheChannelChanges)
 *     {
 *         stand_in("/usr/sbin/hostapd");
 *         boot();
 *
 *         lsql("<lsql><update><radio name=\"r0\"><channel>6</channel></radio></update></lsql>");
 *
 *         EXPECT_THAT(commands_run(), ElementsAre("/usr/sbin/hostapd -B /etc/hostapd.conf"));
 *     }
 *
 * vorn_add_plugin_test() registers each test so that it runs as process 1 of a sandbox of its own,
 * with the daemon, the plugins and the configuration in their places. Whatever a test writes, runs
 * and mounts is gone after it.
 */
namespace vorn::test {

/** Where the daemon is. */
inline constexpr char daemon_file[] = "/usr/sbin/vorn";
/** Where the daemon looks for plugins. */
inline constexpr char plugin_folder[] = "/usr/lib/vorn/plugins/";
/** The saved configuration. */
inline constexpr char startup_file[] = "/etc/config/config.xml";
/** Where the daemon's standard output and error go. */
inline constexpr char error_file[] = "/tmp/vorn.stderr";

/**
 * A daemon that still runs after a test must end with status 0; whatever else the test started is
 * killed. Orphans, such as a daemonised daemon, become children of the test.
 */
class Device : public testing::Test {
protected:
    /** To be called by a fixture that overrides it. */
    void SetUp() override;
    /** The same. */
    void TearDown() override;

    /** Replaces what is there. */
    static void write_file(const std::string &path, const std::string &text);
    /** The same for a shell script, which can be executed. */
    static void write_script(const std::string &path, const std::string &lines);
    /** Empty for a file that is not there. */
    static std::string read_file(const std::string &path);
    /** Also a link that leads nowhere. */
    static bool exists(const std::string &path);

    /**
     * Puts a program in place that notes how it is run, then runs the lines of shell script. A path
     * is taken by it, whether something is there or not; a name without a slash is what the daemon
     * finds first in its PATH. To be called before boot() for a name.
     */
    void stand_in(const std::string &program, const std::string &lines = "exit 0");
    /** What the stand-ins were run with, oldest first, as one line each: program and arguments. */
    static std::vector<std::string> commands_run();
    /** The argument lists of one stand-in, given as it was to stand_in(), without the program. */
    static std::vector<std::vector<std::string>> runs_of(const std::string &program);
    /** Forgets what was run so far. */
    static void forget_runs();

    /** What the daemon is started with, beside the test's own environment. */
    void set_environment(const std::string &name, const std::string &value);
    /**
     * Starts the daemon in a session of its own; its output goes to error_file. The preparations
     * are made in the new process, before it becomes the daemon.
     */
    void start(const std::vector<std::string> &options, void (*prepare)() = nullptr);
    /** The same, and waits until it serves. */
    void boot(const std::vector<std::string> &options = {"-f"}, void (*prepare)() = nullptr);
    /** For a daemon that was started in some other way. */
    void await_service();
    /** Ends the daemon with SIGTERM and expects status 0. */
    void shut_down();
    /** The wait status of any child. */
    int wait_for_exit(pid_t pid);
    /** The daemon's exit status, or the negative number of the signal that ended it. */
    int exit_status();
    /** The daemon that was started last; -1 when none runs. */
    pid_t daemon_pid() const { return daemon_; }
    /** After daemonising: the process that the pid file names. */
    void adopt_daemon();

    /** The log, as the console showed it since the last start. */
    static std::string console();
    /** The same with every process id written as N. */
    static std::string console_without_ids();
    /** What the daemon wrote there since its start. */
    static std::string standard_error();
    /** How often one text is in the other. */
    static int count(const std::string &text, const std::string &wanted);
    /** Waits until the text shows on the console, once or the given number of times. */
    static testing::AssertionResult console_shows(const std::string &text, int times = 1);
    /** Waits for something that happens by itself; gives up after a minute. */
    static testing::AssertionResult comes_true(const std::function<bool()> &condition);

    /** One LSQL request; the reply, or "" with a failure when there is none. */
    static std::string lsql(const std::string &request);
    /** Informs a plugin, parameters as "name=value"; the line that it answers. */
    static std::string inform(const std::string &object,
                              const std::vector<const char *> &parameters = {});

    /** Runs a shell command and gives its standard output. */
    static std::string shell(const std::string &command);

private:
    [[noreturn]] void become_daemon(const std::vector<std::string> &options,
                                    void (*prepare)()) const;

    pid_t daemon_ = -1;
    std::map<std::string, std::string> environment_;
};

} // namespace vorn::test

#endif
