/* SPDX-License-Identifier: MIT */
/* Wants something that another shared object has (no_entry.c), but the daemon has not. */
extern int nothing_in_particular;
void vorn_plugin_init(void);

void vorn_plugin_init(void)
{
    nothing_in_particular++;
}
