/* SPDX-License-Identifier: MIT */
/* Calls something that no daemon exports. */
void vorn_no_such_function(void);
void vorn_plugin_init(void);

void vorn_plugin_init(void)
{
    vorn_no_such_function();
}
