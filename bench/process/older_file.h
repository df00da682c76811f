/* SPDX-License-Identifier: MIT */
#pragma once

#include "core/debug_state.h"
#include "vorn/migration.h"
#include "vorn/schema.h"

#include <cstdio>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <utility>

#include "process/board.h"

namespace vorn::bench {

/* The file of a board whose names were others, to be read by one that knows what they became. */
class OlderFile {
public:
    explicit OlderFile(int items) : file_(items)
    {
        std::ostringstream text;
        text << std::ifstream(file_.path).rdbuf();
        std::string older = text.str();
        for (const auto &[now, then] : {std::pair{"Item", "Thing"}, {"p1>", "q1>"}, {"p2>", "q2>"}})
            replace(older, now, then);
        for (std::size_t at = 0; (at = older.find("    <p0>", at)) != std::string::npos;)
            older.erase(at, older.find('\n', at) + 1 - at);
        std::ofstream(file_.path) << older;
    }

    const char *path() const { return file_.path; }

private:
    static void replace(std::string &text, const std::string &now, const std::string &then)
    {
        for (std::size_t at = 0; (at = text.find(now, at)) != std::string::npos; at += then.size())
            text.replace(at, now.size(), then);
    }

    ConfigFile file_;
};

/* Renames, a value that is mapped where it is, and one that all get. The log goes nowhere. */
inline void declare_migrations()
{
    debug_state.stream = std::fopen("/dev/null", "w");
    static const vorn_migration steps[] = {
        VORN_RENAME_CLASS(1, "Thing", "Item"),
        VORN_RENAME_PROPERTY(1, "Item", "q1", "p1"),
        VORN_RENAME_PROPERTY(2, "Item", "q2", "p2"),
        VORN_MAP_VALUE(2, "Item", "p3", "value 7.3", "value seven"),
        VORN_DEFAULT_VALUE(3, "Item", "p0", "value 0"),
        VORN_DROP_PROPERTY(3, "Item", "gone"),
    };
    static char name[] = "board.vorn";
    static vorn_plugin plugin = {name};
    vorn_plugin_set_schema(&plugin, "board", 3, steps, std::size(steps));
}

} // namespace vorn::bench
