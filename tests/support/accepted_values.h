/* SPDX-License-Identifier: MIT */
#pragma once

#include <algorithm>
#include <cstdint>
#include <map>
#include <random>
#include <regex>
#include <string>
#include <vector>

/*
 * What schema-property's `accepts` says, read and judged here by other code than the daemon's: each
 * value made from a description has to be taken, and each one near its edges judged alike.
 */
namespace vorn::tests::accepted {

struct Alternative {
    std::string kind;
    std::string of;
    std::string class_name;
    std::vector<std::string> words;
    long long from = 0, to = 0, step = 1;
    std::size_t min = 0, max = 0;
    double least = 0, most = 0;
    std::string ranges = {};
    bool is_plain = false;
    bool is_list = false;
    bool are_numerals = false;
};

using Alternatives = std::vector<Alternative>;
using Random = std::mt19937;

inline std::string field(const std::string &object, const std::string &name)
{
    std::smatch found;
    const std::regex pattern("\"" + name + "\":\"?([^\",}]*)");
    return std::regex_search(object, found, pattern) ? found[1].str() : "";
}

inline long long number(const std::string &object, const std::string &name)
{
    const std::string text = field(object, name);
    return text.empty() ? 0 : std::stoll(text);
}

inline Alternatives parse(const std::string &json)
{
    Alternatives all;
    const std::regex object("\\{[^}]*\\}");
    for (std::sregex_iterator each(json.begin(), json.end(), object), end; each != end; ++each) {
        const std::string text = each->str();
        Alternative one{field(text, "kind"), field(text, "of"), field(text, "class"), {}};
        if (one.kind == "real") {
            one.least = std::stod(field(text, "from"));
            one.most = std::stod(field(text, "to"));
        } else {
            one.from = number(text, "from");
            one.to = number(text, "to");
        }
        one.ranges = field(text, "ranges");
        one.step = std::max(1LL, number(text, "step"));
        one.min = static_cast<std::size_t>(number(text, "min"));
        one.max = static_cast<std::size_t>(number(text, "max"));
        one.is_plain = field(text, "plain") == "true";
        one.is_list = field(text, "list") == "true";
        one.are_numerals = field(text, "numerals") == "true";
        std::smatch list;
        if (std::regex_search(text, list, std::regex("\"words\":\\[([^\\]]*)\\]"))) {
            const std::string words = list[1];
            const std::regex word("\"([^\"]*)\"");
            for (std::sregex_iterator at(words.begin(), words.end(), word); at != end; ++at)
                one.words.push_back((*at)[1]);
        }
        all.push_back(one);
    }
    return all;
}

inline bool is_like(const std::string &value, const char *pattern)
{
    static std::map<std::string, std::regex>
        known; /* to make one takes much longer than to ask it */
    const auto found = known.try_emplace(pattern, pattern).first;
    return std::regex_match(value, found->second);
}

/* The four numbers of an address; none for what is no address. */
inline std::vector<int> octets(const std::string &value)
{
    std::vector<int> numbers;
    if (value.size() > 15 || !is_like(value, "[0-9]+(\\.[0-9]+){3}")) return {};
    for (std::size_t at = 0; at < value.size(); at = value.find('.', at) + 1) {
        numbers.push_back(std::stoi(value.substr(at)));
        if (value.find('.', at) == std::string::npos) break;
    }
    return std::ranges::all_of(numbers, [](int each) { return each <= 255; }) ? numbers
                                                                              : std::vector<int>{};
}

inline bool has_leading_zero(const std::string &value)
{
    return is_like(value, "(.*\\.)?0[0-9].*");
}

inline std::uint32_t bits(const std::vector<int> &numbers)
{
    std::uint32_t all = 0;
    for (const int each : numbers)
        all = all << 8 | static_cast<std::uint32_t>(each);
    return all;
}

inline bool is_address(const Alternative &one, const std::string &value)
{
    const std::vector<int> numbers = octets(value);
    if (numbers.empty()) return false;
    if (one.of.empty()) return true;
    const std::uint32_t zeros = ~bits(numbers);
    const bool is_one = one.of == "host" ? numbers[0] >= 1 && numbers[0] < 224
                                         : bits(numbers) != 0 && (zeros & (zeros + 1)) == 0;
    return is_one && !has_leading_zero(value);
}

inline bool is_network(const std::string &value)
{
    std::smatch parts;
    if (!std::regex_match(value, parts, std::regex("([0-9.]+)/([0-9]+)"))) return false;
    const std::vector<int> numbers = octets(parts[1]);
    const int prefix = parts[2].length() > 9 ? 99 : std::stoi(parts[2]);
    if (numbers.empty() || prefix > 32) return false;
    const std::uint32_t hosts = prefix == 32 ? 0 : UINT32_MAX >> prefix;
    return (bits(numbers) & hosts) == 0 || has_leading_zero(parts[1]);
}

inline bool is_label(const std::string &value)
{
    return value.size() <= 63 && is_like(value, "[A-Za-z0-9]([A-Za-z0-9-]*[A-Za-z0-9])?");
}

inline bool is_domain_name(std::string value)
{
    if (value.ends_with('.')) value.pop_back();
    if (value.size() > 253) return false;
    for (;;) {
        const std::size_t dot = value.find('.');
        if (!is_label(value.substr(0, dot))) return false;
        if (dot == std::string::npos) return true;
        value = value.substr(dot + 1);
    }
}

/* Of what is UTF-8 for sure. */
inline bool is_text(const Alternative &one, const std::string &value)
{
    std::size_t count = 0;
    for (const char each : value) {
        const auto byte = static_cast<unsigned char>(each);
        if (byte < ' ' || byte == 0x7f) return false;
        count += (byte & 0xc0) != 0x80;
    }
    return count >= one.min && count <= one.max;
}

inline bool is_number(const Alternative &one, const std::string &value)
{
    if (!is_like(value, one.from < 0 ? "-?[0-9]{1,18}" : "[0-9]{1,18}")) return false;
    const long long read = std::stoll(value);
    return read >= one.from && read <= one.to && (read - one.from) % one.step == 0;
}

inline bool is_real(const Alternative &one, const std::string &value)
{
    if (value.size() > 32) return false;
    if (!is_like(value, one.least < 0 ? "-?[0-9]+(\\.[0-9]+)?" : "[0-9]+(\\.[0-9]+)?"))
        return false;
    const double read = std::stod(value);
    return read >= one.least && read <= one.most;
}

inline bool is_of_characters(const Alternative &one, const std::string &value)
{
    for (const char each : value) {
        bool is_in_one = false;
        for (std::size_t pair = 0; pair + 1 < one.ranges.size(); pair += 2)
            is_in_one |= each >= one.ranges[pair] && each <= one.ranges[pair + 1];
        if (!is_in_one) return false;
    }
    return value.size() >= one.min && value.size() <= one.max;
}

inline bool takes_word(const Alternative &one, const std::string &value)
{
    const std::string &kind = one.kind;
    if (one.are_numerals)
        return std::ranges::any_of(one.words, [&](const std::string &each) {
            const std::size_t sign = each.starts_with('-') ? 1 : 0;
            const std::string digits = "0*" + each.substr(sign);
            return is_like(value, ((sign ? "-" : "") + digits).c_str());
        });
    if (kind == "words") return std::ranges::find(one.words, value) != one.words.end();
    if (kind == "number") return is_number(one, value);
    if (kind == "text") return is_text(one, value);
    if (kind == "real") return is_real(one, value);
    if (kind == "characters") return is_of_characters(one, value);
    if (kind == "name") return !value.empty();
    if (kind == "nothing") return value.empty();
    if (kind == "ip") return is_address(one, value);
    if (kind == "network") return is_network(value);
    if (kind == "mac") return is_like(value, "[0-9A-Fa-f]{2}(:[0-9A-Fa-f]{2}){5}");
    if (kind == "domain-label") return is_label(value);
    if (kind == "domain-name") return is_domain_name(value);
    if (kind == "ip-or-domain-name" && one.is_plain && is_like(value, "[0-9.]*"))
        return !octets(value).empty();
    if (kind == "ip-or-domain-name") return !octets(value).empty() || is_domain_name(value);
    if (kind == "interface" && one.is_plain)
        return value.size() <= 15 && is_like(value, "[A-Za-z0-9_][A-Za-z0-9_.-]*");
    if (kind == "interface") return value.size() <= 16;
    if (kind == "ssid") return !value.empty() && value.size() <= 32;
    if (kind == "wpa-psk-key")
        return value.size() >= 8 && value.size() <= 63 && is_like(value, "[ -~]*");
    if (kind == "word") return is_like(value, "[A-Za-z0-9'-]*");
    return kind == "phrase" && is_like(value, "[ -~]*");
}

inline bool takes(const Alternatives &all, const std::string &value)
{
    const auto is_taken = [&](const std::string &word) {
        return std::ranges::any_of(all, [&](const auto &one) { return takes_word(one, word); });
    };
    if (all.empty() || !all[0].is_list) return is_taken(value);
    const std::regex word("[^ ]+");
    for (std::sregex_iterator each(value.begin(), value.end(), word), end; each != end; ++each)
        if (!is_taken(each->str())) return false;
    return true;
}

inline long long between(Random &random, long long least, long long most)
{
    return std::uniform_int_distribution<long long>(least, most)(random);
}

inline std::string letters(Random &random, const std::string &of, long long least, long long most)
{
    std::string text;
    for (long long left = between(random, least, most); left > 0; left--)
        text += of[static_cast<std::size_t>(between(random, 0, std::ssize(of) - 1))];
    return text;
}

constexpr char alphanumeric[] = "abcxyzABCXYZ0123456789";

inline std::string dotted(std::uint32_t number)
{
    return std::to_string(number >> 24) + '.' + std::to_string(number >> 16 & 255) + '.' +
           std::to_string(number >> 8 & 255) + '.' + std::to_string(number & 255);
}

inline std::string some_address(const Alternative &one, Random &random)
{
    const auto any = static_cast<std::uint32_t>(random());
    if (one.of == "host") return dotted(any % 0xdf000000 + 0x01000000);
    if (one.of == "netmask") return dotted(UINT32_MAX << between(random, 0, 31));
    return dotted(any);
}

inline std::string some_network(Random &random)
{
    const long long prefix = between(random, 0, 32);
    const std::uint32_t mask = prefix == 0 ? 0 : UINT32_MAX << (32 - prefix);
    return dotted(static_cast<std::uint32_t>(random()) & mask) + '/' + std::to_string(prefix);
}

inline std::string some_name(Random &random)
{
    std::string name = letters(random, alphanumeric, 1, 63);
    for (long long left = between(random, 0, 2); left > 0; left--)
        name += '.' + letters(random, alphanumeric, 1, 62);
    return name;
}

inline std::string some_mac(Random &random)
{
    std::string mac = letters(random, "0123456789abcdefABCDEF", 2, 2);
    for (int i = 0; i < 5; i++)
        mac += ':' + letters(random, "0123456789abcdefABCDEF", 2, 2);
    return mac;
}

inline std::string some_text(const Alternative &one, Random &random)
{
    std::string text;
    for (long long left =
             between(random, static_cast<long long>(one.min), static_cast<long long>(one.max));
         left > 0; left--)
        text += letters(random, "abc XYZ0.-/", 1, 1);
    return text;
}

inline std::string some_number(const Alternative &one, Random &random)
{
    const long long steps = (one.to - one.from) / one.step;
    const long long edges[] = {0, 1, steps - 1, steps, between(random, 0, steps)};
    const long long step = edges[between(random, 0, std::ssize(edges) - 1)];
    return std::to_string(one.from + std::clamp(step, 0LL, steps) * one.step);
}

/* With three digits of a fraction, or the lower edge. */
inline std::string some_real(const Alternative &one, Random &random)
{
    const long long fraction = between(random, 0, 999);
    const long long whole =
        between(random, static_cast<long long>(one.least), static_cast<long long>(one.most));
    const std::string digits = std::to_string(1000 + fraction).substr(1);
    const std::string value = std::to_string(whole) + '.' + digits;
    return is_real(one, value) ? value : std::to_string(one.least);
}

inline std::string some_characters(const Alternative &one, Random &random)
{
    std::string all;
    for (std::size_t pair = 0; pair + 1 < one.ranges.size(); pair += 2)
        for (int each = one.ranges[pair]; each <= one.ranges[pair + 1]; each++)
            all += static_cast<char>(each);
    return letters(random, all, static_cast<long long>(one.min), static_cast<long long>(one.max));
}

/* A value that the alternative takes. */
inline std::string some_word(const Alternative &one, Random &random)
{
    const std::string &kind = one.kind;
    if (kind == "words")
        return one.words[static_cast<std::size_t>(between(random, 0, std::ssize(one.words) - 1))];
    if (kind == "number") return some_number(one, random);
    if (kind == "text") return some_text(one, random);
    if (kind == "real") return some_real(one, random);
    if (kind == "characters") return some_characters(one, random);
    if (kind == "name" || (kind == "interface" && one.is_plain))
        return letters(random, alphanumeric, 1, 15);
    if (kind == "nothing") return "";
    if (kind == "ip") return some_address(one, random);
    if (kind == "network") return some_network(random);
    if (kind == "mac") return some_mac(random);
    if (kind == "ip-or-domain-name" && between(random, 0, 1) == 0) return some_address(one, random);
    if (kind == "domain-name" || kind == "ip-or-domain-name")
        return 'a' + some_name(random).substr(1);
    if (kind == "ssid") return letters(random, alphanumeric, 1, 32);
    if (kind == "wpa-psk-key") return letters(random, "abcABC019 !~.", 8, 63);
    return letters(random, alphanumeric, 1, kind == "interface" ? 16 : 63);
}

inline std::string some_value(const Alternatives &all, Random &random)
{
    const auto pick = [&] {
        return all[static_cast<std::size_t>(between(random, 0, std::ssize(all) - 1))];
    };
    if (!all[0].is_list) return some_word(pick(), random);
    std::string list;
    for (long long left = between(random, 0, 3); left > 0; left--)
        list += some_word(pick(), random) + (left > 1 ? " " : "");
    return list;
}

/* The number beside one at the edge. */
inline std::string beside(const std::string &value, Random &random)
{
    if (!is_like(value, "-?[0-9]{1,12}")) return value + value;
    return std::to_string(std::stoll(value) + (between(random, 0, 1) == 0 ? 1 : -1));
}

/* A value that differs in one place, which the description may take or not. */
inline std::string near(std::string value, Random &random)
{
    const std::string other = letters(random, "0129abgzAZ.:-/_~'", 1, 1);
    const std::size_t at =
        value.empty() ? 0 : static_cast<std::size_t>(between(random, 0, std::ssize(value) - 1));
    switch (between(random, 0, 5)) {
    case 0:
        return value.insert(at, other);
    case 1:
        return value.empty() ? other : value.erase(at, 1);
    case 2:
        return value.empty() ? other : value.replace(at, 1, other);
    case 3:
        return beside(value, random);
    case 4: /* no other number */
        return '0' + value;
    default:
        return value + other;
    }
}

} // namespace vorn::tests::accepted
