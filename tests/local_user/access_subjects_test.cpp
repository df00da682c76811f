/* SPDX-License-Identifier: MIT */
/* Of whom a rule speaks: users and groups by the names that the system's files have for them. */
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "local_user/access_device.h"

namespace {

using namespace vorn::tests;

constexpr char none[] = "<counter>0</counter>";
constexpr char one[] = "<counter>1</counter>";

class AccessBySubject : public AccessDevice {
protected:
    void SetUp() override
    {
        AccessDevice::SetUp();
        shell("rm /etc/group /etc/passwd"); /* links to the machine's own */
        write_file("/etc/group", "root:x:0:\ncrew:x:1000:eve\nothers:x:1001:bob\n");
        write_file("/etc/passwd", "root:x:0:0::/:/bin/sh\nbob:x:1000:1000::/:/bin/sh\n"
                                  "eve:x:1001:1001::/:/bin/sh\n");
    }
    void boot_denying(const std::string &subject)
    {
        configure(rule("1", subject, "Radio", "read", "deny"));
        boot();
    }
    bool he_sees(const char *count, const std::vector<gid_t> &groups = {})
    {
        return he_is_told(all_radios, count, groups);
    }
};

TEST_F(AccessBySubject, KnowsUsersByTheirNames)
{
    configure(rule("1", "user:eve", "Radio", "read", "permit") +
              rule("2", "user:bob", "Radio", "read", "deny"));
    boot();
    EXPECT_TRUE(he_sees(none));
    lsql("<lsql><update><access-rule name=\"1\"><subject>user:bob</subject></access-rule></update>"
         "</lsql>");
    EXPECT_TRUE(he_sees(one));
}

TEST_F(AccessBySubject, KnowsThePrimaryGroupByItsName)
{
    boot_denying("group:crew");
    EXPECT_TRUE(he_sees(none));
}

TEST_F(AccessBySubject, KnowsFurtherGroupsByTheirNames)
{
    boot_denying("group:root");
    EXPECT_TRUE(he_sees(one));
    EXPECT_TRUE(he_sees(none, {0}));
}

TEST_F(AccessBySubject, KnowsGroupsByTheirNumbers)
{
    boot_denying("group:1000");
    EXPECT_TRUE(he_sees(none));
    lsql("<lsql><update><access-rule><subject>group:0</subject></access-rule></update></lsql>");
    EXPECT_TRUE(he_sees(one));
    EXPECT_TRUE(he_sees(none, {0}));
}

TEST_F(AccessBySubject, BelievesTheKernelAndNotWhoAFileCountsAmongAGroup)
{
    boot_denying("group:others");
    EXPECT_TRUE(he_sees(one)) << "his process was started before somebody put him there";
}

TEST_F(AccessBySubject, ReadsAFileToItsEndWhereverTheLastByteFalls)
{
    boot_denying("group:others");
    for (const std::size_t size : {1023U, 1024U, 1025U, 2049U}) {
        std::string groups = "crew:x:1000:eve\nothers:x:1001:bob\n";
        groups.resize(size, '\n');
        write_file("/etc/group", groups);
        EXPECT_TRUE(he_sees(one)) << size;
    }
}

TEST_F(AccessBySubject, DeniesWhereNoFileTellsWhoSomebodyIs)
{
    shell("rm /etc/group /etc/passwd");
    configure(rule("1", "group:crew", "*", "read", "permit") +
              rule("2", "user:bob", "*", "read", "permit") +
              rule("3", "user:eve", "Radio", "read", "deny") +
              rule("4", "any", "*", "read", "permit"));
    boot();
    EXPECT_TRUE(he_sees(none));
    lsql("<lsql><update><access-rule name=\"3\"><subject>group:others</subject></access-rule>"
         "</update></lsql>");
    EXPECT_TRUE(he_sees(none));
    lsql("<lsql><delete><access-rule name=\"3\"/></delete></lsql>");
    EXPECT_TRUE(he_sees(one));
}

} // namespace
