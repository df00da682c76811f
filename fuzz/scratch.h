/* SPDX-License-Identifier: MIT */
#pragma once

#include <string>
#include <string_view>

namespace vorn::fuzz {

/* A folder of its own for one process, under TMPDIR; gone at its end with all that is in it. */
class ScratchFolder {
public:
    ScratchFolder();
    ScratchFolder(const ScratchFolder &) = delete;
    ~ScratchFolder();

    std::string operator/(const char *name) const { return path_ + "/" + name; }

private:
    std::string path_;
};

void write_file(const std::string &path, std::string_view text);
/* What the file holds; nothing when there is none. */
std::string read_file(const std::string &path);

} // namespace vorn::fuzz
