/* SPDX-License-Identifier: MIT */
#pragma once

#include "config/config_document.h"
#include "config/schema.h"
#include "core/base/plain_array.h"

namespace vorn {

/* A step that a document has to take, with its names at their places in the document. */
struct PlannedStep {
    const vorn_migration *step;
    const PluginSchema *schema;
    bool is_back; /* the way back is taken */
    /* Of what is there, and of what it becomes, in the direction that is taken. */
    const char *class_name;
    const char *property;
    const char *to_class;
    const char *to_property;
    unsigned int dropped; /* values or instances, on purpose */
};

/* The first and the next after the last step of one plugin's way. */
struct PlannedWay {
    const PluginSchema *schema;
    unsigned int from;
    unsigned int to;
    std::size_t first;
    std::size_t end;
};

/* What has to be done with a document. The ways back come first, each plugin's as a whole. */
class MigrationPlan {
public:
    /* A plugin's way; nothing for one that leads nowhere. False without memory. */
    bool add(ConfigDocument &document, const PluginSchema &schema, unsigned int from,
             unsigned int to);

    const PlainArray<PlannedWay> &ways() const { return ways_; }
    const PlainArray<PlannedStep> &steps() const { return steps_; }
    /* Whether a step tells of a class; the name is one of the document's. */
    bool concerns(const char *class_name) const;

private:
    bool add_step(ConfigDocument &document, const PluginSchema &schema, const vorn_migration &step,
                  bool is_back);

    PlainArray<PlannedWay> ways_;
    PlainArray<PlannedStep> steps_;
    PlainArray<const char *> classes_;
};

/* The type of the class that has a name after a step, by what it is called today; invalid for one
 * that is no more. */
int type_after(const PlannedStep &planned, const char *class_name);

} // namespace vorn
