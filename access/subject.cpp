/* SPDX-License-Identifier: MIT */
/*
 * Names of users and groups are looked up in the system's files by hand: the C library would load
 * whatever the device names in nsswitch.conf, which may ask over the network.
 */
#include "access/subject.h"

#include "core/base/file.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

#include <fcntl.h>

namespace vorn {

namespace {

constexpr unsigned int buckets = 8;
constexpr std::size_t line_room = 256;

/* "name:password:number:..."; what comes after the number may have been cut. */
bool read_line(char *line, const char *&name, std::uint32_t &number)
{
    char *rest = line;
    name = strsep(&rest, ":");
    if (!rest) return false;
    strsep(&rest, ":");
    const char *digits = rest ? strsep(&rest, ":") : nullptr;
    if (!rest || *name == '\0' || *digits < '0' || *digits > '9') return false;
    char *end = nullptr;
    number = static_cast<std::uint32_t>(std::strtoul(digits, &end, 10));
    return *end == '\0';
}

/* Calls back for each line, cut to its room; false when it can't be read to the end. */
template <typename Call>
bool for_each_line(const char *path, Call call)
{
    const Fd file = open_regular(path, O_RDONLY);
    char block[1024];
    char line[line_room];
    std::size_t length = 0;
    ssize_t count = file ? 1 : -1;
    while (count > 0 && (count = read(file.get(), block, sizeof block)) > 0) {
        for (ssize_t i = 0; i < count; i++) {
            if (block[i] != '\n') {
                if (length < sizeof line - 1) line[length++] = block[i];
                continue;
            }
            line[std::exchange(length, 0)] = '\0';
            if (!call(line)) return false;
        }
    }
    line[length] = '\0';
    return count == 0 && (length == 0 || call(line));
}

bool is_number(const char *text, std::uint32_t number)
{
    char digits[16];
    std::snprintf(digits, sizeof digits, "%lu", static_cast<unsigned long>(number));
    return std::strcmp(text, digits) == 0;
}

bool has_group_of_number(const Subject &subject, const char *text)
{
    const std::uint32_t *end = subject.groups + subject.group_count;
    if (!subject.knows_groups) return false;
    if (is_number(text, subject.gid)) return true;
    return std::any_of(subject.groups, end,
                       [text](std::uint32_t each) { return is_number(text, each); });
}

} // namespace

bool Subject::is_same(const Subject &other) const
{
    return uid == other.uid && gid == other.gid && knows_groups == other.knows_groups &&
           std::equal(groups, groups + group_count, other.groups,
                      other.groups + other.group_count) &&
           std::strcmp(gate_name, other.gate_name) == 0;
}

bool Subject::has_group(std::uint32_t number) const
{
    return gid == number || std::find(groups, groups + group_count, number) != groups + group_count;
}

bool is_gate_name(const char *text)
{
    const std::size_t length = std::strlen(text);
    if (length == 0 || length > Subject::longest_gate_name) return false;
    return std::all_of(text, text + length, [](char each) {
        return (each >= 'a' && each <= 'z') || (each >= 'A' && each <= 'Z') ||
               (each >= '0' && each <= '9') || std::strchr("._@+-", each);
    });
}

bool SubjectNames::read_file(const char *path, AccessRule::Whom whom)
{
    NameSet &names = whom == AccessRule::Whom::user ? users_ : groups_;
    bool has_memory = names.create(buckets);
    const bool is_read = has_memory && for_each_line(path, [&](char *line) {
                             const char *name = nullptr;
                             std::uint32_t number = 0;
                             if (!read_line(line, name, number)) return true;
                             const bool is_his = whom == AccessRule::Whom::user
                                                     ? number == subject_->uid
                                                     : subject_->has_group(number);
                             if (is_his && !names.add(name)) has_memory = false;
                             return has_memory;
                         });
    (whom == AccessRule::Whom::user ? knows_users_ : knows_groups_) = is_read;
    return has_memory;
}

bool SubjectNames::read(const Subject &subject, const AccessRules &rules)
{
    subject_ = &subject;
    if (*subject.gate_name) return true;
    bool names_users = false;
    for (const AccessRule *each = rules.first(); each; each = each->next)
        names_users |= each->whom == AccessRule::Whom::user;
    if (names_users && subject.uid != Subject::unknown &&
        !read_file("/etc/passwd", AccessRule::Whom::user))
        return false;
    return !rules.names_groups() || !subject.knows_groups ||
           read_file("/etc/group", AccessRule::Whom::group);
}

bool SubjectNames::is_meant(const AccessRule &rule) const
{
    using Whom = AccessRule::Whom;
    const bool is_of_gate = *subject_->gate_name != '\0';
    const char *name = rule.subject.get();
    switch (rule.whom) {
    case Whom::anybody:
        return true;
    case Whom::gate:
        return is_of_gate && std::strcmp(subject_->gate_name, name) == 0;
    case Whom::user:
        if (is_of_gate) return false;
        if (is_number(name, subject_->uid) || users_.contains(name)) return true;
        return !knows_users_ && !rule.permits;
    case Whom::group:
        if (is_of_gate) return false;
        if (groups_.contains(name) || has_group_of_number(*subject_, name)) return true;
        if (!knows_groups_) return !rule.permits;
        return false;
    }
    return !rule.permits;
}

} // namespace vorn
