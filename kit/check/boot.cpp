/* SPDX-License-Identifier: MIT */
/*
 * What a boot would make of a configuration file, by the daemon's own reading. It is read instance
 * by instance, so that each complaint has its line.
 */
#include "boot.h"

#include "config/config_read.h"
#include "config/default_file.h"
#include "config/migration.h"
#include "vorn/vorn.h"

#include <libxml/parser.h>
#include <libxml/xmlreader.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <memory>

#include <unistd.h>

#include "loading.h"

namespace vorn::check {

namespace {

constexpr int parser_level = 4; /* at which the reason why a file is no XML is logged */
constexpr int errors_only = 0;

struct CloseFile {
    void operator()(std::FILE *file) const { std::fclose(file); }
};
using OwnedFile = std::unique_ptr<std::FILE, CloseFile>;

void add_findings(CheckedFile &file, long line)
{
    for (const std::string &message : take_messages())
        file.findings.push_back({line, message});
}

using Messages = std::vector<std::string>;

/* What is said of the instance where no other is. */
Messages said_of(const WrittenInstance &written)
{
    vorn_instances *store = vorn_instances_new();
    vorn_changes *changes = vorn_changes_new(store);
    unsigned int unknown = 0;
    read_instance(written, store, changes, unknown);
    vorn_changes_delete(changes);
    vorn_instances_delete_all(store);
    return take_messages();
}

/* The same without one of its values, which has its place again afterwards. */
Messages said_without(WrittenInstance &written, std::uint32_t place)
{
    auto *values = const_cast<WrittenValue *>(written.begin());
    std::rotate(values + place, values + place + 1, values + written.count);
    written.count--;
    Messages said = said_of(written);
    written.count++;
    std::rotate(values + place, values + written.count - 1, values + written.count);
    return said;
}

Messages missing_in(Messages others, const Messages &messages)
{
    Messages missing;
    for (const std::string &message : messages) {
        const auto found = std::find(others.begin(), others.end(), message);
        if (found == others.end()) {
            missing.push_back(message);
        } else {
            others.erase(found);
        }
    }
    return missing;
}

/* Where an instance and its values begin in the file. */
struct Lines {
    long instance;
    std::vector<long> values;
};

/* Of all instances of a document that can be read. */
std::vector<Lines> lines_in(const std::string &path)
{
    std::vector<Lines> lines;
    xmlTextReader *reader =
        xmlReaderForFile(path.c_str(), nullptr, XML_PARSE_NONET | XML_PARSE_HUGE);
    while (reader && xmlTextReaderRead(reader) == 1) {
        if (xmlTextReaderNodeType(reader) != XML_READER_TYPE_ELEMENT) continue;
        const long line = xmlGetLineNo(xmlTextReaderCurrentNode(reader));
        const int depth = xmlTextReaderDepth(reader);
        if (depth == 1) lines.push_back({line, {}});
        if (depth == 2) lines.back().values.push_back(line);
    }
    xmlFreeTextReader(reader);
    return lines;
}

/*
 * The lines of what is said of an instance: of the value without which it would not be said, and of
 * several of those the one that has the least to do with anything else.
 */
void add_findings(CheckedFile &file, const Messages &said, WrittenInstance &written,
                  const Lines &lines_of)
{
    std::vector<long> lines(said.size(), lines_of.instance);
    std::vector<std::size_t> least(said.size(), SIZE_MAX);
    const Messages alone = said_of(written);
    const auto count = std::min<std::size_t>(written.count, lines_of.values.size());
    for (std::uint32_t place = 0; place < count; place++) {
        const Messages missing = missing_in(said_without(written, place), alone);
        for (std::size_t i = 0; i < said.size(); i++) {
            if (std::find(missing.begin(), missing.end(), said[i]) == missing.end()) continue;
            if (missing.size() >= least[i]) continue;
            least[i] = missing.size();
            lines[i] = lines_of.values[place];
        }
    }
    for (std::size_t i = 0; i < said.size(); i++)
        file.findings.push_back({lines[i], said[i]});
}

int count(const vorn_instances *store)
{
    int instances = 0;
    vorn_instances_iterator *walk = vorn_instances_new_iterator(store);
    while (vorn_instances_iterator_next(walk))
        instances++;
    vorn_instances_delete_iterator(walk);
    return instances;
}

/* A document that is migrated has no lines any more. */
bool is_migrated(CheckedFile &file, ConfigDocument &document)
{
    constexpr char mark[] = ": migrated from version ";
    migrate(document);
    file.notes = take_messages();
    return std::any_of(file.notes.begin(), file.notes.end(), [&](const std::string &note) {
        return note.find(mark) != std::string::npos;
    });
}

/* There are lines for each instance that the document has. */
void read_all(CheckedFile &file, ConfigDocument &document, const std::vector<Lines> &lines)
{
    vorn_instances *store = vorn_instances_new();
    vorn_changes *changes = vorn_changes_new(store);
    vorn_config_replace_running(store); /* validators may look at it */

    unsigned int unknown = 0;
    const std::size_t known = is_migrated(file, document) ? 0 : lines.size();
    for (std::size_t place = 0; const Allocated<WrittenInstance> written = document.take_next();
         place++) {
        read_instance(*written, store, changes, unknown);
        if (place >= known) {
            add_findings(file, 0);
            continue;
        }
        const Messages said = take_messages();
        if (!said.empty()) add_findings(file, said, *written, lines[place]);
    }
    add_missing_singletons(store, changes);
    add_findings(file, 0);
    file.instances = count(store);
    vorn_changes_delete(changes);
}

std::string md5_of(const std::string &path)
{
    const std::string command = "md5sum <'" + path + "'";
    std::FILE *output = popen(command.c_str(), "r");
    char sum[33] = "";
    if (!output || std::fscanf(output, "%32s", sum) != 1) sum[0] = '\0';
    if (output) pclose(output);
    return sum;
}

long lines_before(std::FILE *stream)
{
    long lines = 0;
    const long end = std::ftell(stream);
    std::rewind(stream);
    while (std::ftell(stream) < end)
        lines += std::getc(stream) == '\n';
    return lines;
}

/* What follows the header of a default file, in a scratch file; empty when it is no good. */
std::string unwrapped_default(CheckedFile &file, long &header_lines)
{
    const OwnedFile stream(std::fopen(file.path.c_str(), "r"));
    if (!stream) {
        file.findings.push_back({0, "can't be read"});
        return "";
    }
    DefaultHeader header;
    if (const int code = read_default_header(stream.get(), header)) {
        add_findings(file, 0);
        file.findings.push_back({0, "the header is bad (code " + std::to_string(100 + code) + ")"});
        return "";
    }
    header_lines = lines_before(stream.get());
    std::string body;
    for (int byte; (byte = std::getc(stream.get())) != EOF;)
        body += static_cast<char>(byte);
    std::string scratch = "/tmp/vorn-plugin-check.XXXXXX";
    close(mkstemp(scratch.data()));
    std::ofstream(scratch, std::ios::binary) << body;

    const std::string found = md5_of(scratch);
    if (found == header.md5sum) return scratch;
    file.findings.push_back(
        {0, "the document's MD5 sum is " + found + ", the header says " + header.md5sum});
    unlink(scratch.c_str());
    return "";
}

} // namespace

CheckedFile check_file(const std::string &role, const std::string &path)
{
    CheckedFile file = {role, path, CheckedFile::State::refused, 0, {}, {}};
    std::string document_path = path;
    long header_lines = 0;
    if (role == "default") {
        document_path = unwrapped_default(file, header_lines);
        if (document_path.empty()) return file;
    }
    set_log_level(parser_level);
    ConfigDocument document = parse_config(document_path.c_str());
    const std::vector<Lines> lines = document ? lines_in(document_path) : std::vector<Lines>();
    set_log_level(errors_only);
    if (document_path != path) unlink(document_path.c_str());
    file.state = document ? CheckedFile::State::usable : CheckedFile::State::not_parsed;
    if (!document) {
        add_findings(file, 0);
        return file;
    }
    take_messages();
    read_all(file, document, lines);
    for (Finding &finding : file.findings) {
        if (finding.line > 0) finding.line += header_lines;
    }
    return file;
}

/*
 * A startup file that isn't there or can't be read gives way to the default, and a default that is
 * missing or damaged to the rescue file. There it ends, even if that is no configuration.
 */
Boot simulate(const std::vector<CheckedFile> &files)
{
    const CheckedFile *fallback = nullptr;
    for (const CheckedFile &file : files) {
        const bool is_startup = file.role == "startup";
        if (is_startup && file.state != CheckedFile::State::usable) continue;
        if (!is_startup && file.state == CheckedFile::State::refused) continue;
        fallback = &file;
        break;
    }
    return {fallback && fallback->state == CheckedFile::State::usable ? fallback : nullptr};
}

} // namespace vorn::check
