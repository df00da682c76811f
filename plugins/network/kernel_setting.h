/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_NETWORK_KERNEL_SETTING_H
#define PLUGINS_NETWORK_KERNEL_SETTING_H

/* The number in the file of /proc/sys, or -1. */
int kernel_setting_read(const char *path);

/* Writes it. 0, or the reason why not. */
int kernel_setting_write(const char *path, int value);

#endif
