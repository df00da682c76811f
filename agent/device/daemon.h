/* SPDX-License-Identifier: MIT */
#pragma once

#include <memory>
#include <string>

#include <device.h>
#include <schema.h>

#include "protocol/outside.h"

namespace vorn::fleet {

/* The daemon of this device, as the agent's questions need it. Each call waits for its answer. */
class Daemon {
public:
    Daemon();

    /* Waits until there is a daemon that can tell; null for the document where there is none. */
    View look(const Desired *document);
    Applied apply(const Desired &document);
    Refusal confirm(const std::string &trial_id);
    void revert(const std::string &trial_id);

    struct Reply {
        Refusal refusal;
        std::string text;
    };
    Reply ask(const std::string &lsql);
    /* Nothing of what the device does not have, or does not tell. */
    std::vector<Shown> read(const std::vector<Selection> &what);

private:
    struct Sight;

    Sight see(const Content &content);
    View view_of(const Sight &sight) const;
    Refusal end_trial(const char *word, const std::string &trial_id);
    Applied attempt(const Desired &document);

    client::Device device_;
    client::Schema schema_;
    std::string schema_id_;
};

} // namespace vorn::fleet
