/* SPDX-License-Identifier: MIT */
/*
 * The file's name has the process's number. What it holds tells that process from any other one
 * that has the number by now, in this boot of the machine or another, and tells by which daemon it
 * was started: as long as that runs, its programs are nobody else's concern.
 */
#include "outlived.h"

#include "vorn/vorn.h"

#include <dirent.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

#include "process.h"
#include "vorn-plugin/patience.h"
#include "vorn-plugin/whole_file.h"

#define FOLDER "/var/run"
#define HEAD "vorn-program-"

enum { path_room = 64, boot_room = 40, ending_us = 3000000, killed_us = 1000000 };

struct outlived {
    struct outlived *next;
    int pid;
    unsigned long long birth;
    int farewell; /* the signal to send first; 0 for none */
};

static void name_file(char path[path_room], int pid)
{
    snprintf(path, path_room, FOLDER "/" HEAD "%d", pid);
}

/* Of the machine, since which births are counted; "?" where the kernel has no name for it. */
static void name_boot(char boot[boot_room])
{
    FILE *file = fopen("/proc/sys/kernel/random/boot_id", "re");
    strcpy(boot, "?");
    if (file == NULL) return;
    if (fscanf(file, "%39s", boot) != 1) strcpy(boot, "?");
    fclose(file);
}

static void write_file(int pid, int farewell)
{
    char path[path_room];
    char boot[boot_room];
    char text[boot_room + 64];
    const unsigned long long birth = supervise_birth(pid);
    if (birth == 0) return;
    name_file(path, pid);
    name_boot(boot);
    snprintf(text, sizeof text, "%llu %d %llu %d %s\n", birth, (int)getpid(),
             supervise_birth_of_any(getpid()), farewell, boot);
    if (write_file_whole(path, text, 0600) < 0) vorn_debug_eprintf("Can't write %s.\n", path);
}

static void remove_file(int pid)
{
    char path[path_room];
    name_file(path, pid);
    unlink(path);
}

void outlived_note(struct noted *noted, const char *service)
{
    char text[16];
    const int pid = vorn_service_get_pid(service);
    if (pid <= 0 || pid == noted->pid) return;
    noted->pid = pid;
    write_file(pid, noted->farewell);
    if (noted->pid_file == NULL) return;
    snprintf(text, sizeof text, "%d\n", pid);
    if (write_file_whole(noted->pid_file, text, 0644) < 0) {
        vorn_debug_eprintf("%s: can't write %s.\n", service, noted->pid_file);
    }
}

void outlived_forget(struct noted *noted)
{
    if (noted->pid == 0) return;
    remove_file(noted->pid);
    noted->pid = 0;
    if (noted->pid_file != NULL) unlink(noted->pid_file);
}

static int is_still_there(const struct outlived *it)
{
    return supervise_birth_of_any(it->pid) == it->birth;
}

enum verdict { of_nobody, of_a_running_daemon, of_an_earlier_daemon };

static enum verdict judge(const char *path, struct outlived *it)
{
    char boot[boot_room];
    char own_boot[boot_room];
    int daemon;
    unsigned long long daemon_birth;
    FILE *file = whole_file_read(path);
    if (file == NULL) return of_nobody;
    const int count = fscanf(file, "%llu %d %llu %d %39s", &it->birth, &daemon, &daemon_birth,
                             &it->farewell, boot);
    fclose(file);
    name_boot(own_boot);
    if (count != 5 || it->birth == 0 || strcmp(boot, own_boot) != 0) return of_nobody;
    if (!is_still_there(it)) return of_nobody;
    return supervise_birth_of_any(daemon) == daemon_birth ? of_a_running_daemon
                                                          : of_an_earlier_daemon;
}

/* Files of processes that are no more go. */
static struct outlived *look_at(const char *name, struct outlived *found)
{
    char path[path_room];
    char *end;
    struct outlived seen = {.next = found};
    const long pid = strtol(name, &end, 10);
    const int is_number = end != name && *end == '\0' && pid > 1 && pid <= 0x7fffffff;
    snprintf(path, sizeof path, FOLDER "/" HEAD "%.20s", name);
    seen.pid = is_number ? (int)pid : 0;
    const enum verdict verdict = is_number ? judge(path, &seen) : of_nobody;
    if (verdict == of_nobody) unlink(path);
    struct outlived *it = verdict == of_an_earlier_daemon ? malloc(sizeof *it) : NULL;
    if (it == NULL) return found;
    *it = seen;
    return it;
}

static struct outlived *find_all(void)
{
    struct outlived *found = NULL;
    DIR *folder = opendir(FOLDER);
    if (folder == NULL) return NULL;
    for (const struct dirent *each = readdir(folder); each != NULL; each = readdir(folder)) {
        if (strncmp(each->d_name, HEAD, sizeof HEAD - 1) != 0) continue;
        found = look_at(each->d_name + sizeof HEAD - 1, found);
    }
    closedir(folder);
    return found;
}

static void say_farewell(const struct outlived *all)
{
    for (const struct outlived *it = all; it != NULL; it = it->next) {
        if (it->farewell > 0 && is_still_there(it)) kill(it->pid, it->farewell);
    }
}

static void send(const struct outlived *all, int signal_number)
{
    for (const struct outlived *it = all; it != NULL; it = it->next) {
        if (is_still_there(it)) kill(it->pid, signal_number);
    }
}

/* Answers whether all of them have ended in that time. */
static int end_within(const struct outlived *all, int64_t limit_us)
{
    static const struct timespec moment = {.tv_nsec = 5000000};
    const int64_t deadline_us = patience_now_us() + limit_us;
    for (const struct outlived *it = all; it != NULL; it = it->next) {
        while (is_still_there(it)) {
            if (patience_now_us() >= deadline_us) return 0;
            nanosleep(&moment, NULL);
        }
    }
    return 1;
}

void outlived_end(void)
{
    struct outlived *all = find_all();
    say_farewell(all);
    send(all, SIGTERM);
    if (!end_within(all, ending_us)) {
        send(all, SIGKILL);
        end_within(all, killed_us);
    }
    while (all != NULL) {
        struct outlived *it = all;
        all = it->next;
        if (!is_still_there(it)) remove_file(it->pid);
        free(it);
    }
}
