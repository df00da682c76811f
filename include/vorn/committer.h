/* SPDX-License-Identifier: MIT */
#ifndef VORN_COMMITTER_H
#define VORN_COMMITTER_H

#include "vorn/api.h"
#include "vorn/commit_info.h"
#include "vorn/instance.h"
#include "vorn/instances.h"

/**
 * A committer is a ready-made commit function. It walks the change set and calls back for each
 * class, group, instance and property that somebody asked about.
 *
 *     vorn_committer *committer = vorn_committer_new();
 *     vorn_committer_set_instance_change_fn(committer, "radio", radio_changed, 1);
 *     vorn_committer_set_property_change_fn(committer, "radio", "channel", channel_changed);
 *     vorn_provider_set_commit_fn(provider, vorn_committer_fn, committer);
 *
 * The order of the calls is a promise. First comes pre-commit, once. Then the classes, in the
 * order in which each got its first callback; of each class
 *
 * - first the deleted instances, if deletion or group change or change on delete was asked for: for
 *   each, group change, instance delete, instance change;
 * - then the updated and inserted ones: for each, group change, instance create, instance change,
 *   and property change for its recorded properties, in the order in which the functions were set.
 *
 * A group is reported once per commit, at its first deleted or changed member. A callback set for
 * an abstract class hears of the instances of all its subclasses. Callbacks may assign values to
 * that instance, but must leave the store and the other instances in it alone, and set no
 * callbacks.
 *
 * A committer lives as long as its provider, that is as long as the process. Setters return 0, or 1
 * for what the log tells at level 1, and without a message when memory is gone; what fails leaves
 * everything as it was. A null committer is answered with "Null committer.\n", a null class name
 * with "Null class.\n". Setting a callback again replaces it.
 */

VORN_BEGIN

/** Whom to call for which change. */
typedef struct vorn_committer vorn_committer;

/** Called once per commit, before anything else. */
typedef void (*vorn_committer_pre_commit_fn)(vorn_commit_info *info);

/** Called for an instance that is new, unlike the others without the commit record. */
typedef void (*vorn_committer_instance_create_fn)(vorn_instance *instance);

/** Called for an instance that is gone, with its copy from before the change. */
typedef void (*vorn_committer_instance_delete_fn)(vorn_instance *instance, vorn_commit_info *info);

/**
 * Called for the instances of one name, once, with the store as committed, the class name under
 * which the function was set and the name that the members share.
 */
typedef void (*vorn_committer_group_change_fn)(vorn_instances *after, const char *class_name,
                                               const char *group_name, vorn_commit_info *info);

/**
 * Called for an instance as it is and as it was before the change. The first is null for one that
 * is gone, the second for one that is new.
 */
typedef void (*vorn_committer_instance_change_fn)(vorn_instance *instance, vorn_instance *before,
                                                  vorn_commit_info *info);

/**
 * Called for a property that was set, be it to the value it had, with the new value and the old
 * one. Either is null when there is none.
 */
typedef void (*vorn_committer_property_change_fn)(vorn_instance *instance, const char *property,
                                                  const char *value, const char *old_value);

/** Makes a committer that calls nobody. Returns null when memory is gone. */
VORN_API vorn_committer *vorn_committer_new(void);

/** Sets what is called first; null is refused with "Null pre_commit.\n". */
VORN_API int vorn_committer_set_pre_commit_fn(vorn_committer *committer,
                                              vorn_committer_pre_commit_fn pre_commit);

/** Sets what is called for new instances; null is refused with "Null instance_create.\n". */
VORN_API int
vorn_committer_set_instance_create_fn(vorn_committer *committer, const char *class_name,
                                      vorn_committer_instance_create_fn instance_create);

/** Sets what is called for deleted instances; null is refused with "Null instance_delete.\n". */
VORN_API int
vorn_committer_set_instance_delete_fn(vorn_committer *committer, const char *class_name,
                                      vorn_committer_instance_delete_fn instance_delete);

/**
 * Sets what is called for changed groups. The class must be registered by now ("Unknown class
 * \"%s\".\n") and group-named ("Class \"%s\" is not group-named.\n"); then a null function is
 * refused with "Null group_change.\n".
 */
VORN_API int vorn_committer_set_group_change_fn(vorn_committer *committer, const char *class_name,
                                                vorn_committer_group_change_fn group_change);

/**
 * Sets what is called for updated and inserted instances and, if the flag is not 0, for deleted
 * ones; null is refused with "Null instance_change.\n".
 */
VORN_API int
vorn_committer_set_instance_change_fn(vorn_committer *committer, const char *class_name,
                                      vorn_committer_instance_change_fn instance_change,
                                      int change_on_delete);

/**
 * Sets what is called for one property of updated and inserted instances. A function that replaces
 * another goes to the end of the order. A null property is refused with "Null class.\n", a null
 * function with "Null instance_change.\n".
 */
VORN_API int
vorn_committer_set_property_change_fn(vorn_committer *committer, const char *class_name,
                                      const char *property,
                                      vorn_committer_property_change_fn property_change);

/**
 * The commit function to give to a provider, with the committer as its data. Without that it logs
 * "vorn_committer_fn called without committer as data.\n" and returns.
 *
 * Says " Committer called.\n" at level 4 and, at level 5 before each call, " Calling
 * pre_commit.\n", " Committing class %s, group %s change.\n", " Committing class %s,
 * instance_delete.\n", " Committing class %s, instance_change.\n", " Committing class %s,
 * instance_create.\n" or " Committing class %s, property %s.\n", the last with the instance's own
 * class, the others with the one that the callback was set for.
 *
 * Without a change set only pre-commit is called. A class that is not registered is passed over
 * (the store says "Unknown class \"%s\".\n"), and so is one for whose walk there is no memory; that
 * is logged at every level, "Out of memory, class \"%s\" was not committed.\n".
 */
VORN_API void vorn_committer_fn(vorn_commit_info *info);

VORN_END

#endif
