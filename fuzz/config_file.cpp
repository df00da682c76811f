/* SPDX-License-Identifier: MIT */
/*
 * Any file as the one a board boots from, of whatever version of the board's schema. What is read
 * is consistent, and known to the provider; what is saved of it is read back as it was saved. The
 * file can be brought to each version, and from there to each other.
 */
#include "config/config_state.h"
#include "config/config_write.h"
#include "vorn/config.h"
#include "vorn/migration.h"
#include "vorn/schema.h"

#include <cstdlib>
#include <cstring>
#include <iterator>
#include <string>

#include "fuzz/board.h"
#include "fuzz/consistency.h"
#include "fuzz/scratch.h"
#include "fuzz/target.h"
#include "tests/support/dashed_texts.h"

namespace {

using namespace vorn::fuzz;
using vorn::tests::join_with_dash;
using vorn::tests::split_at_dash;

constexpr const char *parts[] = {"channel", "mode", nullptr};

/* Every kind of step. */
void declare_versions()
{
    static const vorn_migration steps[] = {
        VORN_RENAME_CLASS(1, "Wlan", "Radio"),
        VORN_RENAME_PROPERTY(1, "Radio", "chan", "channel"),
        VORN_MOVE_PROPERTY(1, "Radio", "label", "Board", nullptr),
        VORN_MOVE_PROPERTY(1, "Radio", "serial", "Key", nullptr),
        VORN_SPLIT_PROPERTY(2, "Radio", "both", split_at_dash, join_with_dash, parts),
        VORN_MAP_VALUE(2, "Radio", "mode", "g", "b"),
        VORN_MAP_VALUE(2, "Radio", "mode", "b", "g"),
        VORN_JOIN_PROPERTIES(2, "Acl", parts, join_with_dash, nullptr, "mac"),
        VORN_DEFAULT_VALUE(3, "Route", "to", "lan"),
        VORN_DROP_PROPERTY(3, "Radio", "uptime"),
        VORN_DROP_CLASS(3, "Old"),
    };
    static char name[] = "board.vorn";
    static vorn_plugin plugin = {name};
    if (vorn_schema_get_version("board") != 0) return;
    require(vorn_plugin_set_schema(&plugin, "board", 3, steps, std::size(steps)) == 0,
            "the table makes sense");
}

void migrate(const char *document)
{
    for (const char *first : {"board=0", "board=2", "board=3"}) {
        char *migrated = vorn_config_migrate(document, first, nullptr);
        if (!migrated) continue;
        for (const char *second : {"board=0", "board=1", "board=3"}) {
            char *losses = nullptr;
            char *again = vorn_config_migrate(migrated, second, &losses);
            require(again && losses, "what was migrated is a document of its version");
            std::free(again);
            std::free(losses);
        }
        std::free(migrated);
    }
}

bool boot(const std::string &path)
{
    take_commits();
    const bool booted = Board::boot_from(path);
    const std::vector<Commit> commits = take_commits();

    require(commits.size() == (booted ? 1 : 0), "a boot is one commit");
    require(!booted || commits[0].before.empty(), "there is nothing before a boot");
    require(!booted || commits[0].after == state_of(vorn::running_config),
            "a provider learns what was loaded");
    require_consistent(vorn::running_config);
    return booted;
}

std::string save(const std::string &path)
{
    require(vorn::write_config(vorn::running_config, path.c_str()), "a configuration is saved");
    return read_file(path);
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static const ScratchFolder folder;
    const std::string path = folder / "config.xml";

    set_up_board();
    declare_versions();
    const Board board;
    migrate(std::string(as_text(data, size)).c_str());
    write_file(path, as_text(data, size));
    if (!boot(path) || !has_honest_subclasses(vorn::running_config)) return 0;

    const std::string saved = save(path);
    require(boot(path) && save(path) == saved, "what was saved is read back");
    return 0;
}
