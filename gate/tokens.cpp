/* SPDX-License-Identifier: MIT */
#include "tokens.h"

#include <fstream>
#include <sstream>

#include <sys/stat.h>

#include "sha256.h"

namespace vorn::gate {

/* The plugin replaces it whole, so that another file shows by its number or its time. */
void Tokens::read_again()
{
    struct stat status = {};
    if (stat(path_.c_str(), &status) != 0) {
        tokens_.clear();
        inode_ = 0;
        return;
    }
    if (status.st_ino == inode_ && status.st_mtim.tv_sec == written_.tv_sec &&
        status.st_mtim.tv_nsec == written_.tv_nsec) {
        return;
    }
    inode_ = status.st_ino;
    written_ = status.st_mtim;
    tokens_.clear();
    std::ifstream file(path_);
    for (std::string line; std::getline(file, line);) {
        std::istringstream words(line);
        Token token;
        if (words >> token.digest >> token.user >> token.name) tokens_.push_back(token);
    }
}

std::optional<Tokens::Token> Tokens::find(std::string_view token)
{
    const std::string digest = sha256(token);
    const std::lock_guard lock(mutex_);
    read_again();
    for (const Token &each : tokens_)
        if (is_same_secret(each.digest, digest)) return each;
    return std::nullopt;
}

} // namespace vorn::gate
