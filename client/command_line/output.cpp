/* SPDX-License-Identifier: MIT */
/* Results for people and for programs. */
#include "output.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cwchar>
#include <iostream>
#include <numeric>

#include <sys/ioctl.h>
#include <unistd.h>

#include "text.h"

namespace vorn::client {

namespace {

constexpr char bold[] = "\033[1m";
constexpr char plain[] = "\033[0m";

std::size_t width(const std::string &text)
{
    std::wstring wide(text.size() + 1, L'\0');
    const std::size_t length = std::mbstowcs(wide.data(), text.c_str(), wide.size());
    if (length == static_cast<std::size_t>(-1)) return text.size();
    const int columns = wcswidth(wide.data(), length);
    return columns < 0 ? length : static_cast<std::size_t>(columns);
}

/* No limit when the output is no terminal. */
std::size_t terminal_width()
{
    winsize size = {};
    if (!isatty(STDOUT_FILENO) || ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0) {
        return std::string::npos;
    }
    return size.ws_col == 0 ? std::string::npos : size.ws_col;
}

std::vector<std::size_t> column_widths(const Row &head, const Rows &rows)
{
    std::vector<std::size_t> widths;
    for (std::size_t i = 0; i < head.size(); i++) {
        widths.push_back(width(head[i]));
        for (const auto &row : rows)
            widths[i] = std::max(widths[i], width(row[i]));
    }
    return widths;
}

bool is_on_screen(const std::vector<std::size_t> &widths)
{
    return std::accumulate(widths.begin(), widths.end(), 2 * widths.size()) <= terminal_width();
}

std::string line_of(const Row &cells, const std::vector<std::size_t> &widths)
{
    std::string line;
    for (std::size_t i = 0; i < cells.size(); i++) {
        line += cells[i];
        if (i + 1 < cells.size()) line.append(widths[i] - width(cells[i]) + 2, ' ');
    }
    line.erase(line.find_last_not_of(' ') + 1);
    return line;
}

std::vector<std::string> properties_of(const std::vector<Instance> &instances)
{
    std::vector<std::string> properties;
    for (const Instance &instance : instances) {
        for (const auto &[property, value] : instance.values) {
            if (!contains(properties, property)) properties.push_back(property);
        }
    }
    return properties;
}

void print_json(const std::vector<Instance> &instances)
{
    JsonWriter json(json_indentation);
    json.open_list();
    for (const Instance &instance : instances) {
        json.open_object();
        json.member("class", instance.class_name);
        if (instance.name) json.member("name", *instance.name);
        json.name("values");
        write_values(json, instance.values);
        json.close_object();
    }
    json.close_list();
    std::cout << json.document() << '\n';
}

void print_xml(const std::vector<Instance> &instances)
{
    pugi::xml_document document;
    pugi::xml_node root = document.append_child("dataset");
    for (const Instance &instance : instances) {
        pugi::xml_node element = root.append_child(instance.class_name.c_str());
        if (instance.name) set_name(element, *instance.name);
        for (const auto &[property, value] : instance.values) {
            set_text(element.append_child(property.c_str()), value);
        }
    }
    document.save(std::cout, "  ", pugi::format_indent | pugi::format_no_escapes);
}

std::string bare_title_of(const Instance &instance)
{
    return instance.name ? concat({instance.class_name, " ", shown(*instance.name)})
                         : instance.class_name;
}

} // namespace

Row row(std::initializer_list<std::string_view> cells)
{
    return {cells.begin(), cells.end()};
}

void write_values(JsonWriter &json, const Values &values)
{
    json.open_object();
    for (const auto &[property, value] : values)
        json.member(property, value);
    json.close_object();
}

bool Output::is_coloured() const
{
    if (colour != Colour::automatic) return colour == Colour::always;
    const char *refused = std::getenv("NO_COLOR");
    return isatty(STDOUT_FILENO) && !(refused && *refused);
}

std::string Output::emphasised(const std::string &text) const
{
    return is_coloured() ? concat({bold, text, plain}) : text;
}

void Output::print_table(const Row &head, const Rows &rows) const
{
    const std::vector<std::size_t> widths = column_widths(head, rows);
    if (!is_on_screen(widths)) {
        for (const auto &row : rows) {
            Rows lines;
            for (std::size_t i = 1; i < head.size(); i++)
                lines.push_back({concat({"  ", head[i]}), row[i]});
            print_lines(row[0], lines, &row == &rows.front());
        }
        return;
    }
    std::cout << emphasised(line_of(head, widths)) << '\n';
    for (const auto &row : rows)
        std::cout << line_of(row, widths) << '\n';
}

void Output::print_lines(const std::string &title, const Rows &lines, bool is_first) const
{
    if (!is_first) std::cout << '\n';
    std::cout << emphasised(title) << '\n';
    const std::vector<std::size_t> widths = column_widths(Row(2), lines);
    for (const auto &line : lines)
        std::cout << line_of(line, widths) << '\n';
}

void Output::print(const std::vector<Instance> &instances) const
{
    if (format == Format::json) return print_json(instances);
    if (format == Format::xml) return print_xml(instances);
    if (instances.empty()) return;

    const bool named =
        std::ranges::any_of(instances, [](const Instance &each) { return each.name.has_value(); });
    const std::vector<std::string> properties = properties_of(instances);
    Row head = properties;
    Rows rows;
    if (named) head.insert(head.begin(), instances[0].class_name);
    for (const Instance &instance : instances) {
        Row &row = rows.emplace_back();
        if (named) row.push_back(shown(instance.called()));
        for (const std::string &property : properties)
            row.push_back(shown(instance.value(property)));
    }
    if (instances.size() > 1 && is_on_screen(column_widths(head, rows))) {
        return print_table(head, rows);
    }
    for (const Instance &instance : instances) {
        Rows lines;
        for (const auto &[property, value] : instance.values)
            lines.push_back(row({concat({"  ", property}), shown(value)}));
        print_lines(bare_title_of(instance), lines, &instance == &instances.front());
    }
}

Progress::Progress(const char *what, std::size_t total)
    : what_(what), total_(total), shown_(isatty(STDERR_FILENO) && total > 1)
{}

void Progress::step()
{
    done_++;
    if (shown_) std::fprintf(stderr, "\r%s %zu of %zu", what_, done_, total_);
}

Progress::~Progress()
{
    if (shown_) std::fprintf(stderr, "\r\033[K");
}

} // namespace vorn::client
