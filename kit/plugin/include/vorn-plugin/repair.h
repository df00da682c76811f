/* SPDX-License-Identifier: MIT */
#ifndef VORN_PLUGIN_REPAIR_H
#define VORN_PLUGIN_REPAIR_H

#include <vorn/vorn.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Somebody asks for what differs to be put right, of a class or an instance, by writing its name
 * into the singleton "repair"; "vornctl repair" does so. That is a commit which changes nothing
 * else, and so one after which most plugins leave everything as it should be anyway. Who can do
 * less asks here whom it is about. Part of the same library as supervise.h.
 *
 *     static void commit(vorn_commit_info *info)
 *     {
 *         if (!repair_concerns(info, my_classes)) return;
 *         ...
 */

enum { repair_room = 208 };

/** What a commit is to reach. */
typedef struct repair {
    char what[repair_room]; /**< "CLASS" or "CLASS NAME"; empty for everything */
} repair;

/** Asks the commit. One that changes anything else reaches everything. */
void repair_of(const vorn_commit_info *info, repair *made);

/** Whether it reaches only some instances. */
int repair_is_narrow(const repair *of);

/**
 * Whether it reaches the instance of that name, or with null any of the class. Subclasses belong to
 * their superclass, and what is asked of it is asked of them.
 */
int repair_reaches(const repair *of, const char *class_name, const char *name);

/**
 * The same of a commit, for a plugin that does all or nothing: whether it reaches any of the
 * classes, which a null ends.
 */
int repair_concerns(const vorn_commit_info *info, const char *const class_names[]);

#ifdef __cplusplus
}
#endif

#endif
