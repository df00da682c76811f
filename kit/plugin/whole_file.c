/* SPDX-License-Identifier: MIT */
#include "vorn-plugin/whole_file.h"

#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

static void name_scratch(char scratch[PATH_MAX], const char *path)
{
    snprintf(scratch, PATH_MAX, "%s.new", path);
}

/* Made again: one that was left behind may have another mode, or be open to somebody. */
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

FILE *whole_file_read(const char *path)
{
    struct stat status;
    const int descriptor = open(path, O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (descriptor < 0) return NULL;

    FILE *file = NULL;
    errno = EINVAL;
    if (fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode)) file = fdopen(descriptor, "r");
    if (file == NULL) {
        const int reason = errno;
        close(descriptor);
        errno = reason;
    }
    return file;
}

/* Read in pieces, for a text of any length. */
static int has_text(const char *path, const char *text)
{
    char piece[512];
    size_t count;
    size_t left = strlen(text);
    FILE *file = whole_file_read(path);
    if (file == NULL) return 0;
    while ((count = fread(piece, 1, sizeof piece, file)) > 0 && count <= left &&
           memcmp(piece, text, count) == 0) {
        text += count;
        left -= count;
    }
    const int is_same = count == 0 && left == 0 && !ferror(file);
    fclose(file);
    return is_same;
}

int whole_file_differs(const char *path, const char *text)
{
    return !has_text(path, text);
}

int write_file_whole(const char *path, const char *text, mode_t mode)
{
    if (!whole_file_differs(path, text)) return 0;
    FILE *file = whole_file_open(path, mode);
    if (file == NULL) return -1;
    fputs(text, file);
    return whole_file_close(file, path, 0) == 0 ? 1 : -1;
}
