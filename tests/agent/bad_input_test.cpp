/* SPDX-License-Identifier: MIT */
#include <gtest/gtest.h>

#include <random>

#include "rig.h"

namespace {

/* What a broker can send without the key: it is refused whole, reported, and changes nothing. */
struct HostileBrokers : testing::Test {
    HostileBrokers()
    {
        rig.begin();
        rig.put_in_force(Wish(5));
    }

    void expect_refused(const std::string &payload, const char *reason)
    {
        rig.deliver(payload);
        rig.pass(2000);
        EXPECT_EQ(rig.outcome(), std::string("refused ") + reason + " 5");
        EXPECT_EQ(rig.applications.size(), 1U);
        EXPECT_EQ(rig.device.generation, 5);
        EXPECT_EQ(rig.asked.size(), 0U);
    }

    Rig rig;
};

TEST_F(HostileBrokers, SendNothingUnsigned)
{
    expect_refused(Wish(6).text(), "unsigned");
}

TEST_F(HostileBrokers, SendNothingOfAnotherKey)
{
    expect_refused(Signer(2).sign(Wish(6).text()), "unknown-key");
}

TEST_F(HostileBrokers, ChangeNothing)
{
    std::string payload = rig.signer.sign(Wish(6).text());
    payload.replace(payload.find("roof"), 4, "root");

    expect_refused(payload, "damaged");
}

TEST_F(HostileBrokers, BringNothingBack)
{
    expect_refused(rig.signer.sign(Wish(4).text()), "older");
}

/* What stands first on the page decides, whatever else there is against a document. */
TEST_F(HostileBrokers, HearTheFirstReasonOfSeveral)
{
    const std::string no_hash = '"' + std::string(64, '0') + '"';
    rig.device.schema = "0123456789abcdef";
    rig.device.trial = vorn::fleet::View::Trial::others;
    rig.tell_change();
    Wish wish(6);
    wish.set("not-after", "1").set("schema", R"("fedcba9876543210")").set("generation", "4");
    wish.set("hash", no_hash).set("device", R"("ap2")").set("trial", "1");

    expect_refused(rig.signer.sign(wish.text()), "malformed");
    expect_refused(rig.signer.sign(wish.set("trial", "60").text()), "other-device");
    expect_refused(rig.signer.sign(wish.set("device", R"("ap1")").text()), "damaged");
    const Wish right(4);
    const std::string text = right.text();
    const std::size_t hash = text.find(R"("hash":)") + 7;
    wish.set("hash", text.substr(hash, 66));
    expect_refused(rig.signer.sign(wish.text()), "older");
    expect_refused(rig.signer.sign(wish.set("generation", "5").text()), "reused");
    expect_refused(rig.signer.sign(wish.set("generation", "6").text()), "schema");
    expect_refused(rig.signer.sign(wish.set("schema", "").text()), "expired");
    rig.deliver(rig.signer.sign(wish.set("not-after", "").text()));
    rig.pass(2000);
    EXPECT_EQ(rig.outcome(), "waiting busy 5");
}

TEST_F(HostileBrokers, SendNothingTooLarge)
{
    expect_refused(std::string(300000, 'x'), "too-large");
}

TEST_F(HostileBrokers, SendNothingMeantForOthers)
{
    expect_refused(rig.signer.sign(Wish(6).set("device", R"("ap2")").text()), "other-device");
}

TEST_F(HostileBrokers, MakeNoDeviceTalkMoreThanOnceASecond)
{
    const std::size_t before = rig.publications.size();
    const std::int64_t start = rig.now.ms;

    for (int i = 0; i < 500; i++) {
        rig.deliver(std::string(static_cast<std::size_t>(i) + 1, 'x'));
        rig.deliver(rig.signer.sign(Wish(i % 4 + 1).text()));
        rig.pass(20);
    }

    EXPECT_LE(rig.publications.size() - before,
              static_cast<std::size_t>((rig.now.ms - start) / 1000 + 2));
}

TEST_F(HostileBrokers, WakeNobodyByWhatWasRefusedBefore)
{
    rig.deliver("nonsense");
    ASSERT_EQ(rig.outcome(), "refused unsigned 5");
    const std::int64_t wake = rig.agent->wake_at();

    rig.deliver("nonsense");

    EXPECT_EQ(rig.agent->wake_at(), wake);
}

TEST_F(HostileBrokers, GetNothingFromRandomBytes)
{
    std::mt19937 chance(20);
    const std::string good = rig.signer.sign(Wish(6).text());
    for (int i = 0; i < 2000; i++) {
        std::string payload = good.substr(0, chance() % good.size() + 1);
        payload[chance() % payload.size()] ^= static_cast<char>(1 << chance() % 8);
        rig.deliver(payload);
    }

    EXPECT_EQ(rig.applications.size(), 1U);
}

TEST_F(HostileBrokers, CanNotDisturbATrial)
{
    rig.deliver(Wish(6));
    rig.deliver("nonsense");
    rig.reach();
    rig.deliver("nonsense");

    EXPECT_EQ(rig.outcome(), "trying  6");
    EXPECT_TRUE(rig.acknowledge());
}

TEST_F(HostileBrokers, CanTakeADocumentAwayWithoutAnyHarm)
{
    rig.deliver("");

    rig.pass(2000);
    EXPECT_EQ(rig.outcome(), "applied  5");
}

} // namespace
