/* SPDX-License-Identifier: MIT */
/* The client that the system tests let misbehave. */
#include "support/raw_client.h"

#include <chrono>
#include <cstring>
#include <utility>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace vorn::tests {

namespace {

using Clock = std::chrono::steady_clock;
constexpr int patience_ms = 60000;

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

sockaddr_un abstract_address(const std::string &name)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path + 1, name.data(), name.size());
    return address;
}

sockaddr_in loopback_address(int port)
{
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

template <typename Address>
int connect_to(int descriptor, const Address &address)
{
    const auto *plain = reinterpret_cast<const sockaddr *>(&address);
    return connect(descriptor, plain, sizeof address) == 0 ? descriptor : closed_again(descriptor);
}

template <typename Address>
int listen_at(int descriptor, const Address &address)
{
    const int yes = 1;
    setsockopt(descriptor, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    const auto *plain = reinterpret_cast<const sockaddr *>(&address);
    if (bind(descriptor, plain, sizeof address) != 0) return closed_again(descriptor);
    return listen(descriptor, 5) == 0 ? descriptor : closed_again(descriptor);
}

} // namespace

RawClient::RawClient(const std::string &name)
    : descriptor_(connect_to(socket(AF_UNIX, SOCK_STREAM, 0), abstract_address(name)))
{}

RawClient::RawClient(int port)
    : descriptor_(connect_to(socket(AF_INET, SOCK_STREAM, 0), loopback_address(port)))
{}

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

    while (text.empty() || kept_.find(text) == std::string::npos) {
        char block[65536];
        const ssize_t count =
            readable(descriptor_, end) ? recv(descriptor_, block, sizeof block, 0) : 0;
        if (count <= 0) return std::exchange(kept_, "");
        kept_.append(block, static_cast<std::size_t>(count));
    }
    const auto length = kept_.find(text) + text.size();
    const std::string received = kept_.substr(0, length);
    kept_.erase(0, length);
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

Listener::Listener(const std::string &name)
    : descriptor_(listen_at(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0), abstract_address(name)))
{}

Listener::Listener(int port)
    : descriptor_(listen_at(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0), loopback_address(port)))
{}

Listener::Listener(Listener &&other) noexcept : descriptor_(std::exchange(other.descriptor_, -1))
{}

Listener &Listener::operator=(Listener &&other) noexcept
{
    std::swap(descriptor_, other.descriptor_);
    return *this;
}

Listener::~Listener()
{
    if (descriptor_ >= 0) close(descriptor_);
}

int Listener::accept_client()
{
    return accept(descriptor_, nullptr, nullptr);
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
