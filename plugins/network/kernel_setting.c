/* SPDX-License-Identifier: MIT */
#include "kernel_setting.h"

#include "vorn/vorn.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <unistd.h>

int kernel_setting_read(const char *path)
{
    int value = -1;
    FILE *file = fopen(path, "re");
    if (file == NULL) return -1;
    if (fscanf(file, "%d", &value) != 1) value = -1;
    fclose(file);
    return value;
}

int kernel_setting_write(const char *path, int value)
{
    char text[16];
    const int length = snprintf(text, sizeof text, "%d\n", value);
    vorn_debug_1printf("Writing %d to %s\n", value, path);
    const int file = open(path, O_WRONLY | O_CLOEXEC);
    if (file < 0) return errno;
    const int reason = write(file, text, (size_t)length) == length ? 0 : errno;
    close(file);
    return reason;
}
