/* SPDX-License-Identifier: MIT */
#include "run_with.h"

#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>

static void free_list(char **list)
{
    for (char **each = list; each != NULL && *each != NULL; each++)
        free(*each);
    free(list);
}

static char **copy_list(const char *const list[])
{
    size_t count = 0;
    while (list[count] != NULL)
        count++;
    char **copy = calloc(count + 1, sizeof *copy);
    for (size_t i = 0; copy != NULL && i < count; i++) {
        copy[i] = strdup(list[i]);
        if (copy[i] != NULL) continue;
        free_list(copy);
        return NULL;
    }
    return copy;
}

static int are_same(char *const left[], const char *const right[])
{
    while (*left != NULL && *right != NULL && strcmp(*left, *right) == 0) {
        left++;
        right++;
    }
    return *left == NULL && *right == NULL;
}

static const char *const *files_of(const supervise_plan *plan)
{
    static const char *const none[] = {NULL};
    return plan->files != NULL ? plan->files : none;
}

static void mix(uint64_t *sum, uint64_t value)
{
    *sum = (*sum ^ value) * 0x100000001b3U;
}

/* A file that is replaced is another one, one that is written in place has another time. */
uint64_t supervise_look_at_files(const struct run_with *it)
{
    uint64_t sum = 0xcbf29ce484222325U;
    for (char *const *each = it->files; *each != NULL; each++) {
        struct stat found = {0};
        if (stat(*each, &found) != 0) found.st_ino = 0;
        mix(&sum, (uint64_t)found.st_ino);
        mix(&sum, (uint64_t)found.st_size);
        mix(&sum, (uint64_t)found.st_mtim.tv_sec);
        mix(&sum, (uint64_t)found.st_mtim.tv_nsec);
    }
    return sum;
}

int supervise_is_run_with(const struct run_with *it, const supervise_plan *plan)
{
    return it->arguments != NULL && are_same(it->arguments, plan->arguments) &&
           are_same(it->files, files_of(plan)) && it->version == plan->version;
}

void supervise_forget_plan(struct run_with *it)
{
    free_list(it->arguments);
    free_list(it->files);
    it->arguments = NULL;
    it->files = NULL;
}

int supervise_take_plan(struct run_with *it, const supervise_plan *plan)
{
    char **arguments = copy_list(plan->arguments);
    char **files = copy_list(files_of(plan));
    if (arguments == NULL || files == NULL) {
        free_list(arguments);
        free_list(files);
        return 1;
    }
    supervise_forget_plan(it);
    it->arguments = arguments;
    it->files = files;
    it->version = plan->version;
    return 0;
}
