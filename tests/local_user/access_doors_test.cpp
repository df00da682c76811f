/* SPDX-License-Identifier: MIT */
/* Rules at the doors beside that of requests: who informs plugins, and who hears notices. */
#include "core/base/file.h"
#include "support/raw_client.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <unistd.h>

#include "local_user/access_device.h"

namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using namespace vorn::tests;

constexpr char access_denied[] = "ERR Access denied\n";
constexpr char done[] = "OK\n";

class AccessToInform : public AccessDevice {
protected:
    void SetUp() override
    {
        AccessDevice::SetUp();
        install_plugin("rescan.vorn");
    }
    bool he_is_answered(const std::string &object, const std::string &words,
                        const std::vector<const char *> &parameters = {})
    {
        return as_local_user([&] { return inform(object, parameters) != words; }) == 0;
    }
};

TEST_F(AccessToInform, IsGivenObjectByObject)
{
    configure(rule("1", "user:1000", "inform:radio", "inform", "permit") +
              rule("2", "any", "inform:*", "*", "deny") + rule("3", "any", "*", "*", "permit"));
    boot();
    EXPECT_TRUE(he_is_answered("radio", done));
    EXPECT_TRUE(he_is_answered("kick", access_denied)) << "whether it is there or not";
    EXPECT_EQ(inform("kick"), "ERR no handler\n") << "root is not asked";
    change("<delete><access-rule name=\"1\"/></delete>");
    EXPECT_TRUE(he_is_answered("radio", access_denied));
    EXPECT_EQ(inform("radio"), done);
    EXPECT_EQ(count(console(), "rescan: "), 2) << "what is denied the plugin does not hear";
}

TEST_F(AccessToInform, IsNotGivenByRulesAboutClasses)
{
    configure(rule("1", "any", "*", "*", "permit") +
              "<access-default><write>deny</write></access-default>");
    boot();
    EXPECT_TRUE(he_is_answered("radio", access_denied));
    change("<update><access-default><write>permit</write></access-default></update>");
    EXPECT_TRUE(he_is_answered("radio", done));
    change("<insert>" + rule("0", "any", "inform:*", "read update", "deny") + "</insert>");
    EXPECT_TRUE(he_is_answered("radio", done)) << "of another operation";
}

TEST_F(AccessToInform, IsThatOfWhomTheGateSpeaksFor)
{
    configure(rule("1", "gate:eve", "inform:radio", "inform", "permit") +
              rule("2", "any", "inform:*", "inform", "deny"));
    boot();
    EXPECT_EQ(inform("radio", {"for-user=eve"}), done);
    EXPECT_EQ(inform("radio", {"for-user=bob"}), access_denied);
    EXPECT_EQ(inform("radio", {"for-user=e ve"}), access_denied) << "no name";
    EXPECT_EQ(inform("radio", {"for-user="}), access_denied);
    EXPECT_TRUE(he_is_answered("radio", access_denied, {"for-user=eve"}));
    change("<update><access-default><gate-user>" + his_name() +
           "</gate-user></access-default></update>");
    EXPECT_TRUE(he_is_answered("radio", done, {"for-user=eve"}));
    EXPECT_TRUE(he_is_answered("radio", access_denied, {"for-user=bob"}));
    EXPECT_TRUE(he_is_answered("radio", access_denied));
}

TEST_F(AccessToInform, IsNotGivenForAnotherEvenWithoutRules)
{
    configure("");
    boot();
    EXPECT_TRUE(he_is_answered("radio", done));
    EXPECT_TRUE(he_is_answered("radio", access_denied, {"for-user=eve"}));
    EXPECT_EQ(inform("radio", {"for-user=eve"}), done);
}

/* From the newer kind of address to the older within it: the kernel lists it elsewhere. */
class ClientByIpv6 {
public:
    ClientByIpv6() : fd_(socket(AF_INET6, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
        constexpr struct timeval patience = {20, 0};
        setsockopt(fd_.get(), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
        sockaddr_in6 there = {};
        there.sin6_family = AF_INET6;
        there.sin6_port = htons(8001);
        inet_pton(AF_INET6, "::ffff:127.0.0.1", &there.sin6_addr);
        if (connect(fd_.get(), reinterpret_cast<sockaddr *>(&there), sizeof there) != 0)
            fd_ = vorn::Fd();
    }
    bool connected() const { return static_cast<bool>(fd_); }
    void send(const std::string &bytes)
    {
        EXPECT_EQ(write(fd_.get(), bytes.data(), bytes.size()), ssize_t(bytes.size()));
    }
    std::string receive_until(const std::string &text)
    {
        std::string received;
        char byte;
        while (received.find(text) == received.npos && read(fd_.get(), &byte, 1) == 1)
            received += byte;
        return received;
    }

private:
    vorn::Fd fd_;
};

constexpr char of_program[] = "<object_changed><Program name=\"p\"><key>";

class AccessToNotices : public AccessDevice {
protected:
    void SetUp() override
    {
        AccessDevice::SetUp();
        install_plugin("states.vorn");
    }
    /* A connection is for good of whoever made it. */
    template <typename Client, typename... Arguments>
    static std::unique_ptr<Client> subscriber_of(uid_t user, Arguments... arguments)
    {
        EXPECT_EQ(seteuid(user), 0);
        auto client = std::make_unique<Client>(arguments...);
        EXPECT_EQ(seteuid(0), 0);
        if (!client->connected()) return nullptr;
        client->send("x");
        for (int i = 0; i < 2; i++) /* the connection is taken, and then its first byte */
            lsql("<lsql/>");
        return client;
    }
    /* What comes when there is one about an object, and then one that something has changed. */
    template <typename Client>
    static std::string heard_by(Client &client)
    {
        EXPECT_EQ(inform("save", {"action=tell"}), done);
        lsql("<lsql><update><Board><label>x</label></Board></update></lsql>");
        return client.receive_until("</conf_changed>");
    }
};

TEST_F(AccessToNotices, IsForWhoMayReadWhatTheyAreAbout)
{
    configure(rule("1", "user:1000", "Program", "read", "deny"));
    boot();
    const auto his = subscriber_of<RawClient>(1000, 8001);
    EXPECT_THAT(heard_by(*his), Not(HasSubstr("object_changed")));
    const auto root_s = subscriber_of<RawClient>(0, 8001);
    EXPECT_THAT(heard_by(*root_s), HasSubstr(of_program));
    EXPECT_THAT(his->receive_until("</conf_changed>"), Not(HasSubstr("object_changed")));
    lsql("<lsql><update><access-rule><properties>state</properties></access-rule></update></lsql>");
    his->receive_until("</conf_changed>");
    EXPECT_THAT(heard_by(*his), HasSubstr(of_program)) << "another property";
    lsql("<lsql><update><access-rule><properties>key</properties></access-rule></update></lsql>");
    his->receive_until("</conf_changed>");
    EXPECT_THAT(heard_by(*his), Not(HasSubstr("object_changed")));
}

TEST_F(AccessToNotices, IsFoundOutForConnectionsByIpv6)
{
    configure(rule("1", "user:1000", "Program", "read", "permit") +
              rule("2", "any", "Program", "read", "deny"));
    boot();
    const auto his = subscriber_of<ClientByIpv6>(1000);
    if (!his) GTEST_SKIP() << "the kernel has no IPv6";
    EXPECT_THAT(heard_by(*his), HasSubstr(of_program));
    lsql("<lsql><delete><access-rule name=\"1\"/></delete></lsql>");
    his->receive_until("</conf_changed>");
    EXPECT_THAT(heard_by(*his), Not(HasSubstr("object_changed")));
}

/* In a view of the files that is the daemon's alone. */
void hide_connections()
{
    const bool is_hidden = unshare(CLONE_NEWNS) == 0 &&
                           mount("/tmp", "/proc/self/net", nullptr, MS_BIND, nullptr) == 0;
    if (!is_hidden) _exit(1);
}

TEST_F(AccessToNotices, IsThatOfAnybodyForWhomTheKernelDoesNotName)
{
    configure(rule("1", "user:1000", "Program", "read", "permit") +
              rule("2", "user:0", "Program", "read", "permit") +
              rule("3", "user:eve", "Program", "read", "deny"));
    boot({"-f"}, hide_connections);
    const auto his = subscriber_of<RawClient>(1000, 8001);
    const auto root_s = subscriber_of<RawClient>(0, 8001);
    EXPECT_THAT(heard_by(*his), Not(HasSubstr("object_changed"))) << "he might be the one";
    EXPECT_THAT(root_s->receive_until("</conf_changed>"), Not(HasSubstr("object_changed")));
    lsql("<lsql><update><access-rule><subject>any</subject></access-rule></update></lsql>");
    his->receive_until("</conf_changed>");
    EXPECT_THAT(heard_by(*his), HasSubstr(of_program)) << "what anybody may read";
}

TEST_F(AccessToNotices, IsNoneForWhoMayReadNothing)
{
    configure(rule("1", "user:1000", "*", "read", "deny"));
    boot();
    const auto his = subscriber_of<RawClient>(1000, 8001);
    const auto root_s = subscriber_of<RawClient>(0, 8001);
    const std::string first = heard_by(*root_s);
    lsql("<lsql><delete><access-rule/></delete></lsql>");
    const std::string second = root_s->receive_until("</conf_changed>");
    EXPECT_THAT(first, HasSubstr("<conf_changed>"));
    EXPECT_THAT(second, EndsWith(his->receive_until("</conf_changed>")))
        << "that there are no rules any more is the first";
}

} // namespace
