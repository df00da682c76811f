/* SPDX-License-Identifier: MIT */
/*
 * Values of an instance while a migration changes them. Where no text is new they go back into the
 * record that they came from: renames and drops, which are most of all steps, need no memory.
 */
#include "config/edited_values.h"

#include "core/base/text.h"

#include <cstring>
#include <limits>

namespace vorn {

namespace {

constexpr std::size_t longest_record = std::numeric_limits<std::uint32_t>::max();

std::size_t size_of(const char *text)
{
    return text ? std::strlen(text) + 1 : 0;
}

/* Copies texts to after the values of a record, and tells their places. */
class Behind {
public:
    Behind(WrittenInstance &record, std::size_t at) : record_(record), at_(at) {}

    std::uint32_t add(const char *text)
    {
        if (!text) return 0;
        const std::size_t place = at_;
        std::memcpy(reinterpret_cast<char *>(&record_) + place, text, size_of(text));
        at_ += size_of(text);
        return static_cast<std::uint32_t>(place);
    }

private:
    WrittenInstance &record_;
    std::size_t at_;
};

Allocated<WrittenInstance> new_record(std::size_t size)
{
    if (size > longest_record) return {};
    return Allocated<WrittenInstance>(static_cast<WrittenInstance *>(noted(std::malloc(size))));
}

} // namespace

void EditedValues::read(const WrittenInstance &written)
{
    values_.clear();
    read_ = &written;
    has_changed_ = has_new_texts_ = false;
    for (const WrittenValue &each : written)
        values_.add({each.property, written.text_at(each.text)});
}

bool EditedValues::has(const char *property) const
{
    for (const EditedValue &each : values_) {
        if (each.property == property) return true;
    }
    return false;
}

const char *EditedValues::get(const char *property) const
{
    const char *text = nullptr;
    for (const EditedValue &each : values_) {
        if (each.property == property) text = or_empty(each.text);
    }
    return text;
}

void EditedValues::add(const char *property, const char *text)
{
    values_.add({property, text});
    has_changed_ = has_new_texts_ = true;
}

void EditedValues::remove(const char *property)
{
    for (std::size_t i = values_.size(); i-- > 0;) {
        if (values_[i].property != property) continue;
        values_.remove(i);
        has_changed_ = true;
    }
}

void EditedValues::rename(const char *property, const char *to)
{
    for (EditedValue &each : values_) {
        if (each.property != property) continue;
        each.property = to;
        has_changed_ = true;
    }
}

void EditedValues::replace(const char *property, const char *text)
{
    for (EditedValue &each : values_) {
        if (each.property != property) continue;
        each.text = text;
        has_changed_ = has_new_texts_ = true;
    }
}

bool EditedValues::write(Allocated<WrittenInstance> &written) const
{
    if (values_.failed()) return false;
    if (!has_changed_) return true;
    const auto count = static_cast<std::uint32_t>(values_.size());
    if (!has_new_texts_) {
        const char *start = reinterpret_cast<const char *>(read_);
        auto *place = const_cast<WrittenValue *>(written->begin());
        for (const EditedValue &each : values_) {
            const std::ptrdiff_t text = each.text ? each.text - start : 0;
            *place++ = {each.property, static_cast<std::uint32_t>(text)};
        }
        written->count = count;
        return true;
    }
    const char *name = written->text_at(written->instance_name);
    const std::size_t first_text = sizeof(WrittenInstance) + count * sizeof(WrittenValue);
    std::size_t size = first_text + size_of(name);
    for (const EditedValue &each : values_)
        size += size_of(each.text);
    Allocated<WrittenInstance> record = new_record(size);
    if (!record) return false;
    Behind texts(*record, first_text);
    *record = {written->next, written->element, count, texts.add(name)};
    auto *place = const_cast<WrittenValue *>(record->begin());
    for (const EditedValue &each : values_)
        *place++ = {each.property, texts.add(each.text)};
    written = std::move(record);
    return true;
}

Allocated<WrittenInstance> new_written_instance(const char *element, const char *name)
{
    Allocated<WrittenInstance> record = new_record(sizeof(WrittenInstance) + size_of(name));
    if (!record) return {};
    Behind texts(*record, sizeof(WrittenInstance));
    *record = {nullptr, element, 0, texts.add(name)};
    return record;
}

} // namespace vorn
