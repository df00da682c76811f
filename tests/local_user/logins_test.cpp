/* SPDX-License-Identifier: MIT */
/* Logins with the programs themselves: dropbear lets in whom the configuration says. */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "local_user/lodgers_keys.h"

namespace {

using testing::HasSubstr;
using namespace vorn::tests;

class RealLogins : public LodgersKeys {
protected:
    void SetUp() override
    {
        LodgersKeys::SetUp();
        if (IsSkipped()) return;
        if (shell("which dropbear dbclient dropbearkey | wc -l") != "3\n")
            GTEST_SKIP() << "dropbear is not installed";
        const std::string made = shell("dropbearkey -t ed25519 -f /tmp/desk 2>/dev/null");
        const auto begin = made.find("ssh-ed25519 ") + 12;
        key = made.substr(begin, made.find(' ', begin) - begin);
    }

    /* What somebody is told who has that key and asks who he is. */
    static std::string log_in(const std::string &user)
    {
        return shell("HOME=/tmp timeout 20 dbclient -y -y -i /tmp/desk -p 2222 " + user +
                     "@127.0.0.1 'id -u' </dev/null 2>/tmp/said");
    }

    std::string key;
};

TEST_F(RealLogins, AreWithTheKeysThatAreConfigured)
{
    configure(key, "<ssh><enabled>on</enabled><port>2222</port></ssh>");
    boot();

    EXPECT_TRUE(comes_true([] { return log_in("lodger") == "1000\n"; })) << read_file("/tmp/said");
    EXPECT_EQ(log_in("root"), "");
    EXPECT_THAT(lsql("<lsql><select><ssh><host-key/></ssh></select></lsql>"),
                HasSubstr(shell("dropbearkey -y -f /etc/config/ssh/host_key | "
                                "grep -o '^ssh-ed25519 [^ ]*' | tr -d '\\n'") +
                          "</host-key>"));

    lsql("<lsql><delete><ssh-key/></delete></lsql>");
    EXPECT_EQ(log_in("lodger"), "");
}

} // namespace
