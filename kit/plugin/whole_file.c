/* SPDX-License-Identifier: MIT */
#include "whole_file.h"

#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <unistd.h>

static void name_scratch(char scratch[PATH_MAX], const char *path)
{
    snprintf(scratch, PATH_MAX, "%s.new", path);
}

/* Made anew: one that was left behind may have another mode, or be open to somebody. */
FILE *whole_file_open(const char *path, mode_t mode)
{
    char scratch[PATH_MAX];
    name_scratch(scratch, path);
    unlink(scratch);
    const int descriptor = open(scratch, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
    FILE *file = descriptor >= 0 ? fdopen(descriptor, "w") : NULL;
    if (file == NULL && descriptor >= 0) {
        close(descriptor);
        unlink(scratch);
    }
    return file;
}

int whole_file_close(FILE *file, const char *path, int durable)
{
    char scratch[PATH_MAX];
    name_scratch(scratch, path);
    const int written =
        fflush(file) == 0 && !ferror(file) && (!durable || fsync(fileno(file)) == 0);
    if (fclose(file) == 0 && written && rename(scratch, path) == 0) return 0;
    const int reason = errno;
    unlink(scratch);
    errno = reason;
    return 1;
}
