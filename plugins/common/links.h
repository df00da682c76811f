/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_COMMON_LINKS_H
#define PLUGINS_COMMON_LINKS_H

/*
 * The kernel's links, beside what the configuration says: who takes a bridge, a radio or a cable's
 * adapter away and brings it back tells nobody.
 */

/**
 * Calls back, a moment later, whenever a link has come, gone or changed, or what the other
 * RTMGRP_ groups tell of: addresses, routes. Who is called back reads anew what there is, so that
 * nothing is missed when more happens than the kernel keeps. 0, or 1.
 */
int links_watch(void (*changed)(void), unsigned int other_groups);

/** Calls back at once, too. */
void links_hear(void (*heard)(void));

/** Calls back once more after a while, as if a link had changed. */
void links_look_later(void);

/** Whether it is going to call back without another change. */
int links_will_be_looked_at(void);

#endif
