/* SPDX-License-Identifier: MIT */
#include "input/judged.h"
#include "vorn/input.h"

#include <string>

namespace {

using vorn::tests::accepts;
using vorn::tests::refuses;

int is_small(const char *value, int length)
{
    return vorn_input_is_plain_int_in_range(value, length, 0, 120);
}

int is_below_freezing(const char *value, int length)
{
    return vorn_input_is_plain_int_in_range(value, length, -40, 10);
}

int is_in_steps(const char *value, int length)
{
    return vorn_input_is_plain_int_in_steps(value, length, 5, 25, 10);
}

int is_short_text(const char *value, int length)
{
    return vorn_input_is_text(value, length, 2, 3);
}

TEST(PlainNumbers, AreDigitsAlone)
{
    accepts(is_small, {"0", "7", "120", "007", std::string(80, '0') + "7"});
    refuses(is_small, {"", "121", "-1", "-0", "+7", " 7", "7 ", "\n7", "7.0", "99999999999"});
    EXPECT_EQ(vorn_input_is_plain_int_in_range(nullptr, 1, 0, 9), 0);
}

TEST(PlainNumbers, HaveAHyphenWhereTheyMayBeBelowZero)
{
    accepts(is_below_freezing, {"-40", "-1", "-0", "0", "10"});
    refuses(is_below_freezing, {"-41", "11", "--1", "-", "- 1", "+1"});
}

TEST(PlainNumbers, AreSomeStepsAboveTheFirst)
{
    accepts(is_in_steps, {"5", "15", "25", "0015"});
    refuses(is_in_steps, {"4", "6", "10", "24", "35", "-5", ""});
    EXPECT_EQ(vorn_input_is_plain_int_in_steps("5", 1, 5, 25, 0), 0);
    EXPECT_EQ(vorn_input_is_plain_int_in_steps("2147483647", 10, -2147483647 - 1, 2147483647, 5),
              1);
    EXPECT_EQ(vorn_input_is_plain_int_in_steps("2147483646", 10, -2147483647 - 1, 2147483647, 5),
              0);
}

TEST(PlainAddresses, AreDigitsAndDots)
{
    accepts(vorn_input_is_plain_ip, {"1.2.3.4", "0.0.0.0", "255.255.255.255", "010.1.1.1"});
    refuses(vorn_input_is_plain_ip,
            {"", "+1.2.3.4", "1.2.3.+4", " 1.2.3.4", "1.2.3", "1.2.3.256", "1.2.3.4\n"});
}

TEST(PlainAddresses, AreNoNamesOfHosts)
{
    accepts(vorn_input_is_plain_ip_or_domain_name,
            {"1.2.3.4", "a", "ntp.example.org", "1.2.3.a", "ab.com."});
    refuses(vorn_input_is_plain_ip_or_domain_name,
            {"", "1.2.3", "1.2", "1.2.3.256", "+1.2.3.4", "a b", "-a"});
    EXPECT_EQ(vorn_input_is_plain_ip_or_domain_name(nullptr, 1), 0);
}

TEST(HostAddresses, AreThoseThatOneHostCanHave)
{
    accepts(vorn_input_is_host_ip, {"1.0.0.0", "10.0.0.1", "192.168.1.0", "223.255.255.255"});
    refuses(vorn_input_is_host_ip, {"", "0.0.0.0", "0.255.255.255", "224.0.0.0", "255.255.255.255",
                                    "010.0.0.1", "10.0.0.00", "10.0.0", "+10.0.0.1"});
}

TEST(Netmasks, AreOnesBeforeZeros)
{
    accepts(vorn_input_is_netmask,
            {"128.0.0.0", "255.255.255.0", "255.255.254.0", "255.255.255.255"});
    refuses(vorn_input_is_netmask,
            {"", "0.0.0.0", "0.0.0.255", "255.0.255.0", "255.255.255.1", "255.255.0255.0", "24"});
}

TEST(Networks, HaveNoBitsBehindTheirPrefix)
{
    accepts(vorn_input_is_network, {"10.0.0.0/8", "10.1.0.0/16", "10.0.0.1/32", "0.0.0.0/0",
                                    "192.168.1.128/25", "10.0.0.0/08"});
    refuses(vorn_input_is_network,
            {"", "/", "10.0.0.0", "10.0.0.0/", "/8", "10.0.0.1/8", "10.0.0.0/33", "1.0.0.0/0",
             "10.0.0.0/ 8", "10.0.0.0/+8", "10.0.0/8", "192.168.1.129/25", "10.0.0.0/8/8"});
    EXPECT_EQ(vorn_input_is_network(nullptr, 10), 0);
}

TEST(PlainRealNumbers, AreDigitsWithAFractionOrWithout)
{
    const auto is_short = [](const char *value, int length) {
        return vorn_input_is_plain_double_in_range(value, length, 0.5, 80);
    };
    const auto is_signed = [](const char *value, int length) {
        return vorn_input_is_plain_double_in_range(value, length, -2.5, 2);
    };
    accepts(is_short, {"0.5", "0.500", "1", "07", "80", "80.0", "79." + std::string(29, '9')});
    refuses(is_short, {"", ".", "1.", ".5", "0.49", "80.01", "1e1", "+1", " 1", "1 ", "0x2", "1,5",
                       "inf", "nan", "-1", "1.2.3", "79." + std::string(30, '9')});
    accepts(is_signed, {"-2.5", "-0", "2", "1.5"});
    refuses(is_signed, {"-", "--1", "-2.51", "-.5", "1-"});
    EXPECT_EQ(vorn_input_is_plain_double_in_range(nullptr, 1, 0, 1), 0);
}

TEST(LinkNames, CanStandInAnyCommand)
{
    accepts(vorn_input_is_link_name,
            {"e", "eth0", "wlan0_1", "eth0.7", "br-lan", "_", std::string(15, 'a')});
    refuses(vorn_input_is_link_name,
            {"", ".", "-a", ".a", "a b", "a/b", "a:1", "caf\xC3\xA9", std::string(16, 'a')});
    EXPECT_EQ(vorn_input_is_link_name(nullptr, 1), 0);
}

TEST(TextsForPeople, AreCountedInCharacters)
{
    accepts(is_short_text, {"ab", "abc", "\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80"});
    refuses(is_short_text, {"", "a", "abcd", "\xC3\xA9", "\xC3\xA9\xC3\xA9\xC3\xA9\xC3\xA9"});
    EXPECT_EQ(vorn_input_is_text("", 0, 0, 0), 1);
    EXPECT_EQ(vorn_input_is_text(nullptr, 0, 0, 9), 0);
}

TEST(TextsForPeople, HoldNoControlsAndNothingBroken)
{
    refuses(is_short_text, {"a\n", "a\x7F", "a\xC2\x80", "a\xC2", "a\xFF", "a\xED\xA0\x80",
                            "a\xC0\xAF", "a\xF4\x90\x80\x80", "a\x80", "a\xE2\x82"});
}

TEST(Kinds, AreAskedOneAfterTheOther)
{
    EXPECT_EQ(vorn_input_is_any_of("", 0, VORN_INPUT_NOTHING), 1);
    EXPECT_EQ(vorn_input_is_any_of("a", 1, VORN_INPUT_NOTHING), 0);
    EXPECT_EQ(vorn_input_is_any_of("", 0, VORN_INPUT_MAC | VORN_INPUT_NOTHING), 1);
    EXPECT_EQ(vorn_input_is_any_of("10.0.0.0/8", 10, VORN_INPUT_IP | VORN_INPUT_NETWORK), 1);
    EXPECT_EQ(vorn_input_is_any_of("on", 2, 0), 0);
    EXPECT_EQ(vorn_input_is_any_of(nullptr, 0, VORN_INPUT_NOTHING), 0);
}

} // namespace
