/* SPDX-License-Identifier: MIT */
#pragma once

#include "config/config_fixture.h"
#include "config/kept_pieces.h"
#include "vorn/config.h"

#include <string>
#include <utility>

namespace vorn::tests {

class KeptPiecesTest : public ConfigTest {
protected:
    KeptPiecesTest() { kept_pieces = make<KeptPieces>().release(); }
    ~KeptPiecesTest() override { vorn_config_forget_kept(); }

    /* Loads what is in the file into an empty store, keeping what can't be read. */
    bool reload()
    {
        Owned<KeptPieces> kept;
        {
            const AllocationsAllowed allowed;
            changes.reset();
            vorn_instances_delete_all(store);
            store = vorn_instances_new();
            changes.reset(vorn_changes_new(store));
            kept = make<KeptPieces>();
        }
        ConfigDocument document = parse_config(file.c_str());
        unknown = 0;
        const bool whole =
            document && read_instances(document, store, changes.get(), unknown, kept.get());
        delete std::exchange(kept_pieces, kept.release());
        return whole;
    }

    bool reload(const std::string &text)
    {
        write(file, "<config>" + text + "</config>");
        return reload();
    }

    static std::string listed()
    {
        std::string list;
        for (unsigned int i = 0; const char *piece = vorn_config_get_kept(i); i++)
            list += std::string(piece) + "\n";
        return list;
    }

    vorn_instance *radio(const char *name) { return vorn_instances_get(store, "Radio", name); }

    unsigned int unknown = 0;
};

} // namespace vorn::tests
