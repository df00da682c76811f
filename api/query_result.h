/* SPDX-License-Identifier: MIT */
#pragma once

#include "core/base/text.h"
#include "services/xml/xml_writer.h"
#include "vorn/instance.h"

#include <cstdint>

namespace vorn {

/*
 * The answer to one request, written as it is found. One that can't be written down whole for lack
 * of memory is never sent: half an answer would look like a small configuration.
 */
class Answer {
public:
    Answer();

    /* What a select found is written between these two. */
    void begin_dataset();
    void end_dataset();
    void begin_instance(const char *class_name, const vorn_instance &instance);
    void end_instance(const char *class_name);
    /* The value, or nothing when the instance has none. */
    void add_property(const char *property, const char *value);

    /* Adds the "error" element and counts it. */
    void add_error(const char *message, std::int32_t &count);
    /* Adds "rc" and "counter", which end what one operation answers. */
    void add_rc_counter(std::int32_t rc, std::int32_t counter);

    /* Whose configuration the answer is about; stands last. */
    void add_commit(const char *id);

    bool failed() const { return writer_.failed(); }
    /* The unindented document with its declaration; empty without memory. */
    Text take();

private:
    void add_text(const char *name, const char *text);

    XmlWriter writer_;
};

} // namespace vorn
