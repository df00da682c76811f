/* SPDX-License-Identifier: MIT */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "gate/request.h"

namespace {

using testing::ElementsAre;
using testing::Pair;
using vorn::gate::bearer_in;
using vorn::gate::cookie_in;
using vorn::gate::Request;

Request request_for(const std::string &uri)
{
    Request request;
    request.uri = uri;
    EXPECT_TRUE(vorn::gate::understand(request)) << uri;
    return request;
}

bool is_understood(const std::string &uri)
{
    Request request;
    request.uri = uri;
    return vorn::gate::understand(request);
}

TEST(Addresses, AreTakenApartAndDecoded)
{
    EXPECT_THAT(request_for("/api/v1/schema").path, ElementsAre("schema"));
    EXPECT_THAT(request_for("/api/v1/objects/route/10.0.0.0%2F8").path,
                ElementsAre("objects", "route", "10.0.0.0/8"));
    EXPECT_THAT(request_for("/api/v1/objects/a/..").path, ElementsAre("objects", "a", ".."));
    EXPECT_THAT(request_for("/api/v1/objects/a/b+c").path, ElementsAre("objects", "a", "b+c"));
    EXPECT_THAT(request_for("/api/v1/schema/").path, ElementsAre("schema", ""));
    EXPECT_THAT(request_for("/api/v1/objects/a?where=x+%3D%20y&b").parameters,
                ElementsAre(Pair("where", "x = y"), Pair("b", "")));
}

TEST(Addresses, ThatAreNoTextAreNotUnderstood)
{
    EXPECT_FALSE(is_understood("/"));
    EXPECT_FALSE(is_understood("/api/v2/schema"));
    EXPECT_FALSE(is_understood("/api/v1/%"));
    EXPECT_FALSE(is_understood("/api/v1/%4"));
    EXPECT_FALSE(is_understood("/api/v1/%zz"));
    EXPECT_FALSE(is_understood("/api/v1/a%00b"));
    EXPECT_FALSE(is_understood("/api/v1/a%0d%0aSet-Cookie:x"));
    EXPECT_FALSE(is_understood("/api/v1/%ff"));
    EXPECT_FALSE(is_understood("/api/v1/a?b=%c0%80"));
}

TEST(Cookies, AreFoundByTheirWholeName)
{
    EXPECT_EQ(cookie_in("a=1; vorn-session=x; b=2", "vorn-session"), "x");
    EXPECT_EQ(cookie_in("vorn-session=x", "vorn-session"), "x");
    EXPECT_EQ(cookie_in("xvorn-session=x", "vorn-session"), "");
    EXPECT_EQ(cookie_in("vorn-session", "vorn-session"), "");
    EXPECT_EQ(cookie_in("", "vorn-session"), "");
}

TEST(Authorizations, AreTokensOrNothing)
{
    EXPECT_EQ(bearer_in("Bearer abc"), "abc");
    EXPECT_EQ(bearer_in("bearer abc"), "abc");
    EXPECT_EQ(bearer_in("Basic abc"), "");
    EXPECT_EQ(bearer_in("Bearer "), "");
    EXPECT_EQ(bearer_in("Bearer"), "");
}

} // namespace
