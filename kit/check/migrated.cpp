/* SPDX-License-Identifier: MIT */
#include "migrated.h"

#include "vorn/config.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <sstream>

#include "loading.h"

namespace vorn::check {

namespace {

struct FreeText {
    void operator()(char *text) const { std::free(text); }
};
using OwnedText = std::unique_ptr<char, FreeText>;

} // namespace

bool migrate_file(const std::string &path, const std::string &versions)
{
    const std::ifstream file(path, std::ios::binary);
    std::ostringstream document;
    if (!file || !(document << file.rdbuf())) {
        std::fprintf(stderr, "%s can't be read\n", path.c_str());
        return false;
    }
    take_messages();
    char *lines = nullptr;
    const OwnedText migrated(vorn_config_migrate(document.str().c_str(), versions.c_str(), &lines));
    const OwnedText losses(lines);
    for (const std::string &message : take_messages())
        std::fprintf(stderr, "%s\n", message.c_str());
    if (!migrated) return false;
    std::fputs(migrated.get(), stdout);
    std::fputs(losses.get(), stderr);
    return *losses == '\0';
}

} // namespace vorn::check
