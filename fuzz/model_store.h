/* SPDX-License-Identifier: MIT */
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "fuzz/board.h"

namespace vorn::fuzz {

/*
 * What the daemon should be doing, in maps and vectors and without any of its machinery. A request
 * is a list of operations; each counts what it did and ends at its first error, keeping what it
 * had done.
 */

struct Object {
    const ClassPlan *plan;
    std::optional<std::string> name;
    std::map<std::string, std::string> values;
};

struct Condition {
    enum class Kind { none, equal, different } kind = Kind::none;
    std::string property; /* "" for the name */
    std::string value;
};

struct Operation {
    enum class Kind { select, update, remove, insert } kind;
    const ClassPlan *plan;
    std::optional<std::string> name;
    std::vector<std::pair<std::string, std::string>> values;
    Condition where;
};

struct Outcome {
    bool failed = false;
    int counter = 0;
    std::vector<Object> selected; /* as they were then */
};

class ModelStore {
public:
    Outcome run(const Operation &operation);
    void set_passively(const std::string &class_name, const std::string &name,
                       const std::string &property, const std::string &value);
    /* What a save keeps, and what a boot from that makes. */
    ModelStore saved() const;
    void add_missing_singletons();

    /* As state_of shows a store. */
    std::string state() const;

private:
    using Objects = std::vector<Object>;

    std::vector<Object *> matching(const Operation &operation);
    Outcome select(const Operation &operation);
    Outcome update(const Operation &operation);
    Outcome remove(const Operation &operation);
    Outcome insert(const Operation &operation);
    bool is_taken(const ClassPlan &plan, const std::optional<std::string> &name) const;
    void add(const Object &object);

    std::map<std::string, Objects> objects_; /* by concrete class */
};

/* A class's properties, inherited ones first, the identifier not among them. */
std::vector<PropertyPlan> all_properties(const ClassPlan &plan);
const ClassPlan *find_class(const std::string &name);

} // namespace vorn::fuzz
