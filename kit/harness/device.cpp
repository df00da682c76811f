/* SPDX-License-Identifier: MIT */
/* The device under test: the real binary, its real paths, inside the sandbox. */
#include "vorn-test/device.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <sstream>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vorn-client.h>

namespace vorn::test {

namespace {

constexpr char console_file[] = "/dev/console";
constexpr auto deadline = std::chrono::seconds(60);
constexpr unsigned int limit_seconds = 240;

class Client {
public:
    vorn_client *get() const { return client_.get(); }

private:
    std::unique_ptr<vorn_client, decltype(&vorn_client_delete)> client_{vorn_client_new(),
                                                                        vorn_client_delete};
};

/* A client of the daemon, or of whoever took its name; -1 without one. */
int connect_to_daemon()
{
    constexpr char name[] = "vorn_sock_lsql";
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::copy_n(name, sizeof name, address.sun_path + 1);
    const int client = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const auto *plain = reinterpret_cast<const sockaddr *>(&address);
    if (connect(client, plain, sizeof address) == 0) return client;
    close(client);
    return -1;
}

/*
 * An empty request, which leaves no trace in the log. That its connection is closed shows that the
 * loop runs.
 */
bool is_serving()
{
    constexpr std::uint32_t empty = 0;
    const int client = connect_to_daemon();
    char byte;
    const bool closed = send(client, &empty, sizeof empty, MSG_NOSIGNAL) == sizeof empty &&
                        recv(client, &byte, 1, 0) == 0;
    close(client);
    return closed;
}

/* Process 1 dies of no signal that it does not handle, not even of its own alarm. */
void give_up(int)
{
    constexpr char message[] = "the test hangs\n";
    if (write(STDERR_FILENO, message, sizeof message - 1) < 0) _exit(125);
    _exit(124);
}

} // namespace

void Device::SetUp()
{
    ASSERT_EQ(getpid(), 1) << "tests of plugins run as process 1 of the sandbox only";
    std::signal(SIGALRM, give_up);
    alarm(limit_seconds);
    std::filesystem::create_directories(plugin_folder);
}

void Device::TearDown()
{
    if (getpid() != 1) return;
    if (daemon_ > 0) shut_down();
    kill(-1, SIGKILL);
    while (waitpid(-1, nullptr, 0) > 0)
        continue;
}

void Device::write_file(const std::string &path, const std::string &text)
{
    std::ofstream(path, std::ios::binary) << text;
}

void Device::write_script(const std::string &path, const std::string &lines)
{
    write_file(path, "#!/bin/sh\n" + lines + "\n");
    std::filesystem::permissions(path, std::filesystem::perms::owner_all);
}

std::string Device::read_file(const std::string &path)
{
    std::ifstream file(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), {});
}

bool Device::exists(const std::string &path)
{
    return std::filesystem::exists(std::filesystem::symlink_status(path));
}

void Device::start(const std::vector<std::string> &options, void (*prepare)())
{
    std::ofstream(console_file, std::ios::trunc).flush();
    daemon_ = fork();
    if (daemon_ == 0) become_daemon(options, prepare);
}

void Device::become_daemon(const std::vector<std::string> &options, void (*prepare)()) const
{
    setsid();
    const int errors = open(error_file, O_WRONLY | O_CREAT | O_TRUNC, 0644);
    dup2(errors, STDOUT_FILENO);
    dup2(errors, STDERR_FILENO);
    syscall(SYS_close_range, STDERR_FILENO + 1, ~0u,
            0U); /* not every C library has a name for it */
    for (const auto &[name, value] : environment_)
        setenv(name.c_str(), value.c_str(), 1);
    if (prepare) prepare();

    std::vector<char *> arguments = {const_cast<char *>("vorn")};
    for (const std::string &option : options) {
        arguments.push_back(const_cast<char *>(option.c_str()));
    }
    arguments.push_back(nullptr);
    execv(daemon_file, arguments.data());
    _exit(127);
}

void Device::set_environment(const std::string &name, const std::string &value)
{
    environment_[name] = value;
}

void Device::boot(const std::vector<std::string> &options, void (*prepare)())
{
    start(options, prepare);
    await_service();
}

/*
 * The log says that everything is up a little before the loop runs; what the last child's start
 * does to SIGTERM is over only then. An empty request leaves no trace in the log.
 */
void Device::await_service()
{
    ASSERT_TRUE(console_shows("Initialization complete.\n")) << standard_error();
    EXPECT_TRUE(is_serving());
}

/* A signal that comes just before the loop waits is seen after that wait: a client ends it. */
void Device::shut_down()
{
    kill(daemon_, SIGTERM);
    close(connect_to_daemon());
    const int status = exit_status();
    EXPECT_EQ(status, 0) << console() << standard_error();
}

int Device::wait_for_exit(pid_t pid)
{
    int status = -1;
    EXPECT_TRUE(comes_true([&] { return waitpid(pid, &status, WNOHANG) == pid; }))
        << "process " << pid << " did not end\n"
        << console();
    return status;
}

int Device::exit_status()
{
    const int status = wait_for_exit(std::exchange(daemon_, -1));
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

void Device::adopt_daemon()
{
    wait_for_exit(daemon_);
    await_service();
    daemon_ = std::stoi(read_file("/var/run/vorn.pid"));
}

std::string Device::console()
{
    return read_file(console_file);
}

std::string Device::console_without_ids()
{
    constexpr char digits[] = "0123456789";
    std::string text = console();
    for (const std::string mark : {"pid = ", "pid ", "("}) {
        for (auto at = text.find(mark); at != std::string::npos; at = text.find(mark, at + 1)) {
            const auto start = at + mark.size();
            const auto end = std::min(text.find_first_not_of(digits, start), text.size());
            if (end > start) text.replace(start, end - start, "N");
        }
    }
    return text;
}

std::string Device::standard_error()
{
    return read_file(error_file);
}

int Device::count(const std::string &text, const std::string &wanted)
{
    int times = 0;
    for (auto at = text.find(wanted); at != std::string::npos; at = text.find(wanted, at + 1)) {
        times++;
    }
    return times;
}

testing::AssertionResult Device::console_shows(const std::string &text, int times)
{
    if (comes_true([&] { return count(console(), text) >= times; })) {
        return testing::AssertionSuccess();
    }
    return testing::AssertionFailure()
           << "the console does not show \"" << text << "\" " << times << " times, but:\n"
           << console();
}

testing::AssertionResult Device::comes_true(const std::function<bool()> &condition)
{
    const auto end = std::chrono::steady_clock::now() + deadline;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) {
            return testing::AssertionFailure() << "did not come true in time";
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return testing::AssertionSuccess();
}

std::string Device::inform(const std::string &object, const std::vector<const char *> &parameters)
{
    const Client client;
    char *reply = nullptr;
    EXPECT_EQ(vorn_client_inform(client.get(), object.c_str(), parameters.data(), parameters.size(),
                                 &reply),
              VORN_CLIENT_OK)
        << vorn_client_error(client.get());
    const std::unique_ptr<char, decltype(&std::free)> owned(reply, &std::free);
    return reply ? reply : "";
}

std::string Device::lsql(const std::string &request)
{
    const Client client;
    char *reply = nullptr;
    EXPECT_EQ(vorn_client_request(client.get(), request.data(), request.size(), &reply, nullptr),
              VORN_CLIENT_OK)
        << vorn_client_error(client.get());
    const std::unique_ptr<char, decltype(&std::free)> owned(reply, &std::free);
    return reply ? reply : "";
}

std::string Device::shell(const std::string &command)
{
    std::FILE *output = popen(command.c_str(), "r");
    std::ostringstream text;
    for (int byte; (byte = std::fgetc(output)) != EOF;)
        text << static_cast<char>(byte);
    pclose(output);
    return text.str();
}

} // namespace vorn::test
