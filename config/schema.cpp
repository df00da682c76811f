/* SPDX-License-Identifier: MIT */
/*
 * The versions of their part of the configuration that plugins declare, and the digest of all that
 * a configuration can be made of: what tells one firmware's configurations from another's.
 */
#include "config/schema.h"

#include "config/scattered_digest.h"
#include "core/base/result.h"
#include "core/guard.h"
#include "model/class_registry_state.h"
#include "vorn/debug.h"
#include "vorn/schema.h"

#include <cinttypes>
#include <cstdio>
#include <cstring>

namespace vorn {

constinit PluginSchema *first_schema = nullptr;

PluginSchema *find_schema(const char *name)
{
    PluginSchema *each = first_schema;
    while (each && std::strcmp(each->name.get(), name) != 0)
        each = each->next;
    return each;
}

namespace {

constexpr std::size_t longest_name = 63;

bool is_letter(char character)
{
    return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z');
}

bool is_schema_name(const char *name)
{
    constexpr char others[] = "0123456789-_.";
    const char *at = name;
    while (is_letter(*at) || (*at && at > name && std::strchr(others, *at)))
        at++;
    return at > name && !*at && static_cast<std::size_t>(at - name) <= longest_name;
}

bool refuse(const char *name, const vorn_plugin &plugin, const char *reason)
{
    vorn_debug_eprintf("Schema \"%s\" of plugin \"%s\": %s.\n", name, or_empty(plugin.name),
                       reason);
    return false;
}

bool may_be_declared(const vorn_plugin &plugin, const char *name, unsigned int version,
                     const SchemaTable &table)
{
    SchemaFault fault("%s", "");
    if (!is_schema_name(name)) return refuse(name, plugin, "that is no name");
    if (find_schema(name)) return refuse(name, plugin, "the name is declared already");
    if (!is_sound(table, version, fault)) return refuse(name, plugin, fault.get());
    for (const PluginSchema *each = first_schema; each; each = each->next) {
        const char *klass = find_claimed_by_both(table, each->table);
        if (!klass) continue;
        const SchemaFault claimed("what becomes of class \"%s\" says \"%s\" already", klass,
                                  each->name.get());
        return refuse(name, plugin, claimed.get());
    }
    return true;
}

/* The type of a property is what its values may be. */
std::uint64_t digest_of(const vorn_property &property)
{
    std::uint64_t digest = add_text(digest_start, property.name.get());
    digest = add_text(digest, Line<16>("%d", property.persistence).get());
    digest = add_text(digest, or_empty(property.syntax.get()));
    return scattered(add_text(digest, or_empty(property.reference.get())));
}

std::uint64_t digest_of(const vorn_class &klass)
{
    std::uint64_t properties = 0;
    for (auto [name, property] : klass.properties)
        properties += digest_of(*property);
    const Line<64> kind("%d %d %d", klass.type, klass.persistence, klass.abstract);
    std::uint64_t digest = add_text(digest_start, klass.name.get());
    digest = add_text(digest, or_empty(klass.superclass_name.get()));
    return scattered(add_text(digest, kind.get()) + properties);
}

std::uint64_t digest_of(const PluginSchema &schema)
{
    const Line<16> version("%u", schema.version);
    return scattered(add_text(add_text(digest_start, schema.name.get()), version.get()));
}

} // namespace

} // namespace vorn

using namespace vorn;

int vorn_plugin_set_schema(vorn_plugin *plugin, const char *name, unsigned int version,
                           const struct vorn_migration *steps, unsigned int count)
{
    if (absent(plugin, "plugin") || absent(name, "name")) return failed;
    if (count > 0 && absent(steps, "steps")) return failed;
    const SchemaTable table = {steps, count};
    if (!may_be_declared(*plugin, name, version, table)) return failed;

    Owned<PluginSchema> schema = make<PluginSchema>();
    if (!schema) return failed;
    schema->name = copy_of(name);
    schema->plugin = copy_of(or_empty(plugin->name));
    if (!schema->name || !schema->plugin) return failed;
    schema->version = version;
    schema->table = table;
    schema->owner = current_plugin();
    PluginSchema **place = &first_schema;
    while (*place && std::strcmp((*place)->name.get(), name) < 0)
        place = &(*place)->next;
    schema->next = *place;
    *place = schema.release();
    return ok;
}

const char *vorn_schema_get_id()
{
    static constinit char id[17] = "";
    std::uint64_t digest = 0;
    if (class_registry) {
        for (auto [name, klass] : class_registry->classes)
            digest += digest_of(*klass);
    }
    for (const PluginSchema *each = first_schema; each; each = each->next)
        digest += digest_of(*each);
    std::snprintf(id, sizeof id, "%016" PRIx64, digest);
    return id;
}

const char *vorn_schema_get_name(unsigned int rank)
{
    const PluginSchema *each = first_schema;
    while (each && rank-- > 0)
        each = each->next;
    return each ? each->name.get() : nullptr;
}

unsigned int vorn_schema_get_version(const char *name)
{
    const PluginSchema *schema = name ? find_schema(name) : nullptr;
    return schema ? schema->version : 0;
}

const char *vorn_schema_get_plugin(const char *name)
{
    const PluginSchema *schema = name ? find_schema(name) : nullptr;
    return schema ? schema->plugin.get() : "";
}
