/* SPDX-License-Identifier: MIT */
#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <schema.h>

#include "stillness.h"

namespace vorn::gate {

/* What a device has, as one user sees it. There may be many, so that they are kept small. */
struct DeviceSchema {
    client::Schema schema;
    std::string id;
    std::string told; /* what GET /schema answers: all of it, in JSON */
    /* Without abstract classes: each object has one class of its own. */
    std::vector<std::string> classes_with_state;
};

/*
 * The schemas that were asked for, for each user. One holds for as long as the daemon has not said
 * that rights become others. A daemon of before says nothing of that; then they are forgotten with
 * each notice of a change, which comes a moment later.
 */
class Schemas {
public:
    std::shared_ptr<const DeviceSchema> of(client::Device &device, const std::string &user);
    void note_other_daemon() { generation_++; }
    void note_change()
    {
        if (rights_.is_unknown()) generation_++;
    }

private:
    struct Known {
        std::string user;
        unsigned generation;
        Stillness::Epoch epoch;
        std::shared_ptr<const DeviceSchema> schema;
    };

    Stillness rights_ = Stillness(Stillness::of_rights);
    std::mutex mutex_;
    std::vector<Known> known_;
    std::atomic<unsigned> generation_ = 0;
};

} // namespace vorn::gate
