/* SPDX-License-Identifier: MIT */
#pragma once

#include "api/query_fixture.h"
#include "core/base/file.h"
#include "core/peer.h"

#include <string>

#include <sys/socket.h>

#include "access/access.h"

namespace vorn::tests {

/*
 * A running configuration with the classes of rules beside the others. Requests come from a process
 * of root, who may speak for anybody, and so asks as if he was one.
 */
class AccessTest : public QueryTest {
protected:
    explicit AccessTest(void (*add_providers)() = nullptr) : QueryTest(add_providers)
    {
        int ends[2];
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
        one_ = Fd(ends[0]);
        other_ = Fd(ends[1]);
        declare_rules();
        put_rules_in_force(vorn_config_get_running());
    }
    ~AccessTest() override
    {
        clear();
        running_config = vorn_instances_new();
        note_missing_rules(false, running_config);
        put_rules_in_force(running_config);
    }

    static void declare_rules()
    {
        ClassBuilder(access_rule_class)
            .persistent()
            .with("order")
            .with("subject")
            .with("class")
            .with("properties")
            .with("operations")
            .with("effect")
            .add_resolved();
        ClassBuilder(access_default_class, VORN_CLASS_SINGLETON)
            .persistent()
            .with("read")
            .with("write")
            .with("gate-user")
            .add_resolved();
    }

    static void rule(const char *name, int order, const char *subject, const char *target,
                     const char *properties, const char *operations, const char *effect)
    {
        put(access_rule_class, name,
            {{"order", std::to_string(order).c_str()},
             {"subject", subject},
             {"class", target},
             {"properties", properties},
             {"operations", operations},
             {"effect", effect}});
        put_rules_in_force(vorn_config_get_running());
    }
    static void defaults(const char *read, const char *write)
    {
        put(access_default_class, nullptr, {{"read", read}, {"write", write}});
        put_rules_in_force(vorn_config_get_running());
    }

    /* The attribute goes into the first element. */
    static std::string spoken_for(const std::string &user, const std::string &request)
    {
        return request.substr(0, request.find_first_of(" >/")) + " for-user=\"" + user + "\"" +
               request.substr(request.find_first_of(" >/"));
    }
    std::string ask_as(const std::string &user, const std::string &request)
    {
        return ask_as_peer(spoken_for(user, request));
    }
    std::string ask_as_peer(const std::string &request)
    {
        const PeerOfRequest asked_for_by(one_.get());
        PeerOfRequest::asks();
        return ask(request);
    }

    /* The same of a client that stays. */
    std::string ask_as_who_stays(const std::string &request)
    {
        const PeerOfRequest asked_for_by(one_.get());
        PeerOfRequest::asks(true);
        std::string answer = ask(request);
        has_awaited = PeerOfRequest::awaits();
        return answer;
    }
    vorn::Awaited has_awaited = vorn::Awaited::nothing;

private:
    Fd one_;
    Fd other_;
};

} // namespace vorn::tests
