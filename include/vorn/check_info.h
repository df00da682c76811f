/* SPDX-License-Identifier: MIT */
#ifndef VORN_CHECK_INFO_H
#define VORN_CHECK_INFO_H

#include "vorn/api.h"
#include "vorn/changes.h"
#include "vorn/instances.h"

/**
 * A validator judges one value. What only several instances together can get wrong (a reference to
 * nothing, two instances with one address) is judged by a provider's check function, which sees
 * the whole configuration that a write transaction would make, before anything of it is applied:
 *
 *     static void check_networks(vorn_check_info *info, void *data)
 *     {
 *         vorn_instances *all = vorn_check_info_get_instances(info);
 *         if (!vorn_changes_contains_class(vorn_check_info_get_changes(info), "bridge") &&
 *             !vorn_changes_contains_class(vorn_check_info_get_changes(info), "ssid")) return;
 *         vorn_instances_iterator *ssids = vorn_instances_new_class_iterator(all, "ssid");
 *         while (vorn_instances_iterator_has_next(ssids)) {
 *             vorn_instance *ssid = vorn_instances_iterator_next(ssids);
 *             const char *bridge = vorn_instance_get_value(ssid, "bridge");
 *             if (bridge != NULL && vorn_instances_get(all, "bridge", bridge) == NULL)
 *                 vorn_check_info_refuse(info, ssid, "bridge", "there is no bridge \"%s\"",
 * bridge);
 *         }
 *         vorn_instances_delete_iterator(ssids);
 *     }
 *
 *     vorn_provider_set_check_fn(provider, check_networks, NULL);
 *
 * One refusal refuses the transaction as a whole, and the client is told of each. What is loaded
 * from the startup file is checked in the same way, but only the log is told: a device has to come
 * up. A request without a transaction has been carried out before it could be checked, and is not.
 *
 * A null record has no message: getters answer null, or 0.
 */

VORN_BEGIN

/** What a check function is told, and what it has found. It owns nothing that it refers to. */
typedef struct vorn_check_info vorn_check_info;

/**
 * Looks at a configuration and refuses what is wrong with it, by calling vorn_check_info_refuse
 * once for each. It only looks: it changes neither the configuration nor the system, waits for
 * nothing, and keeps nothing of the record, which is gone afterwards. While it runs, the
 * configuration is not the running one; what vorn_config_get_running gives is still the old one.
 * The two have the instances in common that the transaction did not reach.
 *
 * When a function of the daemon that it calls finds no memory, the transaction is given up. A check
 * that finds none for something of its own refuses.
 */
typedef void (*vorn_check_fn)(vorn_check_info *info, void *data);

/** The whole configuration as it would become. */
VORN_API vorn_instances *vorn_check_info_get_instances(const vorn_check_info *info);

/** What the transaction changed in it. In what is loaded from a file, everything is inserted. */
VORN_API vorn_changes *vorn_check_info_get_changes(const vorn_check_info *info);

/**
 * 1 when somebody only wants to know what the transaction would do, and it is not carried out
 * whatever the checks say. For a check that does more than to look.
 */
VORN_API int vorn_check_info_is_rehearsal(const vorn_check_info *info);

/**
 * Refuses the configuration for a reason, which is formatted as by printf and reads on from
 * 'Property "p" of instance "i" of class "c": '. It begins with a small letter and has no full
 * stop. The instance may be null when none is to blame, and so may the property.
 *
 * Returns 0, or 1 for a null record or pattern ("Null info.\n", "Null format.\n" at debug level 1)
 * and without memory. The transaction is given up in that last case too; its client gets no answer
 * then, as always when memory is gone.
 */
VORN_API int vorn_check_info_refuse(vorn_check_info *info, const vorn_instance *instance,
                                    const char *property, const char *format, ...)
    VORN_PRINTF(4, 5);

VORN_END

#endif
