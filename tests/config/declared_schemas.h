/* SPDX-License-Identifier: MIT */
#pragma once

#include "config/schema.h"
#include "support/allocation.h"
#include "vorn/migration.h"

#include <list>
#include <string>
#include <utility>
#include <vector>

namespace vorn::tests {

/* What plugins declared, and their tables; all of it is forgotten at the end. */
class DeclaredSchemas {
public:
    DeclaredSchemas() = default;
    DeclaredSchemas(const DeclaredSchemas &) = delete;
    ~DeclaredSchemas() { forget(); }

    int declare(const char *name, unsigned int version, std::vector<vorn_migration> steps = {})
    {
        const AllocationsAllowed allowed;
        file_ = std::string(name) + ".vorn";
        vorn_plugin plugin = {file_.data()};
        tables_.push_back(std::move(steps));
        const std::vector<vorn_migration> &table = tables_.back();
        return vorn_plugin_set_schema(&plugin, name, version, table.data(),
                                      static_cast<unsigned int>(table.size()));
    }
    static void forget()
    {
        while (first_schema)
            delete std::exchange(first_schema, first_schema->next);
    }

private:
    std::string file_;
    std::list<std::vector<vorn_migration>> tables_;
};

} // namespace vorn::tests
