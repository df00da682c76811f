/* SPDX-License-Identifier: MIT */
/*
 * Any file as the one a board boots from. What is read is consistent, and known to the provider;
 * what is saved of it is read back as it was saved.
 */
#include "config/config_state.h"
#include "config/config_write.h"

#include "fuzz/board.h"
#include "fuzz/consistency.h"
#include "fuzz/scratch.h"
#include "fuzz/target.h"

namespace {

using namespace vorn::fuzz;

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
    const Board board;
    write_file(path, as_text(data, size));
    if (!boot(path) || !has_honest_subclasses(vorn::running_config)) return 0;

    const std::string saved = save(path);
    require(boot(path) && save(path) == saved, "what was saved is read back");
    return 0;
}
