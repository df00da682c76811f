/* SPDX-License-Identifier: MIT */
/*
 * One exchange on the LSQL socket: a length in the machine's own byte order and the request out,
 * everything up to the end of the stream in.
 */
#include "wire.h"

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstring>

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace vorn::client {

namespace {

using Clock = std::chrono::steady_clock;

class Connection {
public:
    explicit Connection(int limit_seconds)
        : descriptor_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)),
          deadline_(Clock::now() + std::chrono::seconds(limit_seconds))
    {}
    Connection(const Connection &) = delete;
    ~Connection()
    {
        if (descriptor_ >= 0) close(descriptor_);
    }

    bool open()
    {
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        /* Abstract: a zero byte first, and the padding behind the name is part of the name. */
        std::strcpy(address.sun_path + 1, "vorn_sock_lsql");
        const auto *plain = reinterpret_cast<const sockaddr *>(&address);
        if (descriptor_ < 0 || connect(descriptor_, plain, sizeof address) != 0) return false;
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
        char block[65536];
        for (;;) {
            const ssize_t count = recv(descriptor_, block, sizeof block, 0);
            if (count == 0) return Failure::none;
            if (count > 0) {
                bytes.append(block, static_cast<std::size_t>(count));
            } else if (const Failure failure = wait_for(POLLIN); failure != Failure::none) {
                return failure;
            }
        }
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

std::string framed(const std::string &request)
{
    const auto length = static_cast<std::uint32_t>(request.size());
    std::string message(sizeof length, '\0');
    std::memcpy(message.data(), &length, sizeof length);
    return message + request;
}

} // namespace

Exchange exchange_lsql(const std::string &request, int limit_seconds)
{
    Connection connection(limit_seconds);
    if (!connection.open()) return {Failure::not_there, std::strerror(errno)};

    Exchange exchange;
    /* A daemon that refuses the request closes early: what it had to say may still be there. */
    const Failure sending = connection.send_all(framed(request));
    if (sending == Failure::too_slow) return {sending, ""};
    exchange.failure = connection.receive_all(exchange.reply);
    return exchange;
}

} // namespace vorn::client
