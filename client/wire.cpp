/* SPDX-License-Identifier: MIT */
/*
 * The daemon's three doors as a client sees them. A framed request is a length in the machine's
 * own byte order and the text out, everything up to the end of the stream in; an inform request
 * has a version before that. Notices come one behind the other, each ended by a NUL byte.
 */
#include "wire.h"

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace vorn::client {

namespace {

using Clock = std::chrono::steady_clock;

constexpr int notify_port = 8001;
constexpr std::uint32_t inform_version = 0;

class Connection {
public:
    explicit Connection(int family) : descriptor_(socket(family, SOCK_STREAM | SOCK_CLOEXEC, 0)) {}
    Connection(const Connection &) = delete;
    ~Connection()
    {
        if (descriptor_ >= 0) close(descriptor_);
    }

    template <typename Address>
    bool open(const Address &address)
    {
        const auto *plain = reinterpret_cast<const sockaddr *>(&address);
        return descriptor_ >= 0 && connect(descriptor_, plain, sizeof address) == 0;
    }

    /* From here on nothing takes longer than this in total. */
    bool limit(int seconds)
    {
        deadline_ = Clock::now() + std::chrono::seconds(seconds);
        return fcntl(descriptor_, F_SETFL, O_NONBLOCK) == 0;
    }

    Failure send_all(const std::string &bytes)
    {
        for (std::size_t sent = 0; sent < bytes.size();) {
            const ssize_t count =
                send(descriptor_, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
            if (count > 0) {
                sent += static_cast<std::size_t>(count);
            } else if (const Failure failure = wait_for(POLLOUT); failure != Failure::none) {
                return failure;
            }
        }
        return Failure::none;
    }

    Failure receive_all(std::string &bytes)
    {
        for (;;) {
            const ssize_t count = receive_some(bytes);
            if (count == 0) return Failure::none;
            if (count > 0) continue;
            if (const Failure failure = wait_for(POLLIN); failure != Failure::none) return failure;
        }
    }

    /* What recv says. */
    ssize_t receive_some(std::string &bytes)
    {
        char block[65536];
        const ssize_t count = recv(descriptor_, block, sizeof block, 0);
        if (count > 0) bytes.append(block, static_cast<std::size_t>(count));
        return count;
    }

private:
    /* Called right after a failed call: a reason other than "not now" is final. */
    Failure wait_for(short events)
    {
        if (errno != EAGAIN && errno != EINTR) return Failure::broken;
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline_ - Clock::now());
        if (left.count() <= 0) return Failure::too_slow;
        pollfd one = {descriptor_, events, 0};
        poll(&one, 1, static_cast<int>(left.count()));
        return Failure::none;
    }

    int descriptor_;
    Clock::time_point deadline_;
};

/* Abstract: a zero byte first, and the padding behind the name is part of the name. */
sockaddr_un abstract_address(const char *name)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::snprintf(address.sun_path + 1, sizeof address.sun_path - 1, "%s", name);
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

std::string native(std::uint32_t number)
{
    std::string bytes(sizeof number, '\0');
    std::memcpy(bytes.data(), &number, sizeof number);
    return bytes;
}

std::string framed(const std::string &text)
{
    return native(static_cast<std::uint32_t>(text.size())) + text;
}

Exchange exchange(const char *door, const std::string &bytes, int limit_seconds)
{
    Connection connection(AF_UNIX);
    if (!connection.open(abstract_address(door)) || !connection.limit(limit_seconds)) {
        return {Failure::not_there, std::strerror(errno)};
    }
    Exchange exchange;
    /* A daemon that refuses the request closes early: what it had to say may still be there. */
    const Failure sending = connection.send_all(bytes);
    if (sending == Failure::too_slow) return {sending, ""};
    exchange.failure = connection.receive_all(exchange.reply);
    if (sending != Failure::none && exchange.reply.empty()) exchange.failure = sending;
    return exchange;
}

} // namespace

Exchange exchange_lsql(const std::string &request, int limit_seconds)
{
    return exchange("vorn_sock_lsql", framed(request), limit_seconds);
}

Exchange exchange_inform(const std::string &body, int limit_seconds)
{
    return exchange("vorn_sock_inform", native(inform_version) + framed(body), limit_seconds);
}

Exchange watch_notices(const std::function<bool(const std::string &notice)> &take)
{
    Connection connection(AF_INET);
    if (!connection.open(loopback_address(notify_port))) {
        return {Failure::not_there, std::strerror(errno)};
    }
    /* The first byte, whatever it is, makes a subscriber. */
    if (connection.send_all("+") != Failure::none) return {Failure::broken, ""};

    std::string bytes;
    while (connection.receive_some(bytes) > 0) {
        for (auto end = bytes.find('\0'); end != std::string::npos; end = bytes.find('\0')) {
            if (!take(bytes.substr(0, end))) return {};
            bytes.erase(0, end + 1);
        }
    }
    return {Failure::broken, ""};
}

} // namespace vorn::client
