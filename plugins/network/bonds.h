/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_NETWORK_BONDS_H
#define PLUGINS_NETWORK_BONDS_H

#include "vorn/vorn.h"

#include "kernel.h"

/*
 * Bonds: several ports that are one link. Mode and LACP rate the kernel only takes of a bond
 * without members or one that is off, so that one with others is made anew.
 */

/** Gives a class of interfaces its members, which are instances of that class. */
void interface_declare_members(vorn_class *klass, const char *of, const char *help);

/** Makes the class. 0, or 1 after the daemon has logged why not. */
int bonds_declare(void);

/** Whether the bond has another mode or LACP rate. */
int bonds_is_another(const struct kernel_link *link, const vorn_instance *bond);

/** Notes how it differs in these. */
void bonds_note(const struct kernel_link *link, const vorn_instance *bond);

/** Plans to make it. Null when that has failed already, and without memory. */
struct kernel_link *bonds_make(struct kernel *kernel, const vorn_instance *bond);

/** Plans what a bond takes at any time. */
void bonds_plan(struct kernel_link *link, const vorn_instance *bond);

/**
 * Plans to make the link a member. It has to be off for that, and the kernel switches it on then: a
 * port at work is not switched off for a bond that may never be made.
 */
void bonds_join(struct kernel *kernel, struct kernel_link *member, const char *bond);

/**
 * Whether a bond that is there is about to take a link that is no member yet: it would be switched
 * off for that at once.
 */
int bonds_will_take(const vorn_instances *configuration, const struct kernel *kernel,
                    const struct kernel_link *link);

/** Whether a link is a member of a bond, whose MTU it has. */
int bonds_hold(const struct kernel *kernel, const struct kernel_link *member);

#endif
