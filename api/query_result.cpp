/* SPDX-License-Identifier: MIT */
#include "api/query_result.h"

#include "change/commit_report_record.h"
#include "core/base/text.h"
#include "services/xml/xml.h"

namespace vorn {

namespace {

constexpr char root_name[] = "lsql_result";
constexpr char explanation_name[] = "explanation";
constexpr char dataset_name[] = "dataset";
constexpr char replacement = '?';

/* A plugin may hold what no document can; the answer shows that much of it as it can. */
Text as_xml_text(const char *text)
{
    Text copy = copy_of(text);
    for (char *at = copy.data(); copy && *at; at++) {
        const auto byte = static_cast<unsigned char>(*at);
        if ((byte < 0x20 && byte != '\t' && byte != '\n' && byte != '\r') || byte >= 0x80) {
            *at = replacement;
        }
    }
    return copy;
}

/* A text that a document can hold: the one given or, when it is not, another made of it. */
class Readable {
public:
    explicit Readable(const char *text) : text_(text)
    {
        if (!text || is_xml_text(text)) return;
        made_ = as_xml_text(text);
        text_ = made_.get();
        failed_ = !made_;
    }

    bool failed() const { return failed_; }
    const char *get() const { return text_; }

private:
    const char *text_;
    Text made_;
    bool failed_ = false;
};

} // namespace

Answer::Answer(std::size_t longest, Form form)
    : writer_(XmlWriter::Layout::compact, longest), form_(form)
{
    writer_.open(explains() ? explanation_name : root_name);
}

void Answer::begin_dataset()
{
    if (!explains()) writer_.open(dataset_name);
}

void Answer::end_dataset()
{
    if (!explains()) writer_.close(dataset_name);
}

void Answer::begin_instance(const char *class_name, const vorn_instance &instance)
{
    const Readable name(vorn_instance_get_name(&instance));
    if (name.failed()) writer_.fail();
    writer_.open(class_name, name.get());
}

void Answer::end_instance(const char *class_name)
{
    writer_.close(class_name);
}

void Answer::begin(const char *name, const char *attribute, const char *value)
{
    const Readable readable(value);
    if (readable.failed()) writer_.fail();
    writer_.open_with(name, {{attribute, readable.get()}});
}

void Answer::begin_action(const char *name, const char *action, const vorn_instance &instance)
{
    const Readable class_name(vorn_instance_get_class_name(&instance));
    const Readable instance_name(vorn_instance_get_name(&instance));
    if (class_name.failed() || instance_name.failed()) writer_.fail();
    writer_.open_with(
        name, {{"action", action}, {"class", class_name.get()}, {"name", instance_name.get()}});
}

void Answer::add_effect(const char *weight, const char *sentence)
{
    const Readable readable(sentence);
    if (readable.failed()) writer_.fail();
    writer_.add_text_with("effect", readable.get(), {{"weight", weight}});
}

void Answer::add_property(const char *property, const char *value)
{
    add_text(property, value);
}

void Answer::add_text(const char *name, const char *text)
{
    const Readable readable(text);
    if (readable.failed()) writer_.fail();
    writer_.add_text(name, readable.get());
}

void Answer::add_error(const char *message, std::int32_t &count)
{
    count++;
    RequestWatch::note_error(message);
    if (explains() && operation_ > 0) return add_error_of_operation(message);
    add_text("error", message);
}

void Answer::add_error_of_operation(const char *message)
{
    const Readable readable(message);
    if (readable.failed()) writer_.fail();
    const Line<16> number("%d", static_cast<int>(operation_));
    writer_.add_text_with("error", readable.get(), {{"operation", number.get()}});
}

void Answer::add_number(const char *name, std::int32_t number)
{
    char digits[16] = "";
    char *first = digits + sizeof digits - 1;
    auto rest = static_cast<std::uint32_t>(number < 0 ? -std::int64_t{number} : number);
    do
        *--first = static_cast<char>('0' + rest % 10);
    while (rest /= 10);
    if (number < 0) *--first = '-';
    writer_.add_text(name, first);
}

void Answer::add_rc_counter(std::int32_t rc, std::int32_t counter)
{
    if (explains()) return;
    add_number("rc", rc);
    add_number("counter", counter);
}

void Answer::add_commit(const char *id)
{
    writer_.add_text("commit", id);
}

Text Answer::take()
{
    writer_.close(explains() ? explanation_name : root_name);
    return writer_.take();
}

Text refusal(const char *message)
{
    Answer answer;
    std::int32_t count = 0;
    answer.add_error(message, count);
    answer.add_rc_counter(count, 0);
    return answer.take();
}

} // namespace vorn
