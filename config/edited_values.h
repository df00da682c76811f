/* SPDX-License-Identifier: MIT */
#pragma once

#include "config/config_document.h"
#include "core/base/plain_array.h"

namespace vorn {

/* What an instance's record holds, taken apart so that it can be changed, and put back. */
class EditedValues {
public:
    /* Names are compared by their places: those that are given belong to the same document. */
    void read(const WrittenInstance &written);
    /* Null when there is no value; the last one where there are several. */
    const char *get(const char *property) const;
    bool has(const char *property) const;
    std::size_t size() const { return values_.size(); }

    /* A text that lives at least until these are put back. */
    void add(const char *property, const char *text);
    void remove(const char *property);
    void rename(const char *property, const char *to);
    void replace(const char *property, const char *text);

    /* Into the record, or into a new one that takes its place. False without memory: the record is
     * as it was. */
    bool write(Allocated<WrittenInstance> &written) const;

private:
    struct EditedValue {
        const char *property;
        const char *text; /* null for none */
    };

    PlainArray<EditedValue> values_;
    const WrittenInstance *read_ = nullptr;
    bool has_changed_ = false;
    bool has_new_texts_ = false;
};

/* An instance without values; empty without memory. */
Allocated<WrittenInstance> new_written_instance(const char *element, const char *name);

} // namespace vorn
