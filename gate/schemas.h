/* SPDX-License-Identifier: MIT */
#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <schema.h>

namespace vorn::gate {

/* What a device has, as one user sees it. There may be many, so that they are kept small. */
struct DeviceSchema {
    client::Schema schema;
    std::string id;
    std::string told; /* what GET /schema answers: all of it, in JSON */
    /* Without abstract classes: each object has one class of its own. */
    std::vector<std::string> classes_with_state;
};

/* The schemas that were asked for, for each user; forgotten when the device may have another. */
class Schemas {
public:
    std::shared_ptr<const DeviceSchema> of(client::Device &device, const std::string &user);
    void forget() { generation_++; }

private:
    struct Known {
        std::string user;
        unsigned generation;
        std::shared_ptr<const DeviceSchema> schema;
    };

    std::mutex mutex_;
    std::vector<Known> known_;
    std::atomic<unsigned> generation_ = 0;
};

} // namespace vorn::gate
