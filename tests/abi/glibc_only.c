/* SPDX-License-Identifier: MIT */
/* A program that does not start on a device with a small C library. */
#include <gnu/libc-version.h>
#include <stdio.h>

int main(void)
{
    puts(gnu_get_libc_version());
    return 0;
}
