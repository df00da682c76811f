/* SPDX-License-Identifier: MIT */
/* Feeds a target every file of a folder, for compilers and machines that have no libFuzzer. */
#include <cstdio>
#include <filesystem>
#include <set>
#include <string>

#include "fuzz/scratch.h"
#include "fuzz/target.h"

namespace {

void replay(const std::string &path)
{
    const std::string text = vorn::fuzz::read_file(path);
    std::printf("%s\n", path.c_str());
    std::fflush(stdout); /* the last line tells which one it was */
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t *>(text.data()), text.size());
}

} // namespace

int main(int argc, char **argv)
{
    std::error_code missing;
    std::set<std::string> files;
    for (int i = 1; i < argc; i++) {
        for (const auto &file : std::filesystem::directory_iterator(argv[i], missing)) {
            files.insert(file.path().string());
        }
    }
    for (const std::string &path : files)
        replay(path);
    std::printf("%zu inputs\n", files.size());
    return files.empty() ? 1 : 0;
}
