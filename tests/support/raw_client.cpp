/* SPDX-License-Identifier: MIT */
/* The client that the system tests let misbehave. */
#include "support/raw_client.h"

#include <chrono>
#include <cstring>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace vorn::tests {

namespace {

using Clock = std::chrono::steady_clock;
constexpr int patience_ms = 20000;

bool readable(int descriptor, Clock::time_point end)
{
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now());
    pollfd one = {descriptor, POLLIN, 0};
    return left.count() > 0 && poll(&one, 1, static_cast<int>(left.count())) == 1;
}

int closed_again(int descriptor)
{
    close(descriptor);
    return -1;
}

} // namespace

RawClient::RawClient(const std::string &name) : descriptor_(socket(AF_UNIX, SOCK_STREAM, 0))
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path + 1, name.data(), name.size());
    if (connect(descriptor_, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0) {
        descriptor_ = closed_again(descriptor_);
    }
}

RawClient::RawClient(int port) : descriptor_(socket(AF_INET, SOCK_STREAM, 0))
{
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (connect(descriptor_, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0) {
        descriptor_ = closed_again(descriptor_);
    }
}

RawClient::~RawClient()
{
    if (descriptor_ >= 0) close(descriptor_);
}

bool RawClient::connected() const
{
    return descriptor_ >= 0;
}

bool RawClient::send(const std::string &bytes)
{
    for (std::size_t sent = 0; sent < bytes.size();) {
        const ssize_t count =
            ::send(descriptor_, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (count <= 0) return false;
        sent += static_cast<std::size_t>(count);
    }
    return true;
}

std::string RawClient::receive_all()
{
    return receive_until("");
}

std::string RawClient::receive_until(const std::string &text)
{
    const auto end = Clock::now() + std::chrono::milliseconds(patience_ms);
    std::string received;

    while (readable(descriptor_, end)) {
        char block[65536];
        const ssize_t count = recv(descriptor_, block, sizeof block, 0);
        if (count <= 0) break;
        received.append(block, static_cast<std::size_t>(count));
        if (!text.empty() && received.find(text) != std::string::npos) break;
    }
    return received;
}

bool RawClient::closed_within(int seconds)
{
    const auto end = Clock::now() + std::chrono::seconds(seconds);
    char byte;
    return readable(descriptor_, end) && recv(descriptor_, &byte, 1, 0) <= 0;
}

void RawClient::half_close()
{
    shutdown(descriptor_, SHUT_WR);
}

void RawClient::reset()
{
    const linger at_once = {1, 0};
    setsockopt(descriptor_, SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once);
    descriptor_ = closed_again(descriptor_);
}

int RawClient::descriptor() const
{
    return descriptor_;
}

std::string native(std::uint32_t number)
{
    std::string bytes(sizeof number, '\0');
    std::memcpy(bytes.data(), &number, sizeof number);
    return bytes;
}

std::string framed(const std::string &request)
{
    return native(static_cast<std::uint32_t>(request.size())) + request;
}

} // namespace vorn::tests
