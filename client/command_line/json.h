/* SPDX-License-Identifier: MIT */
#pragma once

#include <string>

namespace vorn::client {

/*
 * Writes one JSON document, piece by piece. With an indentation every member stands on a line of
 * its own, without one the document is a single line. Bytes that are no UTF-8 become U+FFFD.
 */
class JsonWriter {
public:
    explicit JsonWriter(int indentation) : indentation_(indentation) {}

    void open_object() { open('{'); }
    void close_object() { close('}'); }
    void open_list() { open('['); }
    void close_list() { close(']'); }
    /* The name of the member whose value comes next. */
    void name(const std::string &text);
    void text(const std::string &text);
    void number(long value);
    void member(const std::string &key, const std::string &value);

    const std::string &document() const { return document_; }

private:
    void open(char bracket);
    void close(char bracket);
    void begin_value();
    void begin_line();
    void quote(const std::string &text);

    std::string document_;
    int indentation_;
    int depth_ = 0;
    bool is_first_ = true; /* nothing stands yet in what was opened last */
    bool has_name_ = false;
};

} // namespace vorn::client
