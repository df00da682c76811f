/* SPDX-License-Identifier: MIT */
#pragma once

#include "core/base/text.h"
#include "services/xml/xml_writer.h"
#include "vorn/instance.h"

#include <cstdint>

namespace vorn {

/*
 * The answer to one request, written as it is found. One that can't be written down whole for lack
 * of memory, or because it is too long, is never sent: half an answer would look like a small
 * configuration.
 */
class Answer {
public:
    /* An explanation tells the errors of its operations, but neither what they found nor counters.
     */
    enum class Form { result, explanation };

    explicit Answer(std::size_t longest = TextBuffer::unbounded, Form form = Form::result);

    /* What a select found is written between these two, and not at all in an explanation. */
    void begin_dataset();
    void end_dataset();
    void begin_instance(const char *class_name, const vorn_instance &instance);
    void end_instance(const char *class_name);
    /* The value, or nothing when the instance has none. */
    void add_property(const char *property, const char *value);

    /* What is added is about the next of the operations. */
    void begin_operation() { operation_++; }
    /* Adds the "error" element and counts it; that of an explanation names its operation. */
    void add_error(const char *message, std::int32_t &count);
    /* Adds "rc" and "counter", which end what one operation answers. */
    void add_rc_counter(std::int32_t rc, std::int32_t counter);

    /* For an explanation: elements of any kind, whose values may hold anything. */
    void begin(const char *name, const char *attribute, const char *value);
    void begin_action(const char *name, const char *action, const vorn_instance &instance);
    void add_effect(const char *weight, const char *sentence);
    void end(const char *name) { writer_.close(name); }
    void add(const char *name, const char *text) { add_text(name, text); }
    /* Ends an explanation: whether what it is about could be done. */
    void add_rc(std::int32_t rc) { add_number("rc", rc); }

    /* Whose configuration the answer is about; stands last. */
    void add_commit(const char *id);

    /* Nothing can be added any more. */
    bool failed() const { return writer_.failed(); }
    /* That is because it would have been too long. */
    bool is_too_long() const { return writer_.is_too_long(); }
    /* The unindented document with its declaration; empty when it failed. */
    Text take();

private:
    void add_text(const char *name, const char *text);
    void add_number(const char *name, std::int32_t number);
    void add_error_of_operation(const char *message);

    bool explains() const { return form_ == Form::explanation; }

    XmlWriter writer_;
    Form form_;
    std::int32_t operation_ = 0; /* from 1 on */
};

/* An answer to the request as a whole. */
Text refusal(const char *message);

} // namespace vorn
