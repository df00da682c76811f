/* SPDX-License-Identifier: MIT */
/*
 * The default file: a header with version, length and digest, an empty line, and one document.
 * It is the factory's word, so nothing of it is believed before its digest has been checked. The
 * codes appear in the log and in people's notes about it.
 */
#include "config/default_file.h"

#include "config/file_replace.h"
#include "core/base/file.h"
#include "core/base/limits.h"
#include "core/base/paths.h"
#include "core/base/result.h"
#include "core/base/text.h"
#include "vorn/debug.h"
#include "vorn/service.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include <strings.h>
#include <sys/stat.h>

namespace vorn {

namespace {

enum HeaderCode {
    header_complete = 0,
    ended_prematurely = 1,
    unreadable_line = 2,
    bad_version = 3,
    bad_length = 4,
    bad_md5sum = 5,
    bad_name = 6,
    headers_missing = 7, /* plus what was seen */
};

enum CopyCode {
    copied = 0,
    no_default = 1,
    no_scratch_copy = 2,
    no_checksum_list = 3,
    wrong_digest = 4,
    unreadable = 5,
    no_startup = 6,
    bad_header = 100, /* plus the header's code */
};

constexpr int length_seen = 1;
constexpr int version_seen = 2;
constexpr int md5sum_seen = 4;
constexpr int all_seen = length_seen | version_seen | md5sum_seen;

int take_version(DefaultHeader &, const char *value)
{
    if (std::strcmp(value, "1") == 0) return header_complete;
    vorn_debug_eprintf("Bad default Version: %s.\n", value);
    return bad_version;
}

/* An empty value has always been a length of 0. */
int take_length(DefaultHeader &header, const char *value)
{
    char *end = nullptr;
    header.length = std::strtol(value, &end, 10);
    if (*end == '\0') return header_complete;
    vorn_debug_eprintf("Bad default Length: %s.\n", value);
    return bad_length;
}

int take_md5sum(DefaultHeader &header, const char *value)
{
    if (std::strlen(value) != md5_length) {
        vorn_debug_eprintf("Bad default Md5sum: %s.\n", value);
        return bad_md5sum;
    }
    std::memcpy(header.md5sum, value, md5_length + 1);
    return header_complete;
}

struct HeaderLine {
    const char *name;
    int seen;
    int (*take)(DefaultHeader &header, const char *value);
};

constexpr HeaderLine header_lines[] = {
    {"Version", version_seen, take_version},
    {"Length", length_seen, take_length},
    {"MD5sum", md5sum_seen, take_md5sum},
};

int take_line(DefaultHeader &header, char *line, int &seen)
{
    char *separator = std::strstr(line, ": ");
    if (!separator) {
        vorn_debug_eprintf("Couldn't read header line in default.\n");
        return unreadable_line;
    }
    *separator = '\0';
    char *value = separator + 2;
    if (char *end = std::strrchr(value, '\n')) *end = '\0';

    for (const HeaderLine &each : header_lines) {
        if (std::strcmp(line, each.name) != 0) continue;
        seen |= each.seen;
        return each.take(header, value);
    }
    vorn_debug_eprintf("Bad default header name: %s.\n", line);
    return bad_name;
}

int end_of_header(int seen)
{
    if (seen == all_seen) return header_complete;
    vorn_debug_eprintf("Headers are missing.\n");
    return headers_missing + seen;
}

bool write_scratch_copy(std::FILE *source, long length)
{
    FileReplacement scratch(paths::scratch_default, FileKind::scratch);
    if (!scratch) {
        vorn_debug_eprintf("Can't open %s.\n", paths::scratch_default);
        return false;
    }
    copy_bytes(source, scratch.stream(), length);
    return scratch.commit();
}

bool write_checksum_list(const char *md5sum)
{
    FileReplacement list(paths::scratch_checksum_list, FileKind::scratch);
    if (!list) {
        vorn_debug_eprintf("Can't open %s.\n", paths::scratch_checksum_list);
        return false;
    }
    std::fprintf(list.stream(), "%s  %s\n", md5sum, paths::scratch_default);
    return list.commit();
}

/* As the tool finds it: of what there is of the document. Leaves the file where it was. */
bool is_digest_right(std::FILE *file, const DefaultHeader &header)
{
    char block[1024];
    Md5 digest;
    const long document = std::ftell(file);
    for (long left = header.length; left > 0;) {
        const auto wanted = std::min(static_cast<std::size_t>(left), sizeof block);
        const std::size_t taken = std::fread(block, 1, wanted, file);
        if (taken == 0) break;
        digest.add(block, taken);
        left -= static_cast<long>(taken);
    }
    char found[md5_length + 1];
    digest.finish(found);
    return !std::ferror(file) && std::fseek(file, document, SEEK_SET) == 0 &&
           strcasecmp(found, header.md5sum) == 0;
}

/* The tool's answer lands in a file that was made here, so that no planted link is followed. */
bool compute_md5sum(char (&md5sum)[md5_length + 1])
{
    const Line<128> command("%s %s > %s", paths::checksum_tool, paths::scratch_default,
                            paths::scratch_digest);
    const bool made = make_scratch_file(paths::scratch_digest);
    const bool computed = made && std::system(command.get()) == 0;
    const File digest = made ? read_regular(paths::scratch_digest) : File();
    if (!digest) {
        vorn_debug_eprintf("Can't open %s.\n", paths::scratch_digest);
        return false;
    }
    const bool read = computed && std::fscanf(digest.get(), "%32s", md5sum) == 1;
    if (read && std::strlen(md5sum) == md5_length) return true;
    vorn_debug_eprintf("Can't compute the checksum of %s.\n", paths::scratch_default);
    return false;
}

} // namespace

int read_default_header(std::FILE *file, DefaultHeader &header)
{
    char line[longest_header_line + 1];
    int seen = 0;

    while (std::fgets(line, sizeof line, file)) {
        if (std::strcmp(line, "\n") == 0) return end_of_header(seen);
        if (!std::strchr(line, '\n') && !std::feof(file)) line[0] = '\0'; /* too long, or a NUL */
        if (const int code = take_line(header, line, seen)) return code;
    }
    vorn_debug_eprintf("Headers ended prematurely in default.\n");
    return ended_prematurely;
}

bool could_not_be_copied(int code)
{
    return code == no_scratch_copy || code == no_checksum_list || code == no_startup;
}

File open_checked_default(const char *default_file, long &length)
{
    File file = read_regular(default_file);
    DefaultHeader header;
    if (!file || read_default_header(file.get(), header) != 0) return {};
    if (!is_digest_right(file.get(), header)) {
        vorn_debug_eprintf("%s failed checksum.\n", default_file);
        return {};
    }
    length = header.length;
    return file;
}

int copy_checked_default(const char *default_file, const char *startup_file)
{
    struct stat status;
    if (stat(default_file, &status) != 0) {
        vorn_debug_1printf("Default file %s does not exist.\n", default_file);
        return no_default;
    }
    const File source = read_regular(default_file);
    if (!source) {
        vorn_debug_eprintf("Can't open %s.\n", default_file);
        return unreadable;
    }
    DefaultHeader header;
    if (const int code = read_default_header(source.get(), header)) return bad_header + code;
    if (!write_scratch_copy(source.get(), header.length)) return no_scratch_copy;
    if (!write_checksum_list(header.md5sum)) return no_checksum_list;
    if (vorn_command_execl(paths::checksum_tool, "-c", paths::scratch_checksum_list, nullptr) !=
        0) {
        vorn_debug_eprintf("%s failed checksum.\n", default_file);
        return wrong_digest;
    }
    if (!copy_file(paths::scratch_default, startup_file)) return no_startup;
    sync();
    return copied;
}

int write_default_file(const char *default_file)
{
    struct stat status;
    if (stat(paths::scratch_default, &status) != 0) {
        vorn_debug_eprintf("Can't stat %s.\n", paths::scratch_default);
        return failed;
    }
    char md5sum[md5_length + 1] = "";
    if (!compute_md5sum(md5sum)) return failed;

    FileReplacement target(default_file);
    if (!target) {
        vorn_debug_eprintf("Can't open %s.\n", default_file);
        return failed;
    }
    std::fprintf(target.stream(), "Version: 1\nLength: %d\nMD5sum: %s\n\n",
                 static_cast<int>(status.st_size), md5sum);
    const File document = read_regular(paths::scratch_default);
    if (!document) {
        vorn_debug_eprintf("Can't open %s.\n", paths::scratch_default);
        return failed;
    }
    const auto length = static_cast<long>(status.st_size);
    if (copy_bytes(document.get(), target.stream(), length) != length) {
        vorn_debug_eprintf("Can't read %s.\n", paths::scratch_default);
        return failed;
    }
    return target.commit() ? ok : failed;
}

} // namespace vorn
