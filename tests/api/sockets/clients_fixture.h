/* SPDX-License-Identifier: MIT */
#pragma once

#include "api/sockets/client.h"
#include "api/sockets/clients.h"
#include "core/base/text.h"
#include "support/allocation.h"
#include "support/log.h"
#include "vorn/eloop.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include <sys/socket.h>

#include "door_loop.h"
#include "doors.h"

namespace vorn::tests {

/* What the doors were asked, in that order, and what happens within the answer. */
inline std::vector<std::string> served;
inline std::function<void(const std::string &)> within = [](const std::string &) {};

/* A request is its own reply; a number asks for so many bytes, "change" or
 * "rights" to be told of the next. */
inline void echo(Client &client, char *text)
{
    const AllocationsAllowed allowed;
    served.emplace_back(text);
    within(text);
    const std::size_t size = std::strtoul(text, nullptr, 10);
    client.reply(vorn::copy_of(size > 0 ? std::string(size, 'x').c_str() : text));
    if (std::string(text) == "change") client.awaits(vorn::Awaited::change);
    if (std::string(text) == "rights") client.awaits(vorn::Awaited::rights);
}

inline constexpr Door echoing = {"Test", "test accept", "test fcntl", 4, nullptr, false, echo};
inline constexpr Door echoing_on = {"Lasting", "test accept", "test fcntl", 8, nullptr, true, echo};

inline std::string framed(const std::string &text)
{
    return word(static_cast<std::uint32_t>(text.size())) + text;
}

inline std::string numbered(std::uint32_t number, const std::string &text)
{
    return network_word(number) + network_word(static_cast<std::uint32_t>(text.size())) + text;
}

/* A door for one request and one for those who stay, in a loop of the test's. */
class Doors : public testing::Test, protected DoorLoop {
protected:
    Doors() : listener_(own("doors")), lasting_listener_(own("lasting_doors"))
    {
        served.clear();
        within = [](const std::string &) {};
        EXPECT_TRUE(vorn::look_after_clients());
        for (const auto &[name, at] :
             {std::pair(&listener_, &echoing), {&lasting_listener_, &echoing_on}})
            eloop_register_read_sock(name->fd.get(), arrive, const_cast<Door *>(at), nullptr);
    }
    static void arrive(int listener, void *at, void *)
    {
        vorn::take_client(listener, *static_cast<const Door *>(at));
    }

    static Fd come(const std::string &bytes = "")
    {
        Fd client = connect_to(own("doors"));
        EXPECT_EQ(send_to(client, bytes), bytes.size());
        return client;
    }
    static Fd stay(const std::string &bytes = "")
    {
        Fd client = connect_to(own("lasting_doors"));
        EXPECT_EQ(send_to(client, bytes), bytes.size());
        return client;
    }
    static std::vector<Fd> come(unsigned int count, const std::string &bytes)
    {
        std::vector<Fd> clients;
        for (unsigned int i = 0; i < count; i++) {
            clients.push_back(come(bytes));
            run();
        }
        return clients;
    }
    /* What is there to be read, and whether there will be no more. */
    static std::string heard(const Fd &client)
    {
        std::string text;
        char block[65536];
        ssize_t count;
        while ((count = recv(client.get(), block, sizeof block, MSG_DONTWAIT)) > 0)
            text.append(block, static_cast<std::size_t>(count));
        return text + (count == 0 ? "|" : "");
    }

    struct Name {
        explicit Name(const std::string &name) : fd(vorn_socket_get_unix(name.c_str(), 1)) {}
        Fd fd;
    };
    CapturedLog log{0};
    Name listener_;
    Name lasting_listener_;
};

} // namespace vorn::tests
