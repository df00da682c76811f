/* SPDX-License-Identifier: MIT */
#pragma once

#include "api/sockets/notify_sender.h"
#include "api/sockets/notify_state.h"
#include "core/base/file.h"
#include "support/log.h"
#include "vorn/eloop.h"
#include "vorn/notify.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace vorn::tests {

/* One connection: what the daemon holds of it, and the subscriber's end. */
struct Subscriber {
    explicit Subscriber(int buffer = 0)
    {
        int ends[2];
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
        if (buffer > 0) setsockopt(ends[1], SOL_SOCKET, SO_SNDBUF, &buffer, sizeof buffer);
        fcntl(ends[0], F_SETFL, O_NONBLOCK);
        fcntl(ends[1], F_SETFL, O_NONBLOCK);
        own = Fd(ends[0]);
        fd = ends[1];
        stream = fdopen(ends[1], "w+");
        EXPECT_TRUE(notify_begin_connection(fd, stream));
    }
    ~Subscriber()
    {
        if (!stream) return;
        notify_remove_connection(fd);
        notify_end_connection(fd, stream);
    }

    void say(const std::string &bytes)
    {
        EXPECT_EQ(write(own.get(), bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
        notify_read(fd, nullptr, stream);
    }
    /* The daemon has closed its end. */
    void ended() { stream = nullptr; }
    std::string heard()
    {
        std::string text;
        char block[65536];
        for (ssize_t count; (count = read(own.get(), block, sizeof block)) > 0;) {
            text.append(block, static_cast<std::size_t>(count));
        }
        return text;
    }

    Fd own;
    int fd;
    std::FILE *stream;
};

inline std::string message(const std::string &text)
{
    return "<?xml version=\"1.0\"?>" + text + "\n" + std::string(1, '\0');
}

class Notices : public testing::Test {
protected:
    Notices()
    {
        eloop_init(nullptr);
        conf_change_counter = 1;
    }
    ~Notices() override
    {
        EXPECT_EQ(open_notify_connections, 0);
        eloop_destroy();
        eloop_init(nullptr);
        conf_change_counter = 1;
    }

    CapturedLog log;
};

} // namespace vorn::tests
