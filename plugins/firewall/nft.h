/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_FIREWALL_NFT_H
#define PLUGINS_FIREWALL_NFT_H

/*
 * nft(8), which reads a document and does all of it or nothing. It is waited for as long as a
 * commit waits for programs, goes on in the background and is killed after ten seconds.
 */

/**
 * Begins with a document, which is taken over; null is the lack of memory for one. Not while it is
 * busy: even one that is killed may change the kernel a little later. Told when it has ended, which
 * may be before this returns: null, or why it has failed.
 */
void nft_run(char *document, void (*ended)(const char *failure));

/** Whether it goes on. */
int nft_is_busy(void);

#endif
