/* SPDX-License-Identifier: MIT */
#pragma once

#include "support/device.h"

#include <gtest/gtest.h>

#include <string>

namespace vorn::tests {

/* A device whose root lives where a test may write. */
class Logins : public Device {
protected:
    void SetUp() override
    {
        Device::SetUp();
        install_plugin("ssh.vorn");
        install_plugin("save.vorn");
        shell("rm /etc/passwd"); /* a link to this machine's */
        write_file("/etc/passwd", "root:x:0:0:root:/tmp/root:/bin/sh\n"
                                  "mail:x:8:8:mail:/tmp/mail:/bin/sh\n"
                                  "anna:x:1001:1001:Anna:/tmp/anna:/bin/sh\n");
        shell("mkdir -m 700 /tmp/root /tmp/mail /tmp/anna");
    }

    static void configure(const std::string &instances)
    {
        write_file(test::startup_file, "<config>" + instances + "</config>");
    }

    static std::string change(const std::string &operations)
    {
        return lsql("<lsql><write-transaction>" + operations + "</write-transaction></lsql>");
    }

    static std::string value_of(const std::string &klass, const std::string &property)
    {
        const std::string answer = lsql("<lsql><select><" + klass + "><" + property + "/></" +
                                        klass + "></select></lsql>");
        const std::string tag = "<" + property + ">";
        const auto begin = answer.find(tag);
        if (begin == std::string::npos) return "";
        const auto text = begin + tag.size();
        return answer.substr(text, answer.find("</" + property + ">", text) - text);
    }

    static testing::AssertionResult state_becomes(const std::string &klass,
                                                  const std::string &wanted)
    {
        return comes_true([&] { return value_of(klass, "state") == wanted; })
               << klass << " is " << value_of(klass, "state");
    }

    inline static const std::string desk_key =
        "ssh-ed25519 AAAAC3NzaC1lZDI1NTE5AAAAINR0CLd0gQICJrKw8gHLBmDAPgQndPG5j/EW3jgdskoG "
        "anna@desk";
};

} // namespace vorn::tests
