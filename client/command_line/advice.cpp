/* SPDX-License-Identifier: MIT */
/* What people meant, and what would have been right. */
#include "advice.h"

#include <algorithm>

#include "failure.h"
#include "text.h"
#include "where.h"

namespace vorn::client {

namespace {

constexpr char no_secret[] = "(secret)";
constexpr char no_property[] = " is not valid for class ";

char lower(char character)
{
    return character >= 'A' && character <= 'Z' ? static_cast<char>(character + 32) : character;
}

/* Letters changed, added, left out or swapped with their neighbour; case is no difference. */
std::size_t distance(const std::string &left, const std::string &right)
{
    const std::size_t columns = right.size() + 1;
    std::vector<std::size_t> cells((left.size() + 1) * columns);
    const auto cell = [&](std::size_t i, std::size_t j) -> std::size_t & {
        return cells[i * columns + j];
    };
    const auto same = [&](std::size_t i, std::size_t j) {
        return lower(left[i]) == lower(right[j]);
    };
    for (std::size_t j = 0; j < columns; j++)
        cell(0, j) = j;
    for (std::size_t i = 1; i <= left.size(); i++) {
        cell(i, 0) = i;
        for (std::size_t j = 1; j < columns; j++) {
            const std::size_t changed = cell(i - 1, j - 1) + (same(i - 1, j - 1) ? 0 : 1);
            cell(i, j) = std::min({cell(i - 1, j) + 1, cell(i, j - 1) + 1, changed});
            if (i > 1 && j > 1 && same(i - 1, j - 2) && same(i - 2, j - 1)) {
                cell(i, j) = std::min(cell(i, j), cell(i - 2, j - 2) + 1);
            }
        }
    }
    return cells.back();
}

/* The property whose value was refused: the message names it, unless it was cut before. */
const Property *refused_property(const std::string &error, const Schema &schema,
                                 const Target &target, const Values &values)
{
    for (const auto &[name, value] : values) {
        const std::string exact =
            concat({"Value \"", value, "\" is not valid for property \"", name, "\""});
        const bool is_cut = concat({"Value \"", value}).starts_with(error);
        if (!error.starts_with(exact) && !is_cut) continue;
        const Class *klass = schema.find(target.class_name);
        const std::string *kind = klass ? value_of(values, klass->subclass_identifier) : nullptr;
        const Class *subclass = kind ? schema.find(*kind) : nullptr;
        const Property *own = subclass ? subclass->find(name) : nullptr;
        return own ? own : schema.find_property(target.class_name, name);
    }
    return nullptr;
}

/* An insert into a family that names a member that is none. */
std::string advice_on_kind(const Schema &schema, const Target &target, const Values &values)
{
    const Class *klass = schema.find(target.class_name);
    if (!klass || !klass->abstract) return "";
    const std::vector<std::string> kinds = schema.subclasses_of(klass->name);
    const std::string list = joined(kinds, ", ");
    for (const auto &[name, value] : values) {
        if (name != klass->subclass_identifier) continue;
        if (contains(kinds, value)) return "";
        const std::string meant = did_you_mean(value, kinds);
        return concat({"there is no ", name, " \"", value, "\"",
                       meant.empty() ? "; there are " : meant, meant.empty() ? list : ""});
    }
    return concat({klass->subclass_identifier, " is missing: one of ", list});
}

} // namespace

std::string quoted_after(std::string_view text, std::string_view head)
{
    const std::size_t found = text.find(concat({head, "\""}));
    if (found == std::string::npos) return "";
    const std::size_t start = found + head.size() + 1;
    const std::size_t end = text.find('"', start);
    return std::string(end == std::string::npos ? "" : text.substr(start, end - start));
}

std::string go_on(std::string sentence, std::string_view rest)
{
    if (!rest.empty() && sentence.ends_with('.')) sentence.pop_back();
    return sentence.append(rest);
}

std::string nearest(const std::string &word, const std::vector<std::string> &candidates)
{
    constexpr std::size_t shortest = 3; /* of two letters, one is no slip */
    if (word.size() < shortest) return "";
    std::string best;
    std::size_t least = std::max<std::size_t>(1, word.size() / 3) + 1;
    for (const std::string &candidate : candidates) {
        const std::size_t found = distance(word, candidate);
        if (found >= least || candidate == word) continue;
        least = found;
        best = candidate;
    }
    return best;
}

std::string did_you_mean(const std::string &word, const std::vector<std::string> &candidates)
{
    const std::string best = nearest(word, candidates);
    return best.empty() ? "" : concat({"; did you mean \"", shown(best), "\"?"});
}

std::vector<std::string> literal_values(const std::string &syntax)
{
    std::vector<std::string> values;
    for (std::size_t at = 0; at < syntax.size();) {
        const bool is_described = syntax[at] == '<';
        const std::size_t close = is_described ? syntax.find('>', at) : at;
        const std::size_t end = std::min(syntax.find('|', close), syntax.size());
        if (!is_described && end > at) values.push_back(syntax.substr(at, end - at));
        if (close == std::string::npos) break;
        at = end + 1;
    }
    return values;
}

/* An instance of a family that is of no kind is refused; one of a kind that is none is not there.
 */
ExitStatus status_after(const std::string &error, const Schema &schema, const Target &target,
                        const Values &values)
{
    const Class *klass = schema.find(target.class_name);
    const bool lacks_kind =
        klass && klass->abstract && !value_of(values, klass->subclass_identifier);
    const bool names_no_property =
        error.starts_with("Property ") && error.find(no_property) != std::string::npos;
    const bool names_no_class = error.starts_with("Unknown class ") && !lacks_kind;
    return error.starts_with("No instance ") || names_no_class || names_no_property ? differs
                                                                                    : refused;
}

std::string valid_values(const Property &property)
{
    if (property.valid.empty()) return "";
    constexpr std::ptrdiff_t many = 4;
    auto left = std::ranges::count(property.valid, '|');
    const bool is_long = left >= many;
    std::string text;
    for (const char character : property.valid) {
        if (character == '|')
            text += --left > 0 && is_long ? ", " : " or ";
        else if (character != '<' && character != '>')
            text += character;
    }
    return text;
}

/* The daemon cuts what is long: of a long value there is no more, and what was wrong is not said.
 */
std::string made_whole(const std::string &told, const Property &refused, const Target &target,
                       const Values &values)
{
    const std::string *value = value_of(values, refused.name);
    if (!value || !concat({"Value \"", *value}).starts_with(told)) return told;
    return concat({"Value \"", *value, "\" is not valid for property \"", refused.name,
                   "\" of class \"", target.class_name, "\"."});
}

std::string without_secrets(std::string text, const Schema &schema, const std::string &class_name,
                            const Values &values)
{
    for (const auto &[name, value] : values) {
        if (value.empty() || !schema.is_secret(class_name, name)) continue;
        for (std::size_t at = text.find(value); at != std::string::npos;
             at = text.find(value, at + sizeof no_secret - 1)) {
            text.replace(at, value.size(), no_secret);
        }
        const std::string head = concat({"Value \"", value});
        if (text.size() > 7 && head.starts_with(text)) {
            text = concat({"Value \"", no_secret, "\" is not valid for property \"", name, "\""});
        }
    }
    return text;
}

std::string explained(const std::string &error, const Schema &schema, const Target &target,
                      const Values &values)
{
    const std::string told = without_secrets(error, schema, target.class_name, values);
    const std::string unknown =
        error.starts_with("Unknown class ") ? quoted_after(error, "class ") : "";
    const std::string property =
        error.starts_with("Property ") ? quoted_after(error, "Property ") : "";
    if (error.starts_with("Couldn't add instance ")) {
        return target.name ? "it exists already" : "there is one already";
    }
    if (!unknown.empty()) {
        const std::string kind = advice_on_kind(schema, target, values);
        return kind.empty() ? go_on(told, did_you_mean(unknown, schema.class_names())) : kind;
    }
    if (!property.empty() && error.find(no_property) != std::string::npos) {
        const std::string owner = quoted_after(error, no_property);
        return go_on(told, did_you_mean(property, schema.properties_of(owner)));
    }
    const std::size_t lacking = error.find("is required on insert but not set");
    if (lacking != std::string::npos) {
        const Property *required = schema.find_property(quoted_after(error, " of class "),
                                                        quoted_after(error, "Property "));
        const std::string valid = required ? valid_values(*required) : "";
        return concat({told, valid.empty() ? "" : " Valid is: ", valid});
    }
    if (const Property *refused = refused_property(error, schema, target, values)) {
        const std::string valid = valid_values(*refused);
        return concat(
            {made_whole(told, *refused, target, values), valid.empty() ? "" : " Valid is: ", valid,
             did_you_mean(*value_of(values, refused->name), literal_values(refused->valid))});
    }
    return told;
}

const Class *expect_class(const Schema &schema, const std::string &name)
{
    const Class *klass = schema.find(name);
    if (schema.known() && !klass) {
        fail(differs,
             {"there is no class \"", name, "\"", did_you_mean(name, schema.class_names())});
    }
    return klass;
}

void expect_properties(const Schema &schema, const std::string &class_name,
                       const std::vector<std::string> &properties)
{
    if (!expect_class(schema, class_name)) return;
    for (const std::string &property : properties) {
        if (schema.find_property(class_name, property)) continue;
        fail(differs, {"class \"", class_name, "\" has no property \"", property, "\"",
                       did_you_mean(property, schema.properties_of(class_name))});
    }
}

std::vector<std::string> properties_in(const std::string &condition)
{
    std::vector<std::string> properties;
    if (condition.empty()) return properties;
    pugi::xml_document document;
    append_condition(document.append_child("where"), condition);
    for (const pugi::xpath_node &each : document.select_nodes("//property"))
        properties.push_back(each.node().text().get());
    return properties;
}

} // namespace vorn::client
