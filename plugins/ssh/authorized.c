/* SPDX-License-Identifier: MIT */
/*
 * Every step goes by the descriptor of the step before, and none through a link, so that a user
 * can't have root write, read or give away what is not his.
 */
#include "authorized.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

const char authorized_mark[] = "# Written by vorn from its ssh-key instances. Changes are lost.\n";

static const char folder_name[] = ".ssh";
static const char file_name[] = "authorized_keys";
static const char scratch_name[] = "authorized_keys.vorn-new";

enum { others_may_write = S_IWGRP | S_IWOTH, any_permission = 07777 };

static char failure[200];

static const char *fail(const struct passwd *user, const char *name, const char *why)
{
    snprintf(failure, sizeof failure, "%.100s%s: %s", user->pw_dir, name, why);
    return failure;
}

/* A folder of the user's, or -1 with errno; another one's is none that he may not enter. */
static int open_folder(int parent, const char *path, uid_t owner)
{
    struct stat status;
    const int folder = openat(parent, path, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (folder < 0 || (fstat(folder, &status) == 0 && status.st_uid == owner)) return folder;
    close(folder);
    errno = EPERM;
    return -1;
}

static int open_keys_folder(const struct passwd *user)
{
    const int home = open_folder(AT_FDCWD, user->pw_dir, user->pw_uid);
    const int folder = home >= 0 ? open_folder(home, folder_name, user->pw_uid) : -1;
    if (home >= 0) close(home);
    return folder;
}

/* Makes the folder where there is none. One that was root's for a moment is nobody else's. */
static int make_folder(int home, const struct passwd *user)
{
    if (mkdirat(home, folder_name, 0700) != 0) return errno != EEXIST;
    const int folder = openat(home, folder_name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (folder < 0) return 1;
    struct stat status;
    const int is_made = fstat(folder, &status) == 0 && status.st_uid == geteuid() &&
                        fchown(folder, user->pw_uid, user->pw_gid) == 0;
    close(folder);
    return !is_made;
}

/* dropbear lets nobody in by a folder that others may write. */
static int prepare_folder(const struct passwd *user)
{
    struct stat status;
    const int home = open_folder(AT_FDCWD, user->pw_dir, user->pw_uid);
    if (home < 0) return -1;
    const int folder =
        make_folder(home, user) == 0 ? open_folder(home, folder_name, user->pw_uid) : -1;
    const int reason = errno;
    close(home);
    errno = reason;
    if (folder >= 0 && fstat(folder, &status) == 0 && (status.st_mode & others_may_write) != 0)
        fchmod(folder, 0700);
    return folder;
}

static FILE *open_keys(int folder)
{
    struct stat status;
    const int file = openat(folder, file_name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    if (file < 0) return NULL;
    FILE *stream = fstat(file, &status) == 0 && S_ISREG(status.st_mode) ? fdopen(file, "r") : NULL;
    if (stream == NULL) close(file);
    return stream;
}

static int is_of_user(FILE *file, const struct passwd *user, size_t length)
{
    struct stat status;
    return fstat(fileno(file), &status) == 0 && status.st_uid == user->pw_uid &&
           (status.st_mode & any_permission) == 0600 && status.st_size == (off_t)length;
}

static int holds(FILE *file, const char *text)
{
    int byte;
    while ((byte = getc(file)) != EOF)
        if (byte != (unsigned char)*text++) return 0;
    return !ferror(file) && *text == '\0';
}

int authorized_differs(const struct passwd *user, const char *text)
{
    const int folder = open_keys_folder(user);
    FILE *file = folder >= 0 ? open_keys(folder) : NULL;
    const int is_same = file != NULL && is_of_user(file, user, strlen(text)) && holds(file, text);
    if (file != NULL) fclose(file);
    if (folder >= 0) close(folder);
    return !is_same;
}

static int write_scratch(int folder, const struct passwd *user, const char *text)
{
    unlinkat(folder, scratch_name, 0);
    const int scratch =
        openat(folder, scratch_name, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (scratch < 0) return 1;
    FILE *file = fdopen(scratch, "w");
    if (file == NULL) {
        close(scratch);
        return 1;
    }
    fputs(text, file);
    const int is_whole = fflush(file) == 0 && fchmod(scratch, 0600) == 0 &&
                         fchown(scratch, user->pw_uid, user->pw_gid) == 0 && fsync(scratch) == 0;
    const int reason = errno;
    const int is_closed = fclose(file) == 0;
    if (is_closed) errno = reason;
    return !is_whole || !is_closed;
}

const char *authorized_write(const struct passwd *user, const char *text)
{
    const int folder = prepare_folder(user);
    if (folder < 0) return fail(user, "", strerror(errno));
    const char *failed = NULL;
    if (write_scratch(folder, user, text) != 0 ||
        renameat(folder, scratch_name, folder, file_name) != 0 || fsync(folder) != 0) {
        failed = fail(user, "/.ssh/authorized_keys", strerror(errno));
        unlinkat(folder, scratch_name, 0);
    }
    close(folder);
    return failed;
}

int authorized_is_ours(const struct passwd *user)
{
    char begin[sizeof authorized_mark] = "";
    const int folder = open_keys_folder(user);
    FILE *file = folder >= 0 ? open_keys(folder) : NULL;
    if (file != NULL) {
        begin[fread(begin, 1, sizeof begin - 1, file)] = '\0';
        fclose(file);
    }
    if (folder >= 0) close(folder);
    return strcmp(begin, authorized_mark) == 0;
}

void authorized_remove(const struct passwd *user)
{
    const int folder = open_keys_folder(user);
    if (folder < 0) return;
    unlinkat(folder, file_name, 0);
    close(folder);
}
