/* SPDX-License-Identifier: MIT */
/* What plugins call to describe their classes and properties. */
#include "core/base/result.h"
#include "core/guard.h"
#include "model/class_record.h"
#include "model/property_record.h"
#include "vorn/description.h"

#include <cstring>

namespace vorn {

namespace {

int too_long()
{
    vorn_debug_1printf("Too long a description.\n");
    return failed;
}

template <typename Record>
int tell(Record *record, const char *of, Told what, const char *text, const char *name)
{
    if (absent(record, of) || absent(text, name)) return failed;
    const std::size_t length = std::strlen(text);
    if (length > longest_description) return too_long();
    return record->description.tell(what, text, length + 1) ? ok : failed;
}

template <typename Record>
const char *told(const Record *record, const char *of, Told what)
{
    return absent(record, of) ? nullptr : record->description.text(what);
}

template <typename Record>
int tell_order(Record *record, const char *of, std::int32_t order)
{
    if (absent(record, of)) return failed;
    if (order != 0) {
        return record->description.tell(Told::order, &order, sizeof order) ? ok : failed;
    }
    record->description.take_back(Told::order);
    return ok;
}

template <typename Record>
int told_order(const Record *record, const char *of)
{
    return absent(record, of) ? 0 : record->description.number(Told::order);
}

/* The alternative of that number; false for none. */
bool find_alternative(const vorn_property *property, int number, Fact &fact)
{
    if (absent(property, "property") || number < 0) return false;
    for (Description::Walk walk(property->description); walk.next(fact);)
        if (is_alternative(fact.what) && number-- == 0) return true;
    return false;
}

} // namespace

} // namespace vorn

using namespace vorn;

int vorn_property_set_label(vorn_property *property, const char *label)
{
    return tell(property, "property", Told::label, label, "label");
}

const char *vorn_property_get_label(const vorn_property *property)
{
    return told(property, "property", Told::label);
}

int vorn_property_set_help(vorn_property *property, const char *help)
{
    return tell(property, "property", Told::help, help, "help");
}

const char *vorn_property_get_help(const vorn_property *property)
{
    return told(property, "property", Told::help);
}

int vorn_property_set_unit(vorn_property *property, const char *unit)
{
    return tell(property, "property", Told::unit, unit, "unit");
}

const char *vorn_property_get_unit(const vorn_property *property)
{
    return told(property, "property", Told::unit);
}

int vorn_property_set_example(vorn_property *property, const char *example)
{
    return tell(property, "property", Told::example, example, "example");
}

const char *vorn_property_get_example(const vorn_property *property)
{
    return told(property, "property", Told::example);
}

int vorn_property_set_group(vorn_property *property, const char *group)
{
    return tell(property, "property", Told::group, group, "group");
}

const char *vorn_property_get_group(const vorn_property *property)
{
    return told(property, "property", Told::group);
}

int vorn_property_set_order(vorn_property *property, int order)
{
    return tell_order(property, "property", order);
}

int vorn_property_get_order(const vorn_property *property)
{
    return told_order(property, "property");
}

int vorn_class_set_label(vorn_class *klass, const char *label)
{
    return tell(klass, "class", Told::label, label, "label");
}

const char *vorn_class_get_label(const vorn_class *klass)
{
    return told(klass, "class", Told::label);
}

int vorn_class_set_help(vorn_class *klass, const char *help)
{
    return tell(klass, "class", Told::help, help, "help");
}

const char *vorn_class_get_help(const vorn_class *klass)
{
    return told(klass, "class", Told::help);
}

int vorn_class_set_group(vorn_class *klass, const char *group)
{
    return tell(klass, "class", Told::group, group, "group");
}

const char *vorn_class_get_group(const vorn_class *klass)
{
    return told(klass, "class", Told::group);
}

int vorn_class_set_order(vorn_class *klass, int order)
{
    return tell_order(klass, "class", order);
}

int vorn_class_get_order(const vorn_class *klass)
{
    return told_order(klass, "class");
}

int vorn_property_accept_list(vorn_property *property, int flag)
{
    if (absent(property, "property")) return failed;
    if (flag) return property->description.tell(Told::list, nullptr, 0) ? ok : failed;

    property->description.take_back(Told::list);
    return ok;
}

int vorn_property_is_list(const vorn_property *property)
{
    return !absent(property, "property") && property->description.has(Told::list);
}

int vorn_property_get_alternatives(const vorn_property *property)
{
    if (absent(property, "property")) return 0;
    int count = 0;
    Fact fact{};
    for (Description::Walk walk(property->description); walk.next(fact);)
        count += is_alternative(fact.what) ? 1 : 0;
    return count;
}

int vorn_property_get_alternative_kind(const vorn_property *property, int alternative)
{
    Fact fact{};
    if (!find_alternative(property, alternative, fact)) return VORN_ACCEPTS_NOTHING;
    return static_cast<int>(fact.what) - static_cast<int>(Told::words) + VORN_ACCEPTS_WORDS;
}

const char *vorn_property_get_alternative_word(const vorn_property *property, int alternative,
                                               int word)
{
    Fact fact{};
    if (!find_alternative(property, alternative, fact) || word < 0) return nullptr;
    const char *each = fact.first_word();
    if (!each) return nullptr;
    while (each < fact.bytes + fact.size && word-- > 0)
        each += std::strlen(each) + 1;
    return each < fact.bytes + fact.size ? each : nullptr;
}

int vorn_property_get_alternative_number(const vorn_property *property, int alternative, int place)
{
    Fact fact{};
    if (!find_alternative(property, alternative, fact) || place < 0) return 0;
    return place < fact.numbers() ? fact.number(static_cast<std::size_t>(place)) : 0;
}

double vorn_property_get_alternative_real(const vorn_property *property, int alternative, int place)
{
    Fact fact{};
    if (!find_alternative(property, alternative, fact) || fact.what != Told::real) return 0;
    return place == 0 || place == 1 ? fact.real(static_cast<std::size_t>(place)) : 0;
}
