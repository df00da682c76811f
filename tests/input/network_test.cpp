/* SPDX-License-Identifier: MIT */
#include "input/judged.h"
#include "vorn/input.h"

#include <string>

namespace {

using vorn::tests::accepts;
using vorn::tests::refuses;

std::string labels(int count, int length)
{
    std::string name;
    for (int i = 0; i < count; i++) {
        name += std::string(static_cast<std::size_t>(length), 'a') + ".";
    }
    return name;
}

TEST(MacAddresses, AreSixPairsOfHexadecimalDigits)
{
    accepts(vorn_input_is_mac, {"00:11:22:33:44:55", "aA:bB:cC:dD:eE:fF", "0a:1b:2c:3d:4e:5f"});
    refuses(vorn_input_is_mac,
            {"", "00:11:22:33:44:5G", "g0:11:22:33:44:55", "00-11-22-33-44-55", "00:11:22:33:44:5",
             "00:11:22:33:44:555", "001:1:22:33:44:55", "00:11:22:33:44;55", "00:11:22:33:4455:"});
    EXPECT_EQ(vorn_input_is_mac(nullptr, 17), 0);
}

TEST(IpAddresses, AreFourIntegersUpTo255)
{
    accepts(vorn_input_is_ip, {"1.2.3.4", "0.0.0.0", "255.255.255.255", "001.002.003.004",
                               "010.1.1.1", "+1.2.3.4", "1.2.3.+4"});
    refuses(vorn_input_is_ip, {"", "1.2.3.256", "1.2.3", "1..3.4", "1.2.3.", ".1.2.3", "1.2.3.4.5",
                               "a.b.c.d", "-1.2.3.4", "1.2.3.4 ", "1234567", "0001.002.003.004"});
    EXPECT_EQ(vorn_input_is_ip(nullptr, 7), 0);
}

TEST(IpAddresses, EndWhereTheirLengthSays)
{
    EXPECT_EQ(vorn_input_is_ip("1.2.3.4.5", 7), 1);
    EXPECT_EQ(vorn_input_is_ip("11.2.3.4", 7), 0);
}

TEST(DomainLabels, HaveNoHyphenAtEitherEnd)
{
    accepts(vorn_input_is_domain_label,
            {"a", "9", "ab", "a-b", "a--b", "1-2", std::string(63, 'z')});
    refuses(vorn_input_is_domain_label, {"", "-", "a-", "-a", "-ab", "ab-", "a_b", "a.b", "a b",
                                         "\xC3\xA9t\xC3\xA9", std::string(64, 'z')});
    EXPECT_EQ(vorn_input_is_domain_label(nullptr, 1), 0);
}

TEST(DomainNames, AreLabelsBetweenDots)
{
    accepts(vorn_input_is_domain_name, {"a", "ab.com", "ab.com.", "1.2", "x-1.example.net"});
    refuses(vorn_input_is_domain_name,
            {"a.!", "", ".", "..", "a-.com", "-a.com", ".com", "a..com", "a.com..", "a b.com"});
    EXPECT_EQ(vorn_input_is_domain_name(nullptr, 1), 0);
}

TEST(DomainNames, HaveAtMost253BytesAndADot)
{
    const std::string longest = labels(3, 63) + std::string(61, 'a');
    ASSERT_EQ(longest.size(), 253u);

    accepts(vorn_input_is_domain_name, {longest, longest + "."});
    refuses(vorn_input_is_domain_name, {longest + "a", longest + "a."});
}

TEST(AddressesOrNames, AreEither)
{
    accepts(vorn_input_is_ip_or_domain_name, {"1.2.3.4", "ntp.example.net", "1.2.3.256"});
    refuses(vorn_input_is_ip_or_domain_name, {"", "-x", "a..b"});
}

} // namespace
