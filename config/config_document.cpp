/* SPDX-License-Identifier: MIT */
/*
 * From a configuration file to records of what it says. No tree is made: the parser tells of each
 * piece as it comes upon it, and of an instance one record is left.
 */
#include "config/config_document.h"

#include "config/default_file.h"
#include "config/schema_declaration.h"
#include "core/base/text_buffer.h"
#include "services/xml/xml_listener.h"
#include "vorn/debug.h"

#include <libxml/dict.h>

#include <cstring>
#include <limits>
#include <utility>

namespace vorn {

namespace {

constexpr char root_name[] = "config";
constexpr char name_attribute[] = "name";

/* How deep the elements lie that mean something. */
constexpr unsigned int root_depth = 1;
constexpr unsigned int instance_depth = 2;
constexpr unsigned int value_depth = 3;

/* Of one instance: places in its record are counted in 32 bits. */
constexpr std::size_t longest_values = std::numeric_limits<std::uint32_t>::max() / 4;
constexpr std::size_t longest_texts = std::numeric_limits<std::uint32_t>::max() / 2;
static_assert(sizeof(WrittenInstance) + longest_values + longest_texts <=
              std::numeric_limits<std::uint32_t>::max());

/* Two attributes of one name differ in their namespaces; the first counts. */
bool is_name(const xmlChar *const *attribute)
{
    const xmlChar *prefix = attribute[1];
    const xmlChar *uri = attribute[2];
    return xmlStrEqual(attribute[0], xml(name_attribute)) && (!prefix || uri);
}

} // namespace

/* Hears what the parser finds, and makes records of it. */
class DocumentReader {
public:
    explicit DocumentReader(ConfigDocument &document) : document_(document), end_(&document.first_)
    {}

    enum class Root { missing, wrong, right };
    Root root() const { return root_; }
    bool failed() const { return failed_ || texts_.failed() || values_.failed(); }

    void begin(const xmlChar *name, const xmlChar *prefix, const xmlChar *uri,
               const xmlChar *const *attributes, int attribute_count);
    void end();

    /* What the text of a value is made of: pieces of one kind, with nothing between them. */
    enum class Pieces { none, characters, cdata, over };
    void add_text(Pieces kind, const xmlChar *text, int length);
    void add_something_else();
    void take_instruction(const xmlChar *target, const xmlChar *data);

private:
    const char *keep_name(const xmlChar *name, const xmlChar *prefix, const xmlChar *uri);
    void begin_instance(const xmlChar *const *attributes, int attribute_count);
    void end_value();
    void end_instance();

    ConfigDocument &document_;
    WrittenInstance **end_;
    unsigned int depth_ = 0;
    Root root_ = Root::missing;
    bool failed_ = false;

    /* Of the instance that is being read. Places count from its first text, and from 1. */
    const char *element_ = nullptr;
    bool is_named_ = false;
    WrittenValue value_ = {};
    Pieces pieces_ = Pieces::none;
    TextBuffer values_{longest_values};
    TextBuffer texts_{longest_texts};
};

const char *DocumentReader::keep_name(const xmlChar *name, const xmlChar *prefix,
                                      const xmlChar *uri)
{
    if (!document_.names_) document_.names_ = xmlDictCreate();
    /* A prefix that nobody declared is a part of the name. */
    const xmlChar *kept = prefix && !uri ? xmlDictQLookup(document_.names_, prefix, name)
                                         : xmlDictLookup(document_.names_, name, -1);
    if (!kept) failed_ = true;
    return plain(kept);
}

void DocumentReader::begin(const xmlChar *name, const xmlChar *prefix, const xmlChar *uri,
                           const xmlChar *const *attributes, int attribute_count)
{
    add_something_else();
    depth_++;
    if (depth_ > value_depth) return;
    const char *kept = keep_name(name, prefix, uri);
    if (!kept) return;
    if (depth_ == root_depth) {
        root_ = std::strcmp(kept, root_name) == 0 ? Root::right : Root::wrong;
    } else if (depth_ == instance_depth) {
        element_ = kept;
        begin_instance(attributes, attribute_count);
    } else {
        value_ = {kept, 0};
        pieces_ = Pieces::none;
    }
}

void DocumentReader::begin_instance(const xmlChar *const *attributes, int attribute_count)
{
    constexpr int parts_of_an_attribute = 5;
    values_.clear();
    texts_.clear();
    is_named_ = false;
    for (int i = 0; i < attribute_count && !is_named_; i++) {
        const xmlChar *const *attribute = attributes + i * parts_of_an_attribute;
        if (!is_name(attribute)) continue;
        texts_.append(plain(attribute[3]), static_cast<std::size_t>(attribute[4] - attribute[3]));
        texts_.append("", 1);
        is_named_ = true;
    }
}

void DocumentReader::add_text(Pieces kind, const xmlChar *text, int length)
{
    if (depth_ != value_depth || pieces_ == Pieces::over) return;
    if (pieces_ == Pieces::none) {
        value_.text = static_cast<std::uint32_t>(texts_.size() + 1);
        pieces_ = kind;
    }
    if (pieces_ != kind) {
        pieces_ = Pieces::over;
        return;
    }
    texts_.append(plain(text), static_cast<std::size_t>(length));
}

void DocumentReader::add_something_else()
{
    if (depth_ == value_depth) pieces_ = Pieces::over;
}

/* The first counts. */
void DocumentReader::take_instruction(const xmlChar *target, const xmlChar *data)
{
    add_something_else();
    if (root_ != Root::missing || document_.versions_) return;
    if (!xmlStrEqual(target, xml(schema_instruction))) return;
    document_.versions_ = copy_of(or_empty(plain(data)));
    if (!document_.versions_) failed_ = true;
}

void DocumentReader::end()
{
    if (depth_ == value_depth) end_value();
    if (depth_ == instance_depth) end_instance();
    depth_--;
}

void DocumentReader::end_value()
{
    if (value_.text > 0) texts_.append("", 1);
    values_.append(reinterpret_cast<const char *>(&value_), sizeof value_);
}

void DocumentReader::end_instance()
{
    if (failed() || root_ != Root::right) return;
    const std::size_t first_text = sizeof(WrittenInstance) + values_.size();
    auto *record = static_cast<WrittenInstance *>(noted(std::malloc(first_text + texts_.size())));
    if (!record) {
        failed_ = true;
        return;
    }
    const auto place = [&](std::uint32_t text) {
        return text > 0 ? static_cast<std::uint32_t>(first_text + text - 1) : 0;
    };
    *record = {
        .next = nullptr,
        .element = element_,
        .count = static_cast<std::uint32_t>(values_.size() / sizeof(WrittenValue)),
        .instance_name = place(is_named_ ? 1 : 0),
    };
    auto *values = reinterpret_cast<WrittenValue *>(record + 1);
    if (record->count > 0) std::memcpy(values, values_.get(), values_.size());
    for (std::uint32_t i = 0; i < record->count; i++)
        values[i].text = place(values[i].text);
    if (texts_.size() > 0) {
        std::memcpy(reinterpret_cast<char *>(record) + first_text, texts_.get(), texts_.size());
    }
    *std::exchange(end_, &record->next) = record;
}

namespace {

DocumentReader &reader_at(void *parser)
{
    return *static_cast<DocumentReader *>(listener_of(parser));
}

/* What memory did not suffice for would be missing without a trace. */
void end_if_failed(void *parser)
{
    if (reader_at(parser).failed()) stop_without_memory(parser);
}

void begin_element(void *parser, const xmlChar *name, const xmlChar *prefix, const xmlChar *uri,
                   int, const xmlChar **, int attribute_count, int, const xmlChar **attributes)
{
    reader_at(parser).begin(name, prefix, uri, attributes, attribute_count);
    end_if_failed(parser);
}

void end_element(void *parser, const xmlChar *, const xmlChar *, const xmlChar *)
{
    reader_at(parser).end();
    end_if_failed(parser);
}

void take_characters(void *parser, const xmlChar *text, int length)
{
    reader_at(parser).add_text(DocumentReader::Pieces::characters, text, length);
}

void take_cdata(void *parser, const xmlChar *text, int length)
{
    reader_at(parser).add_text(DocumentReader::Pieces::cdata, text, length);
}

void take_comment(void *parser, const xmlChar *)
{
    reader_at(parser).add_something_else();
}

void take_instruction(void *parser, const xmlChar *target, const xmlChar *data)
{
    reader_at(parser).take_instruction(target, data);
    end_if_failed(parser);
}

constexpr XmlListener listener = {
    .begin = begin_element,
    .end = end_element,
    .characters = take_characters,
    .cdata = take_cdata,
    .comment = take_comment,
    .instruction = take_instruction,
};

} // namespace

ConfigDocument::ConfigDocument(ConfigDocument &&other) noexcept
    : names_(std::exchange(other.names_, nullptr)),
      first_(std::exchange(other.first_, nullptr)),
      versions_(std::move(other.versions_))
{}

ConfigDocument &ConfigDocument::operator=(ConfigDocument &&other) noexcept
{
    std::swap(names_, other.names_);
    std::swap(first_, other.first_);
    std::swap(versions_, other.versions_);
    return *this;
}

ConfigDocument::~ConfigDocument()
{
    while (take_next()) {
    }
    xmlDictFree(names_);
}

const char *ConfigDocument::keep(const char *text)
{
    return plain(noted(xmlDictLookup(names_, xml(text), -1)));
}

Allocated<WrittenInstance> ConfigDocument::take_next()
{
    Allocated<WrittenInstance> next(first_);
    if (next) first_ = next->next;
    return next;
}

namespace {

/* What was told, if it is a configuration. */
ConfigDocument judged(ConfigDocument document, bool is_document, DocumentReader::Root root)
{
    if (!is_document) {
        vorn_debug_eprintf("Config not parsed successfully.\n");
        return {};
    }
    if (root == DocumentReader::Root::missing) {
        vorn_debug_eprintf("Empty document.\n");
        return {};
    }
    if (root == DocumentReader::Root::wrong) {
        vorn_debug_eprintf("Document of the wrong type: root node is not \"%s\".", root_name);
        return {};
    }
    return document;
}

} // namespace

ConfigDocument parse_config(const char *path)
{
    if (!path) {
        vorn_debug_eprintf("Config filename is null.\n");
        return {};
    }
    ConfigDocument document;
    DocumentReader reader(document);
    const bool is_document = tell_of_xml_file(path, listener, &reader);
    return judged(std::move(document), is_document, reader.root());
}

ConfigDocument parse_config_text(const char *text, std::size_t length)
{
    ConfigDocument document;
    DocumentReader reader(document);
    const bool is_document = tell_of_xml_text(text, length, listener, &reader);
    return judged(std::move(document), is_document, reader.root());
}

ConfigDocument parse_default(const char *path)
{
    long length = 0;
    const File file = open_checked_default(path, length);
    if (!file || length < 0) return {};
    ConfigDocument document;
    DocumentReader reader(document);
    const bool is_document =
        tell_of_xml_piece(file.get(), static_cast<std::size_t>(length), listener, &reader);
    return judged(std::move(document), is_document, reader.root());
}

} // namespace vorn
