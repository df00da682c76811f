/* SPDX-License-Identifier: MIT */
/*
 * Feeds a target every file of a folder, for compilers and machines that have no libFuzzer. With
 * VORN_MUTATIONS=N, as many inputs more are made of them by chance, always the same ones.
 */
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "fuzz/scratch.h"
#include "fuzz/target.h"

namespace {

void feed(const std::string &text)
{
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t *>(text.data()), text.size());
}

void replay(const std::string &path)
{
    std::printf("%s\n", path.c_str());
    std::fflush(stdout); /* the last line tells which one it was */
    feed(vorn::fuzz::read_file(path));
}

/* Changes a few places of an input: bytes of chance, of others, twice, not at all. */
class Mutator {
public:
    explicit Mutator(const std::set<std::string> &files)
    {
        for (const std::string &each : files)
            inputs_.push_back(vorn::fuzz::read_file(each));
    }

    std::string next()
    {
        constexpr std::size_t most_places = 4;
        std::string text = any();
        for (std::size_t places = 1 + below(most_places); places > 0; places--)
            change(text);
        return text;
    }

private:
    std::size_t below(std::size_t bound) { return bound == 0 ? 0 : chance_() % bound; }
    const std::string &any() { return inputs_[below(inputs_.size())]; }

    std::string piece_of(const std::string &text)
    {
        constexpr std::size_t longest = 64;
        const std::size_t begin = below(text.size());
        return text.substr(begin, 1 + below(longest));
    }

    void change(std::string &text)
    {
        constexpr std::size_t ways = 5;
        constexpr std::size_t values = 256;
        const std::size_t at = below(text.size() + 1);
        switch (below(ways)) {
        case 0:
            text.insert(at, 1, static_cast<char>(below(values)));
            break;
        case 1:
            if (at < text.size()) text[at] = static_cast<char>(below(values));
            break;
        case 2:
            text.erase(at, piece_of(text).size());
            break;
        case 3:
            text.insert(at, piece_of(text));
            break;
        default:
            text.insert(at, piece_of(any()));
        }
    }

    std::vector<std::string> inputs_;
    std::mt19937 chance_{1};
};

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
    if (files.empty()) return 1;

    const char *wanted = std::getenv("VORN_MUTATIONS");
    const long count = wanted ? std::atol(wanted) : 0;
    Mutator mutator(files);
    for (long i = 0; i < count; i++)
        feed(mutator.next());
    if (count > 0) std::printf("%ld mutations\n", count);
    return 0;
}
