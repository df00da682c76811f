/* SPDX-License-Identifier: MIT */
/*
 * How long a key was held is told by the events' own times, on a clock that nobody sets: neither a
 * daemon that was busy nor a clock that jumps makes a short press a long one.
 */
#include "key_events.h"

#include "vorn/vorn.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <linux/input.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/inotify.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

static const char folder[] = "/dev/input";
static const char prefix[] = "event";

enum { most_devices = 16, most_pressed = 4, events_at_once = 64, file_room = 32, name_room = 80 };

/* As the kernel writes it to programs of this word: also where theirs of the time is longer. */
struct event {
    unsigned long seconds;
    unsigned long microseconds;
    uint16_t type;
    uint16_t code;
    int32_t value;
};

struct pressed {
    unsigned int code; /* 0 for none */
    int64_t since_ms;
};

static struct device {
    char file[file_room]; /* in the folder; "" for no device */
    char name[name_room];
    dev_t on;
    ino_t node;
    int fd;     /* -1 for one that can't be listened to */
    int reason; /* of that */
    int is_fifo;
    key_set keys;
    struct pressed pressed[most_pressed];
} devices[most_devices];

static key_set wanted;
static int watch = -1; /* inotify's */
static void (*tell)(const key_release *release);

void key_set_add(key_set *set, unsigned int code)
{
    if (code < KEY_CNT) set->words[code / key_word_bits] |= 1UL << code % key_word_bits;
}

int key_set_has(const key_set *set, unsigned int code)
{
    return code < KEY_CNT && (set->words[code / key_word_bits] >> code % key_word_bits & 1) != 0;
}

static int has_wanted(const key_set *keys)
{
    for (int i = 0; i < key_words; i++)
        if ((keys->words[i] & wanted.words[i]) != 0) return 1;
    return 0;
}

static const char *path_of(const char *file)
{
    static char path[sizeof folder + file_room];
    snprintf(path, sizeof path, "%s/%s", folder, file);
    return path;
}

static void stop(struct device *device)
{
    if (device->fd < 0) return;
    eloop_unregister_read_sock(device->fd);
    close(device->fd);
    device->fd = -1;
}

static void forget(struct device *device)
{
    stop(device);
    *device = (struct device){.fd = -1};
}

/* It stays, as what can't be listened to, until there is another one or somebody tries again. */
static void fail(struct device *device, int reason)
{
    stop(device);
    device->reason = reason;
    vorn_debug_eprintf("system: can't listen to %s: %s.\n", path_of(device->file),
                       strerror(reason));
}

static struct pressed *find_pressed(struct device *device, unsigned int code)
{
    for (int i = 0; i < most_pressed; i++)
        if (device->pressed[i].code == code) return &device->pressed[i];
    return NULL;
}

static void release(struct device *device, unsigned int code, int64_t now_ms)
{
    struct pressed *held = find_pressed(device, code);
    if (held == NULL) return;
    const key_release told = {device->name, device->file, code, now_ms - held->since_ms};
    held->code = 0;
    if (told.held_ms >= 0) tell(&told);
}

static void press(struct device *device, unsigned int code, int64_t now_ms)
{
    struct pressed *held = find_pressed(device, code);
    if (held == NULL) held = find_pressed(device, 0);
    if (held != NULL) *held = (struct pressed){code, now_ms};
}

/* When the kernel has dropped events, a release may be among them. */
static void take(struct device *device, const struct event *event)
{
    const int64_t now_ms = (int64_t)event->seconds * 1000 + (int64_t)event->microseconds / 1000;
    if (event->type == EV_SYN && event->code == SYN_DROPPED) {
        memset(device->pressed, 0, sizeof device->pressed);
    } else if (event->type == EV_KEY && event->code != 0 && key_set_has(&wanted, event->code)) {
        if (event->value == 0) release(device, event->code, now_ms);
        if (event->value == 1) press(device, event->code, now_ms);
    }
}

static void look(void);

/* Who wrote into a FIFO has gone, and may come back; a device that says nothing is none. */
static void end(struct device *device)
{
    if (device->is_fifo) {
        forget(device);
        look();
    } else {
        fail(device, ENODEV);
    }
}

static void hear(int sock, void *eloop_data, void *data)
{
    struct event events[events_at_once];
    struct device *device = data;
    (void)eloop_data;
    const ssize_t size = read(sock, events, sizeof events);
    if (size < 0 && (errno == EAGAIN || errno == EINTR)) return;
    if (size < 0) {
        fail(device, errno);
    } else if (size == 0) {
        end(device);
    } else if ((size_t)size % sizeof *events != 0) {
        fail(device, EBADMSG);
    } else {
        for (size_t i = 0; i < (size_t)size / sizeof *events; i++)
            take(device, &events[i]);
    }
}

/* 0, or why not. */
static int ask_kernel(struct device *device)
{
    const int clock = CLOCK_MONOTONIC;
    if (ioctl(device->fd, EVIOCGBIT(EV_KEY, sizeof device->keys), &device->keys) < 0 ||
        ioctl(device->fd, EVIOCSCLOCKID, &clock) < 0)
        return errno;
    if (ioctl(device->fd, EVIOCGNAME(sizeof device->name - 1), device->name) < 0)
        snprintf(device->name, sizeof device->name, "%s", device->file);
    return 0;
}

/* 0, or why it can't be listened to; -1 for what nobody wants to. */
static int open_device(struct device *device)
{
    struct stat status;
    device->fd = open(path_of(device->file), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (device->fd < 0) return errno;
    if (fstat(device->fd, &status) != 0) return errno;
    device->is_fifo = S_ISFIFO(status.st_mode);
    if (!device->is_fifo && !S_ISCHR(status.st_mode)) return -1;
    if (device->is_fifo) {
        memset(&device->keys, 0xff, sizeof device->keys);
        snprintf(device->name, sizeof device->name, "%s", device->file);
    } else {
        const int reason = ask_kernel(device);
        if (reason != 0) return reason;
    }
    return has_wanted(&device->keys) ? 0 : -1;
}

static void begin(struct device *device, const char *file, const struct stat *status)
{
    *device = (struct device){.on = status->st_dev, .node = status->st_ino, .fd = -1};
    snprintf(device->file, sizeof device->file, "%s", file);
    int reason = open_device(device);
    if (reason == 0 && eloop_register_read_sock(device->fd, hear, NULL, device) != 0)
        reason = ENOMEM;
    if (reason == 0) return;
    if (device->fd >= 0) close(device->fd);
    device->fd = -1;
    if (reason < 0) {
        forget(device);
    } else {
        fail(device, reason);
    }
}

static struct device *find(const char *file)
{
    for (int i = 0; i < most_devices; i++)
        if (strcmp(devices[i].file, file) == 0) return &devices[i];
    return NULL;
}

static int is_there(const struct device *device)
{
    struct stat status;
    return stat(path_of(device->file), &status) == 0 && status.st_dev == device->on &&
           status.st_ino == device->node;
}

static int is_event_file(const struct dirent *entry)
{
    return strncmp(entry->d_name, prefix, sizeof prefix - 1) == 0 &&
           strlen(entry->d_name) < file_room;
}

static void look(void)
{
    struct dirent **all = NULL;
    for (int i = 0; i < most_devices; i++)
        if (devices[i].file[0] != '\0' && !is_there(&devices[i])) forget(&devices[i]);
    const int count = scandir(folder, &all, is_event_file, alphasort);
    for (int i = 0; i < count; i++) {
        struct stat status;
        const char *file = all[i]->d_name;
        struct device *room = find(file) == NULL ? find("") : NULL;
        if (room != NULL && stat(path_of(file), &status) == 0) begin(room, file, &status);
        free(all[i]);
    }
    free(all);
}

/* The folder comes with the first device. A watch that is there already stays as it is. */
static void watch_folders(void)
{
    inotify_add_watch(watch, "/dev", IN_CREATE | IN_MOVED_TO | IN_ONLYDIR);
    inotify_add_watch(watch, folder, IN_CREATE | IN_MOVED_TO | IN_DELETE | IN_ONLYDIR);
}

static void hear_folders(int sock, void *eloop_data, void *data)
{
    char events[2048] __attribute__((aligned(8)));
    (void)eloop_data;
    (void)data;
    const ssize_t size = read(sock, events, sizeof events);
    if (size < 0 && (errno == EAGAIN || errno == EINTR)) return;
    watch_folders();
    look();
}

static void begin_to_watch(void)
{
    if (watch >= 0) return;
    watch = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    if (watch >= 0 && eloop_register_read_sock(watch, hear_folders, NULL, NULL) == 0) {
        watch_folders();
        return;
    }
    vorn_debug_eprintf("system: devices with buttons that come later are found by the next "
                       "change.\n");
    if (watch >= 0) close(watch);
    watch = -1;
}

static void end_watch(void)
{
    if (watch < 0) return;
    eloop_unregister_read_sock(watch);
    close(watch);
    watch = -1;
}

void key_events_tell(void (*released)(const key_release *release))
{
    tell = released;
}

void key_events_listen(const key_set *keys)
{
    const key_set none = {{0}};
    wanted = *keys;
    for (int i = 0; i < most_devices; i++) {
        if (devices[i].file[0] == '\0') continue;
        if (devices[i].fd < 0 || !has_wanted(&devices[i].keys)) forget(&devices[i]);
    }
    if (memcmp(&wanted, &none, sizeof none) == 0) {
        end_watch();
        return;
    }
    begin_to_watch();
    look();
}

int key_events_is_meant(const char *meant, const char *device, const char *file)
{
    return meant == NULL || *meant == '\0' || strcmp(meant, device) == 0 ||
           strcmp(meant, file) == 0;
}

int key_events_has(const char *device, unsigned int code)
{
    for (int i = 0; i < most_devices; i++) {
        const struct device *each = &devices[i];
        if (each->fd >= 0 && each->file[0] != '\0' && key_set_has(&each->keys, code) &&
            key_events_is_meant(device, each->name, each->file))
            return 1;
    }
    return 0;
}

const char *key_events_failure(const char *device)
{
    static char text[160];
    for (int i = 0; i < most_devices; i++) {
        const struct device *each = &devices[i];
        if (each->file[0] == '\0' || each->fd >= 0 ||
            !key_events_is_meant(device, each->name, each->file))
            continue;
        snprintf(text, sizeof text, "%s: %s", path_of(each->file), strerror(each->reason));
        return text;
    }
    return NULL;
}
