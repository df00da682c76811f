/* SPDX-License-Identifier: MIT */
#include "device.h"

#include <algorithm>
#include <cctype>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <thread>

#include <dirent.h>

#include "failure.h"
#include "text.h"

namespace vorn::client {

namespace {

struct Free {
    void operator()(char *text) const { std::free(text); }
};

struct Close {
    void operator()(DIR *folder) const { closedir(folder); }
};

ExitStatus exit_status(int status)
{
    switch (status) {
    case VORN_CLIENT_NO_DAEMON:
    case VORN_CLIENT_TIMED_OUT:
        return not_there;
    case VORN_CLIENT_BAD_ARGUMENT:
        return misused;
    default:
        return no_answer;
    }
}

/* The daemon by its name, and alive: "PID (vorn) S ...". */
bool is_daemon(const std::string &process)
{
    std::ifstream stream(concat({"/proc/", process, "/stat"}));
    std::string line;
    std::getline(stream, line);
    const std::size_t name = line.find(" (vorn) ");
    return name != std::string::npos && line[name + sizeof " (vorn) " - 1] != 'Z';
}

bool is_starting()
{
    const std::unique_ptr<DIR, Close> processes(opendir("/proc"));
    while (const dirent *each = processes ? readdir(processes.get()) : nullptr) {
        if (std::isdigit(static_cast<unsigned char>(each->d_name[0])) && is_daemon(each->d_name))
            return true;
    }
    return false;
}

} // namespace

template <typename Call>
int Device::when_it_listens(Call call) const
{
    using namespace std::chrono_literals;
    constexpr int patience_ms = 5000;
    const auto deadline = std::chrono::steady_clock::now() +
                          std::chrono::milliseconds(std::min(timeout_ms_, patience_ms));
    int status = call();
    while (status == VORN_CLIENT_NO_DAEMON && std::chrono::steady_clock::now() < deadline &&
           is_starting()) {
        std::this_thread::sleep_for(50ms);
        status = call();
    }
    return status;
}

Device::Device(int timeout_ms) : client_(vorn_client_new()), timeout_ms_(timeout_ms)
{
    if (!client_) throw std::bad_alloc();
    vorn_client_set_timeout(client_.get(), timeout_ms);
}

void Device::expect_ok(int status) const
{
    if (status != VORN_CLIENT_OK) fail(exit_status(status), {vorn_client_error(client_.get())});
}

std::string Device::ask(const std::string &request)
{
    char *reply = nullptr;
    std::size_t length = 0;
    const int status = when_it_listens([&] {
        return vorn_client_request(client_.get(), request.data(), request.size(), &reply, &length);
    });
    const std::unique_ptr<char, Free> owned(reply);
    if (status == VORN_CLIENT_NO_ANSWER)
        fail(no_answer, {"no answer: the request is not well-formed XML"});
    expect_ok(status);
    return std::string(reply, length);
}

std::vector<Instance> Device::select(const Target &target,
                                     std::initializer_list<const char *> properties)
{
    Request request(Request::Kind::plain);
    request.select(target, {properties.begin(), properties.end()});
    const std::vector<Outcome> outcomes = parse_answer(ask(request.text()));
    return outcomes.empty() ? std::vector<Instance>() : outcomes[0].instances;
}

std::string Device::inform(const std::string &object, const std::vector<std::string> &parameters)
{
    std::vector<const char *> texts;
    texts.reserve(parameters.size());
    for (const std::string &parameter : parameters)
        texts.push_back(parameter.c_str());
    char *reply = nullptr;
    const int status = when_it_listens([&] {
        return vorn_client_inform(client_.get(), object.c_str(), texts.data(), texts.size(),
                                  &reply);
    });
    const std::unique_ptr<char, Free> owned(reply);
    expect_ok(status);
    return reply;
}

void Device::subscribe()
{
    expect_ok(when_it_listens([&] { return vorn_client_subscribe(client_.get()); }));
}

std::optional<std::string> Device::next_notice()
{
    char *notice = nullptr;
    vorn_client_set_timeout(client_.get(), -1);
    const int status = vorn_client_next_notice(client_.get(), &notice);
    vorn_client_set_timeout(client_.get(), timeout_ms_);
    const std::unique_ptr<char, Free> owned(notice);
    if (status == VORN_CLIENT_LOST) return std::nullopt;
    expect_ok(status);
    return notice;
}

} // namespace vorn::client
