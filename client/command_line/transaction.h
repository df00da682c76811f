/* SPDX-License-Identifier: MIT */
#pragma once

#include <string>
#include <vector>

#include "device.h"
#include "lsql.h"

namespace vorn::client {

/* Operations that happen together or not at all, each with what people call it. */
class Transaction {
public:
    explicit Transaction(const std::string &origin) : request_(Request::Kind::transaction, origin)
    {}

    void update(const std::string &title, const Target &target, const Values &values);
    void insert(const std::string &title, const Target &target, const Values &values);
    void remove(const std::string &title, const Target &target);

    /*
     * One outcome for each operation; what the daemon refuses is thrown, with the title of the
     * operation that it refused. Nothing is sent without an operation.
     */
    std::vector<Outcome> execute(Device &device) const;

private:
    Request request_;
    std::vector<std::string> titles_;
};

} // namespace vorn::client
