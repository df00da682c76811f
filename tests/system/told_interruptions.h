/* SPDX-License-Identifier: MIT */
#pragma once

#include <algorithm>
#include <map>
#include <set>
#include <sstream>
#include <string>

namespace vorn::tests {

/* Names stand between backquotes in the first two cells. */
inline void read_told_row(const std::string &line, std::string &klass,
                          std::map<std::string, std::string> &found)
{
    const auto second = line.find('|', 1);
    const auto third = line.find('|', second + 1);
    std::string whom = line.substr(third + 2);
    whom.erase(whom.find(" |"));
    auto name = line.find('`');
    while (name < third) {
        const auto end = line.find('`', name + 1);
        const std::string text = line.substr(name + 1, end - name - 1);
        if (name < second) {
            klass = text;
        } else {
            found[klass + " " + text] = whom;
        }
        name = line.find('`', end + 1);
    }
}

/* The properties of the page's table under the heading, with what it says that they interrupt. */
inline std::map<std::string, std::string> told_interruptions(const std::string &text,
                                                             const std::string &heading)
{
    std::istringstream page(text);
    std::map<std::string, std::string> found;
    std::string line;
    std::string klass;
    bool is_there = false;
    while (std::getline(page, line)) {
        if (line.starts_with("## ")) is_there = line == heading;
        if (!is_there || !line.starts_with("| ") || line.find('`') == std::string::npos) continue;
        read_told_row(line, klass, found);
    }
    return found;
}

/* The properties that vornctl offers to whoever adds an instance. */
inline std::set<std::string> offered(const std::string &completions)
{
    std::istringstream lines(completions);
    std::set<std::string> found;
    for (std::string line; std::getline(lines, line);)
        if (line.ends_with("=")) found.insert(line.substr(0, line.size() - 1));
    return found;
}

/* What interrupts, in the words of the plugin without the commands, each once. */
inline std::string interrupted(const std::string &said)
{
    static const std::string mark = "<effect weight=\"interrupts\">";
    std::set<std::string> seen;
    std::string all;
    for (auto begin = said.find(mark); begin != std::string::npos; begin = said.find(mark, begin)) {
        begin += mark.size();
        std::string words = said.substr(begin, said.find("</effect>", begin) - begin);
        words.erase(std::min({words.find(": ip "), words.find(": bridge "), words.size()}));
        if (seen.insert(words).second) all += (all.empty() ? "" : "; ") + words;
    }
    return all.empty() ? "nobody" : all;
}

} // namespace vorn::tests
