/* SPDX-License-Identifier: MIT */
/* Files that belong to the configuration are on trial with it. */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "access_points.h"
#include "words_of_trials.h"

namespace {

using testing::HasSubstr;
using namespace vorn::tests;

class TrialsOfKeys : public AccessPoints {
protected:
    void SetUp() override
    {
        AccessPoints::SetUp();
        install_plugin("trial.vorn");
    }
    static std::string keys() { return read_file("/etc/config/wireless-keys"); }
};

TEST_F(TrialsOfKeys, KeepANewKeyOffTheDiskUntilItIsConfirmed)
{
    boot();
    change_network("<status>up</status>");
    const std::string old_keys = keys();
    const std::string saved = files();

    lsql(transaction("<update><wireless-network name=\"home\"><key>another secret</key>"
                     "</wireless-network></update>" +
                     trial("<seconds>600</seconds>")));
    EXPECT_THAT(read_file(hostapd_file), HasSubstr("\nwpa_passphrase=another secret\n"));
    EXPECT_EQ(files(), saved);

    lsql(transaction(trial("<revert>" + told("id") + "</revert>")));
    EXPECT_THAT(read_file(hostapd_file), HasSubstr("\nwpa_passphrase=correct horse battery\n"));
    EXPECT_EQ(keys(), old_keys);

    lsql(transaction("<update><wireless-network name=\"home\"><key>third secret</key>"
                     "</wireless-network></update>" +
                     trial("<seconds>600</seconds>")));
    EXPECT_EQ(keys(), old_keys);
    lsql(transaction(trial("<confirm>" + told("id") + "</confirm>")));
    EXPECT_THAT(keys(), HasSubstr(" third secret\n"));
}

} // namespace
