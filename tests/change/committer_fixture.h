/* SPDX-License-Identifier: MIT */
#pragma once

#include "change/changes_fixture.h"
#include "change/committer_record.h"

#include <gtest/gtest.h>

#include <string>

namespace vorn::tests {

inline std::string text(const char *value)
{
    return value ? value : "null";
}
/* Name and channel, which tells an instance from its copy. */
inline std::string state_of(const vorn_instance *instance)
{
    if (!instance) return "null";
    return name_of(instance) + "=" + text(vorn_instance_get_value(instance, "channel"));
}

inline void trace_pre_commit(vorn_commit_info *)
{
    trace += "pre_commit\n";
}
inline void trace_create(vorn_instance *instance)
{
    trace += "create " + state_of(instance) + "\n";
}
inline void trace_delete(vorn_instance *instance, vorn_commit_info *info)
{
    trace += "delete " + state_of(instance) + (info ? "\n" : " without info\n");
}
inline void trace_group(vorn_instances *after, const char *class_name, const char *group,
                        vorn_commit_info *info)
{
    trace += std::string("group ") + class_name + " " + group + "\n";
    EXPECT_EQ(after, vorn_commit_info_get_after(info));
}
inline void trace_change(vorn_instance *instance, vorn_instance *before, vorn_commit_info *info)
{
    trace += "change " + state_of(before) + " to " + state_of(instance) +
             (info ? "\n" : " without info\n");
}
inline void trace_property(vorn_instance *instance, const char *property, const char *value,
                           const char *old_value)
{
    trace += "property " + name_of(instance) + " " + property + ": " + text(old_value) + " to " +
             text(value) + "\n";
}
inline void trace_other_property(vorn_instance *instance, const char *property, const char *,
                                 const char *)
{
    trace += "other property " + name_of(instance) + " " + property + "\n";
}

class Committers : public ChangeSets {
protected:
    Committers() { trace.clear(); }

    void commit()
    {
        vorn_commit_info *info =
            vorn_commit_info_new(before(), store, changes, nullptr, committer.get());
        vorn_committer_fn(info);
        vorn_commit_info_delete(info);
    }
    int on_pre_commit()
    {
        return vorn_committer_set_pre_commit_fn(committer.get(), trace_pre_commit);
    }
    int on_create(const char *class_name)
    {
        return vorn_committer_set_instance_create_fn(committer.get(), class_name, trace_create);
    }
    int on_delete(const char *class_name)
    {
        return vorn_committer_set_instance_delete_fn(committer.get(), class_name, trace_delete);
    }
    int on_group(const char *class_name)
    {
        return vorn_committer_set_group_change_fn(committer.get(), class_name, trace_group);
    }
    int on_change(const char *class_name, int change_on_delete = 0)
    {
        return vorn_committer_set_instance_change_fn(committer.get(), class_name, trace_change,
                                                     change_on_delete);
    }
    int on_property(const char *class_name, const char *property,
                    vorn_committer_property_change_fn function = trace_property)
    {
        return vorn_committer_set_property_change_fn(committer.get(), class_name, property,
                                                     function);
    }

    Owned<vorn_committer> committer{vorn_committer_new()};
};

} // namespace vorn::tests
