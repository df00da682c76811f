/* SPDX-License-Identifier: MIT */
#pragma once

#include "vorn/instances.h"

#include <string>
#include <vector>

namespace vorn::fuzz {

/*
 * A small device with a class of every type, one provider that writes down what it is told to
 * commit, and a running configuration.
 */

struct PropertyPlan {
    std::string name;
    bool numeric = false; /* digits only; anything else goes otherwise */
    bool writable = true;
    bool required = false;
    bool saved = true;
};

struct ClassPlan {
    std::string name;
    int type;
    bool saved;
    std::string superclass;
    std::string identifier; /* of an abstract class */
    std::vector<PropertyPlan> properties;
};

/* In the order of registration; superclasses come first. */
const std::vector<ClassPlan> &class_plans();
bool is_numeric(const std::string &value);

/* Once for the process: the log goes nowhere, classes and provider are registered. */
void set_up_board();

/* What the provider was told of, since the last call of take_commits. */
struct Commit {
    std::string before;
    std::string after;
};
std::vector<Commit> take_commits();

/* While set, the provider answers a refresh by writing down a value, as one that watches does. */
extern bool refreshes_uptime;

/* Every instance with its values, class by class; without what a refresh writes down. */
std::string state_of(const vorn_instances *store);

/* An empty running configuration, freed at the end. */
class Board {
public:
    Board();
    Board(const Board &) = delete;
    ~Board();

    /* Some instances of every type. */
    static void populate();
    /* What a boot does with a startup file; false when it can't be read. */
    static bool boot_from(const std::string &path);
};

} // namespace vorn::fuzz
