/* SPDX-License-Identifier: MIT */
#include <gtest/gtest.h>

#include <string>

#include "gate/bounds.h"
#include "gate/scgi.h"

namespace {

using vorn::gate::Arrival;
using vorn::gate::read_scgi;
using vorn::gate::Request;

std::string header(const std::string &name, const std::string &value)
{
    return name + '\0' + value + '\0';
}

std::string framed(const std::string &head, const std::string &body = {})
{
    return std::to_string(head.size()) + ":" + head + "," + body;
}

std::string head_for(std::size_t length)
{
    return header("CONTENT_LENGTH", std::to_string(length)) + header("SCGI", "1");
}

Arrival arrival_of(const std::string &bytes)
{
    Request request;
    return read_scgi(bytes, request);
}

TEST(ScgiRequests, AreReadWithTheirHeadersAndBody)
{
    const std::string bytes = framed(
        head_for(4) + header("REQUEST_METHOD", "POST") + header("REQUEST_URI", "/api/v1/changes") +
            header("HTTP_X_CSRF_TOKEN", "t") + header("HTTP_UNKNOWN", "x"),
        "body");
    Request request;

    ASSERT_EQ(read_scgi(bytes, request), Arrival::complete);

    EXPECT_EQ(request.method, "POST");
    EXPECT_EQ(request.uri, "/api/v1/changes");
    EXPECT_EQ(request.csrf, "t");
    EXPECT_EQ(request.body, "body");
}

TEST(ScgiRequests, MayComeByteByByte)
{
    const std::string bytes = framed(head_for(2) + header("REQUEST_METHOD", "GET"), "ab");

    for (std::size_t length = 0; length < bytes.size(); length++)
        EXPECT_EQ(arrival_of(bytes.substr(0, length)), Arrival::goes_on) << length;
    EXPECT_EQ(arrival_of(bytes), Arrival::complete);
}

TEST(ScgiRequests, ThatAreNoneAreBroken)
{
    const std::string head = head_for(0);

    EXPECT_EQ(arrival_of("GET / HTTP/1.1\r\n"), Arrival::broken);
    EXPECT_EQ(arrival_of("-1:,"), Arrival::broken);
    EXPECT_EQ(arrival_of(":,"), Arrival::broken);
    EXPECT_EQ(arrival_of(std::to_string(head.size()) + ":" + head + ";"), Arrival::broken);
    EXPECT_EQ(arrival_of(framed(header("SCGI", "1") + header("CONTENT_LENGTH", "0"))),
              Arrival::broken);
    EXPECT_EQ(arrival_of(framed(header("CONTENT_LENGTH", "0"))), Arrival::broken);
    EXPECT_EQ(arrival_of(framed(header("CONTENT_LENGTH", "-0") + header("SCGI", "1"))),
              Arrival::broken);
    EXPECT_EQ(arrival_of(framed(head + "NAME")), Arrival::broken);
    EXPECT_EQ(arrival_of(framed(head, "more than it said")), Arrival::broken);
}

TEST(ScgiRequests, WithAHeaderTwiceAreBroken)
{
    EXPECT_EQ(
        arrival_of(framed(head_for(0) + header("HTTP_COOKIE", "a") + header("HTTP_COOKIE", "b"))),
        Arrival::broken);
    EXPECT_EQ(arrival_of(framed(head_for(0) + header("CONTENT_LENGTH", "5"))), Arrival::broken);
}

TEST(ScgiRequests, HaveBounds)
{
    EXPECT_EQ(arrival_of(std::to_string(vorn::gate::longest_head + 1) + ":"), Arrival::long_head);
    EXPECT_EQ(arrival_of(framed(head_for(vorn::gate::longest_body + 1))), Arrival::long_body);
    EXPECT_EQ(arrival_of(framed(head_for(vorn::gate::longest_body))), Arrival::goes_on);
}

} // namespace
