/* SPDX-License-Identifier: MIT */
/*
 * The canonical form: each instance is a text of its own, the texts are sorted by their bytes and
 * joined. A text without a value is the same as none, as it is to the daemon.
 */
#include "content.h"

#include <algorithm>

#include "signature.h"

namespace vorn::fleet {

namespace {

void add(std::string &text, const std::string &word)
{
    text += std::to_string(word.size());
    text += ':';
    text += word;
    text += ',';
}

std::string hashed(const std::string &class_name, const Item &item)
{
    std::string text = "+";
    add(text, class_name);
    if (item.name) add(text, *item.name);
    text += '=';
    for (const auto &[property, value] : item.values) {
        if (value.empty()) continue;
        add(text, property);
        add(text, value);
    }
    return text + ";";
}

std::string hashed_none(const std::string &class_name, const std::string &name)
{
    std::string text = "-";
    add(text, class_name);
    add(text, name);
    return text + ";";
}

} // namespace

std::string hash_of(const Content &content)
{
    std::vector<std::string> texts;
    for (const auto &[class_name, part] : content) {
        for (const Item &each : part.items)
            texts.push_back(hashed(class_name, each));
        for (const std::string &each : part.none)
            texts.push_back(hashed_none(class_name, each));
    }
    std::ranges::sort(texts);
    std::string all;
    for (const std::string &each : texts)
        all += each;
    return sha256(all);
}

} // namespace vorn::fleet
