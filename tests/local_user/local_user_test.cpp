/* SPDX-License-Identifier: MIT */
/* What somebody without rights can do to the daemon, and what not. */
#include "support/raw_client.h"
#include "support/reason.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <cstring>
#include <list>

#include <arpa/inet.h>
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "local_user/local_user.h"

namespace {

using testing::HasSubstr;
using namespace vorn::tests;

constexpr char inform_name[] = "vorn_sock_inform";

class DevicesWithALocalUser : public LocalUsers {
protected:
    void SetUp() override
    {
        LocalUsers::SetUp();
        install_plugin("save.vorn");
        write_file(startup, "<config><Radio name=\"mine\"/></config>");
    }
};

TEST_F(DevicesWithALocalUser, LetHimWriteNoneOfTheirFiles)
{
    boot();

    for (const char *path : {startup, rescue, "/var/run/vorn.pid", "/proc/sys/kernel/panic"})
        EXPECT_EQ(opening_ends_with(path, O_WRONLY), EACCES) << path;
    for (const char *folder : {"/etc", "/etc/config", "/usr/lib/vorn/plugins", "/var/run"}) {
        const std::string path = folder + std::string("/planted");
        EXPECT_EQ(opening_ends_with(path, O_WRONLY | O_CREAT), EACCES) << path;
    }
}

TEST_F(DevicesWithALocalUser, LetHimNeitherEndNorStopNorSeeIntoTheDaemon)
{
    boot();
    const pid_t daemon = daemon_pid();
    const std::string memory = "/proc/" + std::to_string(daemon) + "/mem";

    for (const int sig : {SIGTERM, SIGKILL, SIGSTOP, SIGHUP, SIGUSR1, SIGWINCH})
        EXPECT_EQ(as_local_user([=] { return kill(daemon, sig) ? errno : 0; }), EPERM) << sig;
    EXPECT_EQ(
        as_local_user([=] { return ptrace(PTRACE_SEIZE, daemon, nullptr, nullptr) ? errno : 0; }),
        EPERM);
    EXPECT_EQ(opening_ends_with(memory, O_RDONLY), EACCES);
}

/* Names in the abstract have no owner and no mode: who reaches the socket is an administrator. */
TEST_F(DevicesWithALocalUser, LetHimChangeTheConfiguration)
{
    boot();

    EXPECT_EQ(as_local_user([] {
                  lsql("<lsql><update><Radio name=\"mine\"><channel>11</channel></Radio></update>"
                       "</lsql>");
                  return 0;
              }),
              0);

    EXPECT_THAT(lsql(select_radios), HasSubstr("<channel>11</channel>"));
    EXPECT_THAT(read_file(startup), HasSubstr("<channel>11</channel>"));
}

TEST_F(DevicesWithALocalUser, LetHimInformAndListen)
{
    boot();

    EXPECT_EQ(as_local_user([] {
                  const std::string reply = inform("nobody");
                  return reply.rfind("ERR", 0) == 0 ? 0 : 1;
              }),
              0);
    EXPECT_EQ(as_local_user([] {
                  RawClient subscriber(notices_port);
                  subscriber.send("x");
                  for (int i = 0; i < 2; i++) /* the connection is taken, and then its byte */
                      inform("nobody");
                  lsql("<lsql><update><Radio><channel>3</channel></Radio></update></lsql>");
                  const std::string notice = subscriber.receive_until("</conf_changed>");
                  return notice.find("<conf_changed") != std::string::npos ? 0 : 1;
              }),
              0);
}

/* Neither the log nor a notice is evidence of who said something. */
TEST_F(DevicesWithALocalUser, LetHimForgeNoticesButNoLinesOfTheLog)
{
    boot();

    EXPECT_EQ(as_local_user([] {
                  RawClient subscriber(notices_port);
                  subscriber.send("x");
                  inform("nobody");
                  lsql("<oops>\nvorn: Exit due to signal 15.");
                  lsql("<lsql origin=\"x&quot;&gt;9&lt;/conf_changed&gt;\"><update><Radio>"
                       "<channel>3</channel></Radio></update></lsql>");
                  const std::string notice = subscriber.receive_until("</conf_changed>");
                  return notice.find("origin=\"x\">9<") != std::string::npos ? 0 : 1;
              }),
              0);

    EXPECT_TRUE(console_shows("<oops>\\nvorn: Exit due to signal 15.\n"));
}

int bind_to_name(const char *name)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::strcpy(address.sun_path + 1, name);
    const int listener = socket(AF_UNIX, SOCK_STREAM, 0);
    return bind(listener, reinterpret_cast<const sockaddr *>(&address), sizeof address) ? errno : 0;
}

/* With every option that might let two share a port. */
int bind_to_notices_port()
{
    const int on = 1;
    const int listener = socket(AF_INET, SOCK_STREAM, 0);
    setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    setsockopt(listener, SOL_SOCKET, SO_REUSEPORT, &on, sizeof on);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(notices_port);
    return bind(listener, reinterpret_cast<const sockaddr *>(&address), sizeof address) ? errno : 0;
}

TEST_F(DevicesWithALocalUser, LetHimTakeNoAddressOfARunningDaemon)
{
    boot();

    EXPECT_EQ(as_local_user([] { return bind_to_name(lsql_door); }), EADDRINUSE);
    EXPECT_EQ(as_local_user([] { return bind_to_name(inform_name); }), EADDRINUSE);
    EXPECT_EQ(as_local_user(bind_to_notices_port), EADDRINUSE);
}

TEST_F(DevicesWithALocalUser, HaveTheirNoticesOnTheLoopbackAddressOnly)
{
    shell("ip addr add 192.168.99.1/24 dev lo");
    boot();

    EXPECT_TRUE(RawClient(notices_port).connected());
    EXPECT_THAT(shell("ss -Hltn"), HasSubstr(" 127.0.0.1:8001 "));
    EXPECT_EQ(count(shell("ss -Hltn"), ":8001 "), 1);
}

/* Who takes all the notice connections there are takes nothing from the others. */
TEST_F(DevicesWithALocalUser, LeaveHimNotAllTheirDescriptors)
{
    boot({"-f"}, [] {
        const rlimit few = {128, 128};
        setrlimit(RLIMIT_NOFILE, &few);
    });

    EXPECT_EQ(as_local_user([] {
                  std::list<RawClient> silent;
                  for (int i = 0; i < 100; i++) {
                      silent.emplace_back(notices_port);
                      if (lsql(select_radios).empty()) return 1; /* one round of the loop */
                  }
                  lsql("<lsql><update><Radio><channel>3</channel></Radio></update></lsql>");
                  return 0;
              }),
              0);

    EXPECT_THAT(read_file(startup), HasSubstr("<channel>3</channel>"));
    EXPECT_EQ(count(standard_error(), reason(EMFILE)), 0);
}

/* The scratch copy holds the whole configuration, secrets too. */
TEST_F(DevicesWithALocalUser, KeepFromHimWhatTheFirmwareHides)
{
    install_plugin("copies.vorn");
    shell(std::string("chmod 600 ") + startup);
    boot();

    lsql("<lsql><update><Radio><channel>3</channel></Radio></update></lsql>");
    lsql("<lsql><update><Copies><running-to-default>now</running-to-default></Copies></update>"
         "</lsql>");
    ASSERT_TRUE(console_shows("copies: running-to-default 0\n"));

    for (const char *path : {startup, "/tmp/defaultconfig.xml", "/tmp/md5.gen"})
        EXPECT_EQ(opening_ends_with(path, O_RDONLY), EACCES) << path;
}

} // namespace
