/* SPDX-License-Identifier: MIT */
#ifndef VORN_AMEND_INFO_H
#define VORN_AMEND_INFO_H

#include "vorn/api.h"
#include "vorn/changes.h"
#include "vorn/instances.h"

#include <stddef.h>

/**
 * A write transaction may ask for more than its operations can say: that the device goes back to a
 * configuration of another time. A provider's amend function makes that of it: it is called once
 * all operations have succeeded and before anything is checked, and may change the configuration
 * that the transaction would make.
 *
 *     static void amend(vorn_amend_info *info, void *data)
 *     {
 *         vorn_instances *all = vorn_amend_info_get_instances(info);
 *         vorn_instance *words = vorn_instances_get_singleton(all, "rollback");
 *         const char *document = wanted(words);
 *         if (document == NULL) return;
 *         vorn_instance_set_value(words, "to", "");
 *         if (vorn_amend_info_become(info, document, strlen(document)) != 0)
 *             vorn_amend_info_refuse(info, words, "to", "it can't be read");
 *     }
 *
 *     vorn_provider_set_amend_fn(provider, amend, NULL);
 *
 * Neither a request without a transaction nor a load is amended. A null record has no message:
 * getters answer null.
 */

VORN_BEGIN

/** What an amend function is told, and what it has found. It owns nothing that it refers to. */
typedef struct vorn_amend_info vorn_amend_info;

/**
 * Changes a configuration that nobody serves yet, or refuses it. What it changes is recorded as if
 * an operation had done it, and the functions of later providers find it done. It changes nothing
 * else: the transaction may yet be refused. It waits for nothing, and keeps nothing of the record,
 * which is gone afterwards. When a function of the daemon that it calls finds no memory, the
 * transaction is given up.
 */
typedef void (*vorn_amend_fn)(vorn_amend_info *info, void *data);

/**
 * The whole configuration as it would become. It may be changed. An instance that is looked up in
 * it, or comes in a walk, stays in memory for good as it was, like one that is changed: ask what
 * the transaction has changed first.
 */
VORN_API vorn_instances *vorn_amend_info_get_instances(const vorn_amend_info *info);

/** What the transaction has changed in it so far. */
VORN_API vorn_changes *vorn_amend_info_get_changes(const vorn_amend_info *info);

/** As vorn_check_info_is_rehearsal. */
VORN_API int vorn_amend_info_is_rehearsal(const vorn_amend_info *info);

/**
 * Refuses the transaction for a reason, as vorn_check_info_refuse does. Nothing is checked then.
 *
 * Returns 0, or 1 for a null record or pattern ("Null info.\n", "Null format.\n" at debug level 1)
 * and without memory; the transaction is given up in that last case.
 */
VORN_API int vorn_amend_info_refuse(vorn_amend_info *info, const vorn_instance *instance,
                                    const char *property, const char *format, ...)
    VORN_PRINTF(4, 5);

/**
 * Makes the configuration hold what a configuration document says of what is saved: the persistent
 * properties of the instances of persistent classes. Only what differs is touched. What the
 * document has no word of goes, and so does a value that it does not have; a singleton stays,
 * without saved values. What is not saved stays as it is.
 *
 * The document is read as vorn_config_copy_startup_to_running reads one, with its messages. The
 * members of a class, or of a group of one name, end in the order of the document; where names are
 * not unique, values may move from member to member for it.
 *
 * Returns 0, or 1 with nothing changed when there is no document, and also for null arguments
 * ("Null info.\n", "Null document.\n" at debug level 1); and 1 without memory, when the transaction
 * is given up.
 */
VORN_API int vorn_amend_info_become(vorn_amend_info *info, const char *document, size_t size);

/**
 * For going back to what was there before: what check functions have against it is logged ("Loaded
 * in spite of this: %s\n") and refuses nothing, as at a boot.
 */
VORN_API void vorn_amend_info_accept(vorn_amend_info *info);

VORN_END

#endif
