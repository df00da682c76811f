/* SPDX-License-Identifier: MIT */
#include "files.h"

#include <cinttypes>
#include <cstdio>

#include <fcntl.h>
#include <unistd.h>

namespace vorn::fleet {

namespace {

bool replace(const std::string &path, const std::string &text, bool is_durable)
{
    const std::string aside = path + ".new";
    unlink(aside.c_str());
    const int file =
        open(aside.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0644);
    if (file < 0) return false;
    bool is_written = write(file, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    if (is_durable) is_written = fsync(file) == 0 && is_written;
    is_written = close(file) == 0 && is_written;
    return is_written && rename(aside.c_str(), path.c_str()) == 0;
}

/* So that the name lasts, too. */
bool flush_folder_of(const std::string &path)
{
    const int folder =
        open(path.substr(0, path.rfind('/') + 1).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (folder < 0) return false;
    const bool is_flushed = fsync(folder) == 0;
    close(folder);
    return is_flushed;
}

} // namespace

Note read_note(const std::string &path)
{
    Note note;
    unsigned ended = 0;
    std::FILE *file = std::fopen(path.c_str(), "re");
    if (!file) return {};
    const int count =
        std::fscanf(file, "%" SCNd64 " %" SCNd64 " %u", &note.generation, &note.attempts, &ended);
    std::fclose(file);
    if (count != 3 || ended > static_cast<unsigned>(Reason::off)) return {};
    note.ended = static_cast<Reason>(ended);
    return note;
}

bool write_note(const std::string &path, const Note &note)
{
    const std::string text = std::to_string(note.generation) + ' ' + std::to_string(note.attempts) +
                             ' ' + std::to_string(static_cast<unsigned>(note.ended)) + '\n';
    return replace(path, text, true) && flush_folder_of(path);
}

bool write_status(const std::string &path, const std::string &text)
{
    return replace(path, text, false);
}

} // namespace vorn::fleet
