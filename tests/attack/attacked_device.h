/* SPDX-License-Identifier: MIT */
#pragma once

#include "support/device.h"
#include "support/raw_client.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <string>

#include <arpa/inet.h>
#include <unistd.h>

namespace vorn::tests {

inline constexpr char stream_door[] = "vorn_sock_lsql_stream";
inline constexpr char inform_door[] = "vorn_sock_inform";

/* How long an attack that has no end of its own goes on; ./dev attack sets it. */
inline std::chrono::seconds attack_time()
{
    const char *seconds = std::getenv("VORN_ATTACK_SECONDS");
    return std::chrono::seconds(seconds ? std::atoi(seconds) : 2);
}

/* A board with a radio and a provider that saves, up and serving. */
class AttackedDevice : public Device {
protected:
    void SetUp() override
    {
        Device::SetUp();
        /* Whoever asks for a long attack says how long it may take. */
        if (const char *limit = std::getenv("VORN_TEST_SECONDS")) {
            alarm(static_cast<unsigned int>(std::strtoul(limit, nullptr, 10)));
        }
        install_plugin("board.vorn");
        install_plugin("rescan.vorn");
        install_plugin("save.vorn");
        write_file("/etc/config/config.xml",
                   "<config><Radio name=\"r0\"><channel>6</channel></Radio></config>");
    }

    /* The answer to a request that may get none, and is not waited for much longer than promised.
     */
    static std::string answer_to(const std::string &request)
    {
        RawClient client(lsql_door);
        client.send(framed(request));
        return client.receive_all();
    }

    /* One of the requests of a client that stays. */
    static std::string numbered(const std::string &request)
    {
        return native(1) + native(htonl(static_cast<std::uint32_t>(request.size()))) + request;
    }

    static std::string answer_on_stream(const std::string &request)
    {
        constexpr std::size_t head_size = 8; /* the number, and a length that is not looked at */
        RawClient client(stream_door);
        client.send(numbered(request));
        client.half_close();
        const std::string reply = client.receive_all();
        return reply.size() < head_size ? "" : reply.substr(head_size);
    }

    static std::string change_of(const std::string &channel, const std::string &origin = "attack")
    {
        return "<lsql origin=\"" + origin +
               "\"><write-transaction><update><Radio name=\"r0\"><channel>" + channel +
               "</channel></Radio></update></write-transaction></lsql>";
    }

    static std::string channel()
    {
        return answer_to("<lsql><select><Radio name=\"r0\"><channel/></Radio></select></lsql>");
    }

    static void expect_service()
    {
        EXPECT_NE(answer_to(change_of("11")).find("<rc>0</rc><counter>1</counter>"),
                  std::string::npos);
        EXPECT_NE(channel().find("<channel>11</channel>"), std::string::npos);
    }
};

} // namespace vorn::tests
