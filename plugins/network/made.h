/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_NETWORK_MADE_H
#define PLUGINS_NETWORK_MADE_H

/*
 * What was made of links, addresses and routes, in a file that lasts as long as the kernel has it:
 * a daemon that is killed takes nothing away, and the next one may have another configuration.
 */

/** Takes over what the daemon before has noted in this boot of the machine. */
void made_recall(void);

/** Notes what is made now. To be called before it is made, so that nothing is ever missing. */
void made_note(void);

#endif
