/* SPDX-License-Identifier: MIT */
#include "shelf.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "vorn-plugin/whole_file.h"

enum { name_digits = 8, most_digits = 10 };

static const char ending[] = ".gz";
static const char scratch_ending[] = ".gz.new";

static void path_of(char path[PATH_MAX], const char *folder, unsigned long number)
{
    snprintf(path, PATH_MAX, "%s/%0*lu%s", folder, name_digits, number, ending);
}

/* The number of a file's name, "00000012" and what it ends with; 0 for any other. */
static unsigned long number_in(const char *name, const char *ends)
{
    const size_t digits = strspn(name, "0123456789");
    if (digits < name_digits || digits > most_digits || strcmp(name + digits, ends) != 0) return 0;
    return (unsigned long)strtoull(name, NULL, 10);
}

static void insert(struct shelf_content *list, unsigned long number, size_t size)
{
    int place = list->count;
    if (list->count == shelf_most) {
        if (number < list->numbers[0]) return;
        memmove(list->numbers, list->numbers + 1, (shelf_most - 1) * sizeof *list->numbers);
        memmove(list->sizes, list->sizes + 1, (shelf_most - 1) * sizeof *list->sizes);
        place = --list->count;
    }
    for (; place > 0 && list->numbers[place - 1] > number; place--) {
        list->numbers[place] = list->numbers[place - 1];
        list->sizes[place] = list->sizes[place - 1];
    }
    list->numbers[place] = number;
    list->sizes[place] = size;
    list->count++;
}

void shelf_list(const char *folder, struct shelf_content *list)
{
    list->count = 0;
    DIR *directory = opendir(folder);
    if (directory == NULL) return;
    for (struct dirent *entry; (entry = readdir(directory)) != NULL;) {
        struct stat status;
        const unsigned long number = number_in(entry->d_name, ending);
        if (number == 0) continue;
        if (fstatat(dirfd(directory), entry->d_name, &status, AT_SYMLINK_NOFOLLOW) == 0 &&
            S_ISREG(status.st_mode)) {
            insert(list, number, (size_t)status.st_size);
        }
    }
    closedir(directory);
}

static unsigned char *read_whole(FILE *file, size_t *size)
{
    struct stat status;
    if (fstat(fileno(file), &status) != 0) return NULL;
    if (status.st_size > generation_longest) {
        errno = EFBIG;
        return NULL;
    }
    *size = (size_t)status.st_size;
    unsigned char *bytes = malloc(*size + 1);
    if (bytes == NULL) return NULL;
    errno = EIO; /* for a file that has become shorter */
    if (fread(bytes, 1, *size, file) == *size) return bytes;
    free(bytes);
    return NULL;
}

const char *shelf_read(const char *folder, unsigned long number, struct generation *generation)
{
    char path[PATH_MAX];
    size_t size = 0;
    path_of(path, folder, number);
    FILE *file = whole_file_read(path);
    if (file == NULL) return errno == ENOENT ? "it is not there" : strerror(errno);
    unsigned char *packed = read_whole(file, &size);
    const char *reason = packed == NULL ? strerror(errno) : NULL;
    fclose(file);
    if (reason != NULL) return reason;
    reason = generation_unpack(packed, size, generation);
    free(packed);
    if (reason == NULL && generation->number != number) {
        generation_free(generation);
        reason = "it is another one";
    }
    return reason;
}

/* A name is on the disk only with its folder. */
static int flush_folder(const char *folder)
{
    const int descriptor = open(folder, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor < 0) return 1;
    const int failed = fsync(descriptor) != 0;
    const int reason = errno;
    close(descriptor);
    errno = reason;
    return failed;
}

static int make_folder(const char *folder)
{
    char parent[PATH_MAX];
    if (mkdir(folder, 0700) != 0) return errno != EEXIST;
    snprintf(parent, sizeof parent, "%s", folder);
    char *slash = strrchr(parent, '/');
    if (slash == NULL || slash == parent) return 0;
    *slash = '\0';
    return flush_folder(parent);
}

static int write_whole(const char *path, const unsigned char *bytes, size_t size)
{
    FILE *file = whole_file_open(path, 0600);
    if (file == NULL) return 1;
    fwrite(bytes, 1, size, file);
    return whole_file_close(file, path, 1);
}

const char *shelf_add(const char *folder, const struct generation *generation)
{
    char path[PATH_MAX];
    size_t size;
    unsigned char *packed = generation_pack(generation, &size);
    if (packed == NULL) return "no memory, or it is too large";
    path_of(path, folder, generation->number);
    const int failed = make_folder(folder) != 0 || write_whole(path, packed, size) != 0 ||
                       flush_folder(folder) != 0;
    const int reason = errno;
    free(packed);
    return failed ? strerror(reason) : NULL;
}

static void remove_number(const char *folder, unsigned long number)
{
    char path[PATH_MAX];
    path_of(path, folder, number);
    unlink(path);
}

static void remove_scratch_files(const char *folder)
{
    DIR *directory = opendir(folder);
    if (directory == NULL) return;
    for (struct dirent *entry; (entry = readdir(directory)) != NULL;) {
        if (number_in(entry->d_name, scratch_ending) != 0)
            unlinkat(dirfd(directory), entry->d_name, 0);
    }
    closedir(directory);
}

static int is_spared(const struct shelf_limits *limits, unsigned long number)
{
    for (int i = 0; i < limits->spared_count; i++) {
        if (limits->spared[i] == number) return 1;
    }
    return 0;
}

void shelf_prune(const char *folder, const struct shelf_limits *limits)
{
    static struct shelf_content list;
    size_t bytes = 0;
    shelf_list(folder, &list);
    remove_scratch_files(folder);
    int left = list.count;
    for (int i = 0; i < list.count; i++)
        bytes += list.sizes[i];
    for (int i = 0; i < list.count - 1; i++) {
        if (left <= limits->most && bytes <= limits->bytes) break;
        if (is_spared(limits, list.numbers[i])) continue;
        remove_number(folder, list.numbers[i]);
        bytes -= list.sizes[i];
        left--;
    }
}
