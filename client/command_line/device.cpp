/* SPDX-License-Identifier: MIT */
#include "device.h"

#include <cstdlib>

#include "failure.h"

namespace vorn::client {

namespace {

struct Free {
    void operator()(char *text) const { std::free(text); }
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

} // namespace

Device::Device(int timeout_ms) : client_(vorn_client_new()), timeout_ms_(timeout_ms)
{
    if (!client_) throw std::bad_alloc();
    vorn_client_set_timeout(client_.get(), timeout_ms);
}

void Device::expect_ok(int status) const
{
    if (status != VORN_CLIENT_OK) {
        throw Failure(exit_status(status), vorn_client_error(client_.get()));
    }
}

std::string Device::ask(const std::string &request)
{
    char *reply = nullptr;
    std::size_t length = 0;
    const int status =
        vorn_client_request(client_.get(), request.data(), request.size(), &reply, &length);
    const std::unique_ptr<char, Free> owned(reply);
    if (status == VORN_CLIENT_NO_ANSWER) {
        throw Failure(no_answer, "no answer: the request is not well-formed XML");
    }
    expect_ok(status);
    return std::string(reply, length);
}

std::string Device::inform(const std::string &object, const std::vector<std::string> &parameters)
{
    std::vector<const char *> texts;
    texts.reserve(parameters.size());
    for (const std::string &parameter : parameters)
        texts.push_back(parameter.c_str());
    char *reply = nullptr;
    const int status =
        vorn_client_inform(client_.get(), object.c_str(), texts.data(), texts.size(), &reply);
    const std::unique_ptr<char, Free> owned(reply);
    expect_ok(status);
    return reply;
}

void Device::subscribe()
{
    expect_ok(vorn_client_subscribe(client_.get()));
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
