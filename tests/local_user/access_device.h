/* SPDX-License-Identifier: MIT */
#pragma once

#include <string>
#include <vector>

#include <pwd.h>

#include "local_user/local_user.h"

namespace vorn::tests {

inline constexpr char all_radios[] = "<lsql><select><Radio properties=\"all\"/></select></lsql>";
inline constexpr char denied[] = "<error>Access denied.</error>";

/* A device with one radio, and rules about who may do what with it. */
class AccessDevice : public LocalUsers {
protected:
    void SetUp() override
    {
        LocalUsers::SetUp();
        install_plugin("access.vorn");
    }
    static void configure(const std::string &rules)
    {
        write_file(startup,
                   "<config><Radio name=\"a\"><channel>1</channel></Radio>" + rules + "</config>");
    }
    static std::string rule(const std::string &name, const std::string &subject,
                            const std::string &target, const std::string &operations,
                            const std::string &effect, const std::string &properties = "")
    {
        return "<access-rule name=\"" + name + "\"><order>" + name + "</order><subject>" + subject +
               "</subject><class>" + target + "</class><properties>" + properties +
               "</properties><operations>" + operations + "</operations><effect>" + effect +
               "</effect></access-rule>";
    }
    /* What root changes, whatever the rules say. */
    static std::string change(const std::string &operations)
    {
        return lsql("<lsql><write-transaction>" + operations + "</write-transaction></lsql>");
    }
    /* The machine's own file of users says it, unless a test has put another in its place. */
    static std::string his_name()
    {
        const struct passwd *user = getpwuid(1000);
        return user ? user->pw_name : "1000";
    }
    bool he_is_told(const std::string &request, const std::string &words,
                    const std::vector<gid_t> &groups = {})
    {
        const auto asks = [&] { return lsql(request).find(words) == std::string::npos; };
        return as_local_user(asks, groups) == 0;
    }
};

} // namespace vorn::tests
