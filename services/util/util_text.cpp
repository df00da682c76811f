/* SPDX-License-Identifier: MIT */
/*
 * Texts of status files: decoding URLs in place, and turning "key=value" lines into one line of
 * values. The rooms are fixed and given by the caller; nothing is written past them.
 */
#include "core/base/file.h"
#include "core/base/result.h"
#include "core/guard.h"
#include "services/util/util_columns.h"
#include "vorn/debug.h"
#include "vorn/util.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <string_view>

#include <fcntl.h>
#include <unistd.h>

namespace vorn {

namespace {

constexpr std::size_t longest_file = 2048;
constexpr int slots = 64;
constexpr int highest_filled_slot = 61;
constexpr int newline_and_nul = 2;

int hexadecimal_digit(char character)
{
    if (!std::isxdigit(static_cast<unsigned char>(character))) return -1;
    if (std::isdigit(static_cast<unsigned char>(character))) return character - '0';
    return std::tolower(static_cast<unsigned char>(character)) - 'a' + 10;
}

/* The number that two characters begin with; 0 when they begin with no hexadecimal digit. */
int encoded_byte(char first, char second)
{
    const int high = hexadecimal_digit(first);
    const int low = hexadecimal_digit(second);
    if (high < 0) return 0;
    return low < 0 ? high : high * 16 + low;
}

struct Value {
    std::string_view text;
    bool quoted = false;
};

/* One value for each column, from the lines of a file; a later line replaces an earlier one. */
class Row {
public:
    Row(std::string_view lines, const char *const *columns) : columns_(columns)
    {
        while (!lines.empty()) {
            const std::string_view line = head_of(lines, lines.find('\n'));
            take(line);
            if (line.size() == lines.size()) return;
            lines.remove_prefix(line.size() + 1);
        }
    }

    Value operator[](int column) const { return column < slots ? values_[column] : Value{}; }

private:
    void take(std::string_view line)
    {
        const std::size_t equals = line.find('=');
        if (equals == std::string_view::npos) return;
        const int column = find_column(columns_, head_of(line, equals));
        if (column < 0 || column > highest_filled_slot) return;

        const std::string_view text(line.data() + equals + 1, line.size() - equals - 1);
        const bool has_blank = text.find(' ') != std::string_view::npos;
        values_[column] = {text, has_blank && text.front() != '"'};
    }

    const char *const *columns_;
    Value values_[slots];
};

/*
 * Writes pieces while they fit. Each takes its length and one more of the room, so that what is
 * accounted for is never less than what is written.
 */
class Writer {
public:
    Writer(char *end, std::ptrdiff_t room) : begin_(end), end_(end), room_(room) {}

    bool write_prefix(std::string_view prefix)
    {
        if (!take(prefix.size())) return false;
        append(prefix);
        return true;
    }

    bool write_value(const Value &value)
    {
        if (!take(value.text.size() + (value.quoted ? 2 : 0))) return false;
        if (value.quoted) *end_++ = '"';
        append(value.text);
        if (value.quoted) *end_++ = '"';
        *end_++ = ' ';
        return true;
    }

    void end_line()
    {
        if (room_ > 0 && end_ != begin_) end_[-1] = '\n';
        *end_ = '\0';
    }

private:
    bool take(std::size_t length)
    {
        if (static_cast<std::ptrdiff_t>(length) >= room_) return false;
        room_ -= static_cast<std::ptrdiff_t>(length) + 1;
        return true;
    }

    void append(std::string_view text) { end_ = std::copy(text.begin(), text.end(), end_); }

    char *begin_;
    char *end_;
    std::ptrdiff_t room_;
};

void write_line(Writer &writer, const char *prefix, const Row &row, const char *const *columns)
{
    if (prefix && *prefix && !writer.write_prefix(prefix)) return;
    for (int column = 0; columns[column]; column++) {
        if (!writer.write_value(row[column])) return;
    }
}

} // namespace

} // namespace vorn

using namespace vorn;

void vorn_util_url_decode(char *text)
{
    if (absent(text, "text")) return;

    char *decoded = text;
    while (*text) {
        const bool complete = *text == '%' && text[1] && text[2];
        const int byte = complete ? encoded_byte(text[1], text[2]) : 0;
        *decoded++ = byte ? static_cast<char>(byte) : *text;
        text += byte ? 3 : 1;
    }
    *decoded = '\0';
}

int vorn_util_add_line_from_proc(char *output, int size, const char *path, const char *prefix,
                                 const void *columns)
{
    if (absent(output, "output") || absent(path, "path")) return failed;
    if (absent(columns, "columns")) return failed;

    const Fd file(open(path, O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (!file) {
        vorn_debug_eprintf("Can't open %s.\n", path);
        return failed;
    }
    char bytes[longest_file];
    const ssize_t count = read(file.get(), bytes, sizeof bytes);

    const std::size_t used = std::strlen(output);
    const std::ptrdiff_t room = size - static_cast<std::ptrdiff_t>(used) - newline_and_nul;
    if (room <= 0) return ok;

    const auto *names = static_cast<const char *const *>(columns);
    const std::string_view lines(bytes, count > 0 ? static_cast<std::size_t>(count) : 0);
    Writer writer(output + used, room);
    write_line(writer, prefix, Row(lines, names), names);
    writer.end_line();
    return ok;
}
