/* SPDX-License-Identifier: MIT */
/* What the client says of a way back that nobody takes yet. */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "vornctl_device.h"

namespace {

using testing::HasSubstr;
using testing::StartsWith;

class ExplainedDowngrades : public vorn::tests::VornctlDevice {
protected:
    void SetUp() override
    {
        VornctlDevice::SetUp();
        install_plugin("versions.vorn");
        /* It has the version that its name tells. */
        const std::filesystem::path folder = "/usr/lib/vorn/plugins";
        std::filesystem::rename(folder / "versions.vorn", folder / "wlan-3.vorn");
        boot();
        vornctl("add Wlan a channel=6 mode=b");
        vornctl("add Wlan b channel=6 mode=g");
    }
};

TEST_F(ExplainedDowngrades, NameWhatEarlierVersionsWouldLose)
{
    const std::string lost = "Wlan \"a\": mode: there is none before version 3";
    EXPECT_EQ(vornctl("explain --downgrade"), lost + "\n[5]\n");
    EXPECT_EQ(vornctl("explain --downgrade wlan=1"), lost + "\n[5]\n");
    EXPECT_EQ(vornctl("explain --downgrade wlan=3"), "Nothing is lost with wlan=3.\n[0]\n");
    EXPECT_THAT(vornctl("--json explain --downgrade"),
                HasSubstr("\"Wlan \\\"a\\\": mode: there is none before version 3\""));
    EXPECT_THAT(vornctl("--xml explain --downgrade"),
                HasSubstr("<explanation><versions>wlan=2</versions><lost>"));
}

TEST_F(ExplainedDowngrades, AreToVersionsThatThereWere)
{
    EXPECT_THAT(vornctl("explain --downgrade wlan=4"),
                HasSubstr("These are no versions that the plugins of this device had."));
    EXPECT_THAT(vornctl("explain"), StartsWith("[2]\nCOMMAND is required\n"));
}

} // namespace
