/* SPDX-License-Identifier: MIT */
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "local_user/local_user.h"

namespace vorn::tests {

/* A device with the plugin ssh, where somebody lives in a folder of his own. */
class LodgersKeys : public LocalUsers {
protected:
    void SetUp() override
    {
        LocalUsers::SetUp();
        if (IsSkipped()) return;
        install_plugin("ssh.vorn");
        shell("rm /etc/passwd"); /* a link to this machine's */
        write_file("/etc/passwd", "root:x:0:0:root:/tmp/root:/bin/sh\n"
                                  "lodger:x:1000:1000::/tmp/lodger:/bin/sh\n");
        ASSERT_EQ(shell("mkdir -m 700 /tmp/lodger && chown 1000:1000 /tmp/lodger"), "");
    }

    static void configure(const std::string &key, const std::string &more = "")
    {
        write_file(startup, "<config>" + more +
                                "<ssh-key name=\"k\"><user>lodger</user><key>ssh-ed25519 " + key +
                                "</key></ssh-key></config>");
    }

    static std::string state()
    {
        return lsql("<lsql><select><ssh-key><state/></ssh-key></select></lsql>");
    }
};

} // namespace vorn::tests
