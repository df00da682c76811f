/* SPDX-License-Identifier: MIT */
/* What has stayed up is remembered within bounds, and a boot that says nothing doesn't count. */
#include "support/log.h"
#include "vorn/process.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "history_device.h"

extern "C" {
#include "proving.h"
}

namespace {

using testing::EndsWith;
using testing::StartsWith;
using vorn::tests::boots_of_history;
using vorn::tests::startup_of_history;

class Boots : public testing::Test {
protected:
    Boots() { device.write(startup_of_history, document); }
    ~Boots() override { vorn_process_no_actions = 0; }

    std::string noted() const { return device.text_of(boots_of_history); }

    vorn::tests::CapturedLog log;
    vorn::tests::HistoryDevice device;
    static constexpr char document[] = "<config/>";
};

TEST_F(Boots, OfSixtyFourConfigurationsAreRememberedWithoutTheOldest)
{
    std::string full;
    for (int i = 10; i < 74; i++)
        full += "proven " + std::to_string(i) + " configuration-" + std::to_string(i) + "\n";
    device.write(boots_of_history, full);
    proving_begin();

    proving_succeeds();

    const std::string without_oldest = full.substr(full.find('\n') + 1);
    generation same = {};
    same.document = document;
    same.size = std::strlen(document);
    EXPECT_TRUE(proving_knows(&same));
    EXPECT_THAT(noted(), StartsWith(without_oldest + "proven 0 "));
    EXPECT_EQ(noted().find('\n', without_oldest.size()), noted().size() - 1) << "one comes after";
}

TEST_F(Boots, AreNotCountedWithoutActions)
{
    vorn_process_no_actions = 1;
    proving_begin();
    EXPECT_FALSE(device.has(boots_of_history));

    vorn_process_no_actions = 0;
    proving_begin();
    EXPECT_THAT(noted(), EndsWith(" 1\n"));
}

/* Whoever removes the file wants nothing to be known any longer. */
TEST_F(Boots, AreNotNotedAtTheirEndInAFileThatIsGone)
{
    proving_begin();
    proving_boot_is_over();
    ASSERT_TRUE(device.at_end);
    ASSERT_EQ(std::remove(device.path_of(boots_of_history).c_str()), 0);

    device.at_end();

    EXPECT_FALSE(device.has(boots_of_history));
}

} // namespace
