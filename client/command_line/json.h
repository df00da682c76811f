/* SPDX-License-Identifier: MIT */
#pragma once

#include <string>
#include <string_view>

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
    void name(std::string_view text);
    void text(std::string_view text);
    void number(long value);
    void member(std::string_view key, std::string_view value);

    const std::string &document() const { return document_; }

private:
    void open(char bracket);
    void close(char bracket);
    void begin_value();
    void begin_line();
    void quote(std::string_view text);

    std::string document_;
    int indentation_;
    int depth_ = 0;
    bool is_first_ = true; /* nothing stands yet in what was opened last */
    bool has_name_ = false;
};

} // namespace vorn::client
