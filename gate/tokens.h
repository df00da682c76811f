/* SPDX-License-Identifier: MIT */
#pragma once

#include <ctime>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <sys/types.h>

namespace vorn::gate {

/* The tokens of programs, as the plugin writes them: lines of a digest, a user and a name. */
class Tokens {
public:
    explicit Tokens(std::string path) : path_(std::move(path)) {}

    struct Token {
        std::string digest;
        std::string user;
        std::string name;
    };

    /* Whose token that is. The file is read again when it is another one. */
    std::optional<Token> find(std::string_view token);

private:
    void read_again();

    std::mutex mutex_;
    std::string path_;
    std::vector<Token> tokens_;
    ino_t inode_ = 0;
    timespec written_ = {};
};

} // namespace vorn::gate
