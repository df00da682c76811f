/* SPDX-License-Identifier: MIT */
#pragma once

#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <vorn-client.h>

#include "lsql.h"

namespace vorn::client {

/* The daemon of this machine. What goes wrong on the way to it is thrown as a Failure. */
class Device {
public:
    explicit Device(int timeout_ms);

    /* One request, one reply, both as they are. */
    std::string ask(const std::string &request);
    /* Without properties: all of them. Nothing where there is no such class. */
    std::vector<Instance> select(const Target &target,
                                 std::initializer_list<const char *> properties = {});
    /* The line that the plugin answers, with its newline. */
    std::string inform(const std::string &object, const std::vector<std::string> &parameters);

    void subscribe();
    /* The next notice; nothing when the connection is lost. Waits for ever. */
    std::optional<std::string> next_notice();

private:
    struct Delete {
        void operator()(vorn_client *client) const { vorn_client_delete(client); }
    };

    void expect_ok(int status) const;
    /* Does the call again while a daemon is starting that has not opened its door yet. */
    template <typename Call>
    int when_it_listens(Call call) const;

    std::unique_ptr<vorn_client, Delete> client_;
    int timeout_ms_;
};

} // namespace vorn::client
