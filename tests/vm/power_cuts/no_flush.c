/* SPDX-License-Identifier: MIT */
/*
 * Loaded before the C library: a daemon that never flushes what it writes to the disk, or that
 * flushes all but the one file that VORN_UNFLUSHED names.
 */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/syscall.h>
#include <unistd.h>

static const char *the_one(void)
{
    return getenv("VORN_UNFLUSHED");
}

static int is_flushed(int file)
{
    char link[32];
    char path[256] = "";

    if (the_one() == NULL) return 0;
    snprintf(link, sizeof link, "/proc/self/fd/%d", file);
    return readlink(link, path, sizeof path - 1) < 0 || strcmp(path, the_one()) != 0;
}

int fsync(int file)
{
    return is_flushed(file) ? (int)syscall(SYS_fsync, file) : 0;
}

int fdatasync(int file)
{
    return is_flushed(file) ? (int)syscall(SYS_fdatasync, file) : 0;
}

void sync(void)
{
    if (the_one() != NULL) syscall(SYS_sync);
}
