/* SPDX-License-Identifier: MIT */
#pragma once

#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vorn::gate {

/* Who is logged in. Any thread may ask; times are seconds of a steady clock. */
class Sessions {
public:
    explicit Sessions(std::int64_t lifetime) : lifetime_(lifetime) {}

    struct Session {
        std::string cookie;
        std::string csrf;
        std::string user;
        std::int64_t used;
    };

    /* A new one; when there are too many, the one that was idle for longest ends. */
    Session open(const std::string &user, std::int64_t now);
    /* The session of that cookie, which has been used now. */
    std::optional<Session> use(std::string_view cookie, std::int64_t now);
    /* Without using it. */
    bool is_alive(std::string_view cookie, std::int64_t now);
    void close(std::string_view cookie);

    std::int64_t lifetime() const { return lifetime_; }

private:
    Session *find(std::string_view cookie, std::int64_t now);

    std::mutex mutex_;
    std::vector<Session> sessions_;
    std::int64_t lifetime_;
};

} // namespace vorn::gate
