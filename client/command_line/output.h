/* SPDX-License-Identifier: MIT */
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include "json.h"
#include "lsql.h"

namespace vorn::client {

enum class Format { table, json, xml };
enum class Colour { automatic, always, never };

constexpr int json_indentation = 2;

void write_values(JsonWriter &json, const Values &values);

using Row = std::vector<std::string>;
using Rows = std::vector<Row>;

Row row(std::initializer_list<std::string_view> cells);

/* How results are shown; the same for every command. */
struct Output {
    Format format = Format::table;
    Colour colour = Colour::automatic;

    bool is_coloured() const;

    /*
     * Instances of one class as a table, or as one line for each property when there is only one
     * instance, or the table would be wider than the terminal.
     */
    void print(const std::vector<Instance> &instances) const;
    /* Rows below a head, columns aligned, or each row as lines when the terminal is too narrow. */
    void print_table(const Row &head, const Rows &rows) const;
    void print_table(std::initializer_list<std::string_view> head, const Rows &rows) const
    {
        print_table(row(head), rows);
    }
    void print_lines(const std::string &title, const Rows &lines, bool is_first) const;
    std::string emphasised(const std::string &text) const;
};

/* Tells people on a terminal how far something is; says nothing anywhere else. */
class Progress {
public:
    Progress(const char *what, std::size_t total);
    Progress(const Progress &) = delete;
    ~Progress();
    void step();

private:
    const char *what_;
    std::size_t total_;
    std::size_t done_ = 0;
    bool shown_;
};

} // namespace vorn::client
