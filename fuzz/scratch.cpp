/* SPDX-License-Identifier: MIT */
#include "fuzz/scratch.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "fuzz/target.h"

namespace vorn::fuzz {

ScratchFolder::ScratchFolder()
{
    const std::filesystem::path folder = std::filesystem::temp_directory_path();
    path_ = (folder / "vorn-fuzz-XXXXXX").string();
    require(mkdtemp(path_.data()) != nullptr, "a scratch folder can be made");
}

ScratchFolder::~ScratchFolder()
{
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

void write_file(const std::string &path, std::string_view text)
{
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file.write(text.data(), static_cast<std::streamsize>(text.size()));
    file.close();
    require(file.good(), "a scratch file can be written");
}

std::string read_file(const std::string &path)
{
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

void stop(const char *what)
{
    std::fprintf(stderr, "This must hold: %s\n", what);
    std::abort();
}

ExactCopy::ExactCopy(std::string_view text)
    : length_(static_cast<int>(text.size())), bytes_(new char[text.size()])
{
    text.copy(bytes_.get(), text.size());
}

ExactString::ExactString(std::string_view text)
{
    text = text.substr(0, text.find('\0'));
    bytes_.reset(new char[text.size() + 1]);
    text.copy(bytes_.get(), text.size());
    bytes_[text.size()] = '\0';
}

std::string_view next_piece(std::string_view &rest)
{
    constexpr std::string_view separator = "\n---\n";
    const std::size_t end = rest.find(separator);
    const std::string_view piece = rest.substr(0, end);
    rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + separator.size());
    return piece;
}

} // namespace vorn::fuzz
