/* SPDX-License-Identifier: MIT */
/* Its entry exists and is null. */
__asm__(".globl vorn_plugin_init\n.set vorn_plugin_init, 0\n");
