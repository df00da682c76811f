/* SPDX-License-Identifier: MIT */
/*
 * What a document says of its versions. It stands in the document itself, so that no second file
 * can be missing or disagree after a power cut, and where a daemon that knows nothing of it passes
 * over it.
 */
#include "config/schema_declaration.h"

#include "config/schema.h"
#include "core/base/text_buffer.h"
#include "core/plugins.h"
#include "vorn/schema.h"

#include <algorithm>
#include <climits>
#include <cstring>

namespace vorn {

namespace {

constexpr char blanks[] = " \t\r\n";

void pass_blanks(const char *&at)
{
    at += std::strspn(at, blanks);
}

bool take(const char *&at, char expected)
{
    if (*at != expected) return false;
    at++;
    return true;
}

} // namespace

bool read_number(const char *&at, unsigned int &number)
{
    constexpr unsigned int ten = 10;
    if (*at < '0' || *at > '9') return false;
    for (number = 0; *at >= '0' && *at <= '9'; at++) {
        const auto digit = static_cast<unsigned int>(*at - '0');
        number = number > (UINT_MAX - digit) / ten ? UINT_MAX : number * ten + digit;
    }
    return true;
}

bool DeclaredVersion::is_named(const char *other) const
{
    return std::strlen(other) == length && std::memcmp(name, other, length) == 0;
}

bool read_version(const char *&at, DeclaredVersion &found)
{
    pass_blanks(at);
    const char *next = at;
    found.name = next;
    found.length = std::strcspn(next, "=\"' \t\r\n");
    next += found.length;
    if (found.length == 0 || !take(next, '=')) return false;
    const char quote = *next;
    if ((quote != '"' && quote != '\'') || !take(next, quote)) return false;
    if (!read_number(next, found.version) || !take(next, quote)) return false;
    at = next;
    return true;
}

bool is_read_to_its_end(const char *at)
{
    return at[std::strspn(at, blanks)] == '\0';
}

unsigned int version_in(const char *versions, const char *name)
{
    DeclaredVersion found = {};
    for (const char *at = versions; at && read_version(at, found);) {
        if (found.is_named(name)) return found.version;
    }
    return 0;
}

void SaidVersions::add(const char *name, std::size_t length, unsigned int version)
{
    if (version == 0) return;
    if (text_.size() > 0) text_.append(" ");
    text_.append(name, length);
    text_.append(Line<24>("=\"%u\"", version).get());
}

namespace {

bool is_declared(const DeclaredVersion &version)
{
    for (const PluginSchema *each = first_schema; each; each = each->next) {
        if (version.is_named(each->name.get())) return true;
    }
    return false;
}

bool is_before(const DeclaredVersion &one, const char *other)
{
    const int order = std::strncmp(one.name, other, one.length);
    return order < 0 || (order == 0 && other[one.length] != '\0');
}

} // namespace

bool is_of_silent_plugin(const DeclaredVersion &said)
{
    return !is_declared(said) && plugin_takes_part_as(said.name, said.length);
}

/* A plugin of this device speaks for itself. */
void SaidVersions::add_before(const char *name)
{
    DeclaredVersion other = {};
    for (const char *at = others_; at && read_version(at, other); others_ = at) {
        if (name && !is_before(other, name)) return;
        if (is_declared(other)) continue;
        if (silent_ == Silent::left_out && is_of_silent_plugin(other)) continue;
        add(other.name, other.length, other.version);
    }
}

Text SaidVersions::take()
{
    add_before(nullptr);
    text_.append("");
    return text_.take();
}

Text said_versions(const char *others)
{
    SaidVersions said(others, SaidVersions::Silent::left_out);
    for (const PluginSchema *each = first_schema; each; each = each->next) {
        said.add_before(each->name.get());
        said.add(each->name.get(), std::strlen(each->name.get()), each->version);
    }
    return said.take();
}

namespace {

/* What is left of a document that is read from its beginning. */
struct Rest {
    const char *at;
    const char *end;

    bool begins_with(const char *text) const
    {
        const std::size_t length = std::strlen(text);
        return static_cast<std::size_t>(end - at) >= length && std::memcmp(at, text, length) == 0;
    }
    bool pass_behind(const char *text)
    {
        at = std::search(at, end, text, text + std::strlen(text));
        if (at == end) return false;
        at += std::strlen(text);
        return true;
    }
    void pass_blanks()
    {
        while (at < end && *at && std::strchr(blanks, *at))
            at++;
    }
};

/* Where the instruction's data lies before the root; false when there is none. */
bool find_instruction(Rest &rest, Rest &data)
{
    constexpr char mark[] = "\xEF\xBB\xBF";
    if (rest.begins_with(mark)) rest.at += sizeof mark - 1;
    for (rest.pass_blanks(); rest.begins_with("<?") || rest.begins_with("<!--");
         rest.pass_blanks()) {
        const bool is_comment = rest.begins_with("<!--");
        data = {rest.at + 2, rest.end};
        if (!rest.pass_behind(is_comment ? "-->" : "?>")) return false;
        data.end = rest.at - 2;
        if (!data.begins_with(schema_instruction)) continue;
        data.at += sizeof schema_instruction - 1;
        if (data.at == data.end || std::strchr(blanks, *data.at)) return true;
    }
    return false;
}

bool tell_of_silent_plugin(const char *versions)
{
    DeclaredVersion said = {};
    for (const char *at = versions; at && read_version(at, said);) {
        if (said.version > 0 && is_of_silent_plugin(said)) return true;
    }
    return false;
}

int compare_versions(const char *versions)
{
    if (tell_of_silent_plugin(versions)) return VORN_SCHEMA_NEWER;
    int result = VORN_SCHEMA_SAME;
    for (const PluginSchema *each = first_schema; each; each = each->next) {
        const unsigned int version = version_in(versions, each->name.get());
        if (version > each->version) return VORN_SCHEMA_NEWER;
        if (version < each->version) result = VORN_SCHEMA_OLDER;
    }
    return result;
}

} // namespace

} // namespace vorn

using namespace vorn;

int vorn_schema_compare(const char *document, size_t size)
{
    if (!document) return VORN_SCHEMA_SAME;
    Rest rest = {document, document + size};
    Rest data = {};
    if (!find_instruction(rest, data)) return compare_versions(nullptr);
    TextBuffer copy;
    copy.append(data.at, static_cast<std::size_t>(data.end - data.at));
    const Text versions = copy.take();
    return versions ? compare_versions(versions.get()) : VORN_SCHEMA_SAME;
}
