/* SPDX-License-Identifier: MIT */
/*
 * What becomes of a document in other versions, for whoever wants to see it: nothing that runs is
 * touched, and nothing is saved.
 */
#include "config/migrate_document.h"

#include "config/file_limits.h"
#include "config/migration.h"
#include "config/schema_declaration.h"
#include "core/guard.h"
#include "services/xml/xml.h"
#include "services/xml/xml_writer.h"
#include "vorn/config.h"
#include "vorn/debug.h"

#include <climits>
#include <cstring>

namespace vorn {

namespace {

constexpr char root_name[] = "config";

/* The versions that are asked for: radio=2 time=1. Others are those of this device. */
class WantedVersions {
public:
    explicit WantedVersions(const char *text) : text_(or_empty(text)) {}

    /* False, with the reason in the log, when it can't be understood or can't be done. */
    bool are_possible() const;
    unsigned int of(const PluginSchema &schema) const;

private:
    static bool read(const char *&at, DeclaredVersion &found);
    static bool is_possible(const DeclaredVersion &wanted);

    const char *text_;
};

bool WantedVersions::read(const char *&at, DeclaredVersion &found)
{
    constexpr char blanks[] = " \t\n";
    const char *next = at + std::strspn(at, blanks);
    const std::size_t length = std::strcspn(next, "= \t\n");
    if (length == 0 || next[length] != '=') return false;
    found = {next, length, 0};
    next += length + 1;
    if (!read_number(next, found.version) || (*next && !std::strchr(blanks, *next))) return false;
    at = next;
    return true;
}

bool WantedVersions::is_possible(const DeclaredVersion &wanted)
{
    for (const PluginSchema *each = first_schema; each; each = each->next) {
        if (!wanted.is_named(each->name.get())) continue;
        if (wanted.version <= each->version) return true;
        vorn_debug_eprintf("The schema \"%s\" has no version later than %u.\n", each->name.get(),
                           each->version);
        return false;
    }
    vorn_debug_eprintf("There is no schema \"%.*s\".\n", static_cast<int>(wanted.length),
                       wanted.name);
    return false;
}

bool WantedVersions::are_possible() const
{
    const char *at = text_;
    for (DeclaredVersion wanted = {}; read(at, wanted);) {
        if (!is_possible(wanted)) return false;
    }
    if (is_read_to_its_end(at)) return true;
    vorn_debug_eprintf("These are no versions: \"%s\".\n", text_);
    return false;
}

unsigned int WantedVersions::of(const PluginSchema &schema) const
{
    const char *at = text_;
    for (DeclaredVersion wanted = {}; read(at, wanted);) {
        if (wanted.is_named(schema.name.get())) return wanted.version;
    }
    return schema.version;
}

/* What nobody here knows the steps of stays as it is. */
unsigned int goal_of(const PluginSchema &schema, unsigned int version, const WantedVersions &wanted)
{
    return version > schema.version ? version : wanted.of(schema);
}

/* What was done last is undone first. */
bool plan_ways_back(MigrationPlan &plan, ConfigDocument &document, const WantedVersions &wanted,
                    const PluginSchema *schema)
{
    if (!schema) return true;
    if (!plan_ways_back(plan, document, wanted, schema->next)) return false;
    const unsigned int version = version_in(document.versions(), schema->name.get());
    const unsigned int goal = goal_of(*schema, version, wanted);
    return goal >= version || plan.add(document, *schema, version, goal);
}

bool plan_all(MigrationPlan &plan, ConfigDocument &document, const WantedVersions &wanted)
{
    if (!plan_ways_back(plan, document, wanted, first_schema)) return false;
    for (const PluginSchema *each = first_schema; each; each = each->next) {
        const unsigned int version = version_in(document.versions(), each->name.get());
        const unsigned int goal = goal_of(*each, version, wanted);
        if (goal > version && !plan.add(document, *each, version, goal)) return false;
    }
    return true;
}

Line<200> nothing_is_known(const char *name, std::size_t length, unsigned int version)
{
    return Line<200>("%.*s: nothing is known here of version %u", static_cast<int>(length), name,
                     version);
}

void tell_of_later_versions(const ConfigDocument &document, const WantedVersions &wanted,
                            Losses &losses)
{
    for (const PluginSchema *each = first_schema; each; each = each->next) {
        const char *name = each->name.get();
        const unsigned int version = version_in(document.versions(), name);
        if (version <= each->version || wanted.of(*each) >= version) continue;
        losses.add_line(nothing_is_known(name, std::strlen(name), version).get());
    }
    DeclaredVersion said = {};
    for (const char *at = document.versions(); at && read_version(at, said);) {
        if (said.version > 0 && is_of_silent_plugin(said))
            losses.add_line(nothing_is_known(said.name, said.length, said.version).get());
    }
}

Text versions_after(const ConfigDocument &document, const WantedVersions &wanted)
{
    SaidVersions said(document.versions(), SaidVersions::Silent::kept);
    for (const PluginSchema *each = first_schema; each; each = each->next) {
        const char *name = each->name.get();
        said.add_before(name);
        const unsigned int version = version_in(document.versions(), name);
        said.add(name, std::strlen(name), goal_of(*each, version, wanted));
    }
    return said.take();
}

void write_values(XmlWriter &out, const WrittenInstance &written, const InstanceTitle &title,
                  Losses &losses)
{
    for (const WrittenValue &each : written) {
        const char *text = or_empty(written.text_at(each.text));
        if (file_may_name(each.property) && file_may_hold(text)) {
            out.add_text(each.property, text);
        } else {
            losses.add(title, each.property, LossReason("no file can hold it"));
        }
    }
}

Text write_records(ConfigDocument &document, const WantedVersions &wanted, Losses &losses)
{
    const Text versions = versions_after(document, wanted);
    if (!versions) return {};
    XmlWriter out(XmlWriter::Layout::indented);
    if (*versions.get()) out.add_instruction(schema_instruction, versions.get());
    out.open(root_name);
    while (const Allocated<WrittenInstance> written = document.take_next()) {
        const InstanceTitle title = {written->element, written->text_at(written->instance_name)};
        if (!file_may_name(title.class_name) || (title.name && !file_may_hold(title.name))) {
            losses.add(title, nullptr, LossReason("no file can hold it"));
            continue;
        }
        out.open(title.class_name, title.name);
        write_values(out, *written, title, losses);
        out.close(title.class_name);
    }
    out.close(root_name);
    return out.take();
}

} // namespace

Outcome migrate_document(const char *document, const char *versions, Text &migrated, Text &losses)
{
    const WantedVersions wanted(versions);
    if (!wanted.are_possible()) return Outcome::refused;
    ConfigDocument records = parse_config_text(document, std::strlen(document));
    if (!records && libxml2_was_short_of_memory()) return Outcome::out_of_memory;
    if (!records) return Outcome::refused;

    MigrationPlan plan;
    Losses lost;
    if (!plan_all(plan, records, wanted)) return Outcome::out_of_memory;
    tell_of_later_versions(records, wanted, lost);
    if (!carry_out(plan, records, &lost)) return Outcome::out_of_memory;
    migrated = write_records(records, wanted, lost);
    losses = lost.take();
    return migrated && losses ? Outcome::done : Outcome::out_of_memory;
}

Text versions_before()
{
    TextBuffer versions;
    versions.append("");
    for (const PluginSchema *each = first_schema; each; each = each->next) {
        if (versions.size() > 0) versions.append(" ");
        versions.append(each->name.get());
        versions.append(Line<16>("=%u", each->version - 1).get());
    }
    return versions.take();
}

} // namespace vorn

using namespace vorn;

char *vorn_config_migrate(const char *document, const char *versions, char **losses)
{
    if (losses) *losses = nullptr;
    if (absent(document, "document")) return nullptr;
    Text migrated;
    Text lost;
    if (migrate_document(document, versions, migrated, lost) != Outcome::done) return nullptr;
    if (losses) *losses = lost.release();
    return migrated.release();
}
