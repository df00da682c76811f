/* SPDX-License-Identifier: MIT */
/*
 * Text tables: a file of "key=value" lines becomes a line of values, in rooms of several sizes,
 * and lines become updates of a populated board. An input is the file and, after a line of three
 * hyphens, further lines of a table.
 */
#include "config/config_state.h"
#include "vorn/util.h"

#include <cstring>
#include <vector>

#include "fuzz/board.h"
#include "fuzz/consistency.h"
#include "fuzz/scratch.h"
#include "fuzz/target.h"

namespace {

using namespace vorn::fuzz;

struct Table {
    const char *class_name;
    std::vector<const char *> columns; /* null-terminated */
};

const Table tables[] = {
    {"Radio", {"*name", "channel", "mode", "uptime", nullptr}},
    {"Radio", {"name", "", "#mode", "*channel", "uptime", nullptr}},
    {"Acl", {"name", "*mac", "mac", nullptr}},
    {"Route", {"*to", "*to", "to", nullptr}},
    {"Board", {"label", nullptr}},
    {"Address", {"name", "metric", "ip", nullptr}},
    {"interface", {"name", "exclude-unencrypted", nullptr}},
    {"Nothing", {"name", "at", nullptr}},
};

constexpr int rooms[] = {1, 2, 3, 16, 100, 7999};

/* One line in a room of that size; it never leaves the room, and ends in a NUL. */
std::string line_of(const std::string &path, const Table &table, int size)
{
    const std::unique_ptr<char[]> room(new char[static_cast<std::size_t>(size)]);
    room[0] = '\0';
    const int result =
        vorn_util_add_line_from_proc(room.get(), size, path.c_str(), "r0 ", table.columns.data());

    require(result == 0, "a file is read");
    require(std::memchr(room.get(), '\0', static_cast<std::size_t>(size)), "a line is terminated");
    return room.get();
}

void update(const std::string &text, const Table &table)
{
    ExactString lines(text);
    vorn_util_put2object(lines.get(), table.columns.data(), table.class_name);
    require(take_commits().empty(), "a table commits nothing");
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static const ScratchFolder folder;
    const std::string path = folder / "status";
    std::string_view rest = as_text(data, size);

    set_up_board();
    const Board board;
    Board::populate();
    write_file(path, next_piece(rest));
    for (const Table &table : tables) {
        std::string line;
        for (const int room : rooms)
            line = line_of(path, table, room);
        update(line + std::string(rest), table);
    }
    require_consistent(vorn::running_config);
    return 0;
}
