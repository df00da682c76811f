/* SPDX-License-Identifier: MIT */
/*
 * One attribute of a class. What it protects: a subclass identifier stays read-only and required
 * on insert, and a property that clients may fill has somebody who judges the values.
 */
#include "core/announce.h"
#include "core/base/result.h"
#include "core/guard.h"
#include "model/property_record.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace vorn {

constinit const vorn_property **numbered_properties = nullptr;
constinit bool has_secrets = false;

namespace {

/* What the plugin keeps elsewhere is no less hidden by a word that says which it is. */
bool is_reference(const char *value)
{
    constexpr char begin[] = VORN_SECRET_SHOWN " ";
    constexpr std::size_t digits = 8;
    if (std::strncmp(value, begin, sizeof begin - 1) != 0) return false;
    value += sizeof begin - 1;
    return std::strlen(value) == digits && std::strspn(value, "0123456789abcdef") == digits;
}

constinit std::uint32_t numbers_given = 0;
constinit std::uint32_t numbers_there = 0;

/* Properties come while plugins are loaded, and stay: numbers need not be given twice. */
bool give_number(vorn_property &property)
{
    constexpr std::uint32_t first_room = 64;
    if (numbers_given == most_numbered) {
        vorn_debug_eprintf("There are %u properties already.\n", most_numbered);
        return false;
    }
    if (numbers_given == numbers_there) {
        const std::uint32_t room = std::max(first_room, 2 * numbers_there);
        auto **grown = static_cast<const vorn_property **>(
            noted(std::realloc(numbered_properties, room * sizeof *numbered_properties)));
        if (!grown) return false;
        numbered_properties = grown;
        numbers_there = room;
    }
    property.number = numbers_given;
    numbered_properties[numbers_given++] = &property;
    return true;
}

/* Without memory the old text stays. */
int replace(Text &text, const char *by)
{
    Text copy = copy_of(by);
    if (!copy) return failed;
    text = std::move(copy);
    return ok;
}

} // namespace

const char *shown_value(const vorn_property &property, const char *value)
{
    if (!property.secret || !value || !*value) return value;
    const bool may_refer = property.secret == VORN_SECRET_BY_REFERENCE;
    return may_refer && is_reference(value) ? value : VORN_SECRET_SHOWN;
}

} // namespace vorn

using namespace vorn;

vorn_property::~vorn_property()
{
    if (number == no_number) return;
    numbered_properties[number] = nullptr;
    while (numbers_given > 0 && !numbered_properties[numbers_given - 1])
        numbers_given--;
}

vorn_property *vorn_property_new(const char *name)
{
    if (absent(name, "name")) return nullptr;

    Owned<vorn_property> property = make<vorn_property>();
    if (!property) return nullptr;

    property->name = copy_of(name);
    if (!property->name || !give_number(*property)) return nullptr;

    return property.release();
}

vorn_property *vorn_property_clone(const vorn_property *property)
{
    if (absent(property, "property")) return nullptr;

    Owned<vorn_property> clone(vorn_property_new(property->name.get()));
    if (!clone) return nullptr;

    clone->readable = property->readable;
    clone->writable = property->writable;
    clone->required_on_insert = property->required_on_insert;
    clone->subclass_identifier = property->subclass_identifier;
    clone->is_valid = property->is_valid;
    clone->owner = property->owner;
    clone->persistence = property->persistence;
    clone->reference = copy_of(property->reference.get());
    if (property->reference && !clone->reference) return nullptr;
    clone->secret = property->secret;
    clone->about_others = property->about_others;
    clone->syntax = copy_of(property->syntax.get());
    if (property->syntax && !clone->syntax) return nullptr;
    if (!clone->description.copy(property->description)) return nullptr;
    return clone.release();
}

const char *vorn_property_get_name(const vorn_property *property)
{
    return absent(property, "property") ? nullptr : property->name.get();
}

int vorn_property_set_readable(vorn_property *property, int flag)
{
    if (absent(property, "property")) return failed;

    property->readable = flag;
    return ok;
}

int vorn_property_is_readable(const vorn_property *property)
{
    return !absent(property, "property") && property->readable != 0;
}

int vorn_property_set_writable(vorn_property *property, int flag)
{
    if (absent(property, "property")) return failed;
    if (property->subclass_identifier && flag) {
        vorn_debug_eprintf("Subclass identifiers must be non-writable.\n");
        return failed;
    }

    property->writable = flag;
    return ok;
}

int vorn_property_is_writable(const vorn_property *property)
{
    return !absent(property, "property") && property->writable != 0;
}

int vorn_property_set_required_on_insert(vorn_property *property, int flag)
{
    if (absent(property, "property")) return failed;
    if (property->subclass_identifier && !flag) {
        vorn_debug_eprintf("Subclass identifiers must be required on insert.\n");
        return failed;
    }

    property->required_on_insert = flag;
    return ok;
}

int vorn_property_is_required_on_insert(const vorn_property *property)
{
    return !absent(property, "property") && property->required_on_insert != 0;
}

int vorn_property_set_is_valid_fn(vorn_property *property, vorn_is_valid_fn is_valid)
{
    if (absent(property, "property")) return failed;
    if (!is_valid) {
        vorn_debug_1printf("Null is_valid fn.\n");
        return failed;
    }

    property->is_valid = is_valid;
    property->owner = current_plugin();
    return ok;
}

int vorn_property_set_persistence(vorn_property *property, int persistence)
{
    if (absent(property, "property")) return failed;

    about_to_change();
    property->persistence = persistence;
    return ok;
}

int vorn_property_get_persistence(const vorn_property *property)
{
    return absent(property, "property") ? 0 : property->persistence;
}

int vorn_property_set_reference(vorn_property *property, const char *class_name)
{
    if (absent(property, "property") || absent(class_name, "name")) return failed;

    return replace(property->reference, class_name);
}

const char *vorn_property_get_reference(const vorn_property *property)
{
    return absent(property, "property") ? nullptr : property->reference.get();
}

int vorn_property_set_secret(vorn_property *property, int flag)
{
    if (absent(property, "property")) return failed;

    about_to_change();
    property->secret = flag;
    if (flag) has_secrets = true;
    return ok;
}

int vorn_property_is_secret(const vorn_property *property)
{
    return !absent(property, "property") && property->secret != 0;
}

const char *vorn_property_get_shown_value(const vorn_property *property, const char *value)
{
    return absent(property, "property") ? value : shown_value(*property, value);
}

int vorn_property_set_syntax(vorn_property *property, const char *syntax)
{
    if (absent(property, "property") || absent(syntax, "syntax")) return failed;

    return replace(property->syntax, syntax);
}

const char *vorn_property_get_syntax(const vorn_property *property)
{
    return absent(property, "property") ? nullptr : property->syntax.get();
}

int vorn_property_is_valid(const vorn_property *property)
{
    if (absent(property, "property")) return 0;
    if (property->is_valid || has_alternatives(property->description)) return 1;

    if (property->writable) {
        vorn_debug_1printf("Property %s is writable but has no is_valid fn.\n",
                           property->name.get());
        return 0;
    }
    if (property->required_on_insert && !property->subclass_identifier) {
        vorn_debug_1printf("Property %s is required on insert but has no is_valid fn.\n",
                           property->name.get());
        return 0;
    }
    return 1;
}

int vorn_property_print(const vorn_property *property, FILE *stream)
{
    if (absent(property, "property") || absent(stream, "stream")) return failed;

    std::fprintf(stream, "Property: %-45s %s%s%s%s", property->name.get(),
                 property->readable ? "r" : "-", property->writable ? "w" : "-",
                 property->required_on_insert ? "i" : "-", property->persistence ? "p" : "-");
    return ok;
}

int vorn_property_delete(vorn_property *property)
{
    if (absent(property, "property")) return failed;

    delete property;
    return ok;
}

int vorn_property_set_about_others(vorn_property *property, int flag)
{
    if (absent(property, "property")) return failed;

    about_to_change();
    property->about_others = flag;
    return ok;
}

int vorn_property_is_about_others(const vorn_property *property)
{
    return !absent(property, "property") && property->about_others != 0;
}
