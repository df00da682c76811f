/* SPDX-License-Identifier: MIT */
/* Texts that are longer than whoever has to keep, send or save them can bear. */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "attacked_device.h"

namespace {

using testing::HasSubstr;
using vorn::tests::notices_port;
using vorn::tests::RawClient;

class TextAttacks : public vorn::tests::AttackedDevice {
protected:
    int resident_kib()
    {
        return std::stoi(
            shell("awk '/VmRSS/ { print $2 }' /proc/" + std::to_string(daemon_pid()) + "/status"));
    }
};

TEST_F(TextAttacks, ByALongNameAreRefusedAndNothingIsSaved)
{
    boot();
    expect_service();
    const std::string saved = read_file(vorn::test::startup_file);

    EXPECT_THAT(answer_to("<lsql><write-transaction><insert><Radio name='" +
                          std::string(2000000, '"') + "'/></insert></write-transaction></lsql>"),
                HasSubstr("<error>More than 16384 bytes in a name.</error>"));

    EXPECT_EQ(read_file(vorn::test::startup_file), saved);
    expect_service();
}

/* The sanitizer would keep what is freed. */
void without_quarantine()
{
    setenv("ASAN_OPTIONS", "quarantine_size_mb=0:thread_local_quarantine_size_kb=0", 1);
}

TEST_F(TextAttacks, ByALongOriginCostNoMemoryForSubscribersThatDoNotRead)
{
    boot({"-f"}, without_quarantine);
    std::vector<std::unique_ptr<RawClient>> deaf;
    for (int i = 0; i < 8; i++) {
        deaf.push_back(std::make_unique<RawClient>(notices_port));
        deaf.back()->send("x");
    }
    expect_service();
    const int before = resident_kib();

    EXPECT_THAT(answer_to(change_of("7", std::string(9900000, 'o'))),
                HasSubstr("<error>More than 1024 bytes in the origin.</error>"));
    EXPECT_NE(answer_to(change_of("7", std::string(1024, 'o'))), "");

    expect_service();
    EXPECT_LT(resident_kib() - before, 8192);
}

/* What stays of a request lies between what goes, and would hold it. */
TEST_F(TextAttacks, ByALargeRequestLeaveNoneOfItsMemoryBehind)
{
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "its allocator keeps what is free";
#endif
    boot();
    expect_service();
    const int before = resident_kib();
    std::string selects;
    for (int i = 0; i < 20000; i++)
        selects += "<select><None/></select>";
    std::string request;
    for (int i = 0; i < 8; i++)
        request += selects + "<insert><Radio name=\"r" + std::to_string(i) + "\"/></insert>";

    EXPECT_THAT(answer_to("<lsql>" + request + "</lsql>"), HasSubstr("<rc>0</rc>"));

    expect_service();
    EXPECT_LT(resident_kib() - before, 4096);
}

} // namespace
