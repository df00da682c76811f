/* SPDX-License-Identifier: MIT */
#include "sessions.h"

#include <algorithm>

#include "bounds.h"
#include "sha256.h"

namespace vorn::gate {

namespace {

constexpr std::size_t bytes_of_secret = 32;

} // namespace

Sessions::Session *Sessions::find(std::string_view cookie, std::int64_t now)
{
    std::erase_if(sessions_, [&](const Session &each) { return each.used + lifetime_ <= now; });
    Session *found = nullptr;
    for (Session &each : sessions_)
        if (is_same_secret(each.cookie, cookie)) found = &each;
    return found;
}

Sessions::Session Sessions::open(const std::string &user, std::int64_t now)
{
    const std::lock_guard lock(mutex_);
    if (sessions_.size() >= most_sessions) {
        sessions_.erase(std::ranges::min_element(sessions_, {}, &Session::used));
    }
    sessions_.push_back(
        {random_digits(bytes_of_secret), random_digits(bytes_of_secret), user, now});
    return sessions_.back();
}

std::optional<Sessions::Session> Sessions::use(std::string_view cookie, std::int64_t now)
{
    const std::lock_guard lock(mutex_);
    Session *session = find(cookie, now);
    if (!session) return std::nullopt;
    session->used = now;
    return *session;
}

bool Sessions::is_alive(std::string_view cookie, std::int64_t now)
{
    const std::lock_guard lock(mutex_);
    return find(cookie, now) != nullptr;
}

void Sessions::close(std::string_view cookie)
{
    const std::lock_guard lock(mutex_);
    std::erase_if(sessions_,
                  [&](const Session &each) { return is_same_secret(each.cookie, cookie); });
}

} // namespace vorn::gate
