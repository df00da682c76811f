/* SPDX-License-Identifier: MIT */
/*
 * vorn-gate-passwd: is that the password of that user? It is root, and can do nothing else. The
 * gate alone may ask, one question at a time: the address of who logs in, the user and the
 * password, each with a null byte after it. The answer is "yes", "no" or "wait SECONDS".
 */
#include <crypt.h>
#include <errno.h>
#include <getopt.h>
#include <pwd.h>
#include <shadow.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <time.h>
#include <unistd.h>

#include "pauses.h"

enum { longest_question = 512, patience_s = 2, seconds_of_a_day = 86400, waiting = 8, nicer = 5 };

/* What a user who is not there is compared with: it takes as long, and fits no password. */
static const char nobodys[] = "$6$0000000000000000$";

struct question {
    char text[longest_question];
    const char *address;
    const char *user;
    const char *password;
};

static int64_t now(void)
{
    struct timespec time;
    clock_gettime(CLOCK_BOOTTIME, &time);
    return time.tv_sec;
}

static int complain(const char *what)
{
    fprintf(stderr, "vorn-gate-passwd: %s: %s\n", what, strerror(errno));
    return 1;
}

static int has_expired(const struct spwd *entry)
{
    return entry->sp_expire >= 0 && time(NULL) / seconds_of_a_day >= entry->sp_expire;
}

/* Without a password, or with one that is locked, nobody comes in. */
static int is_password(const char *user, const char *password)
{
    const struct spwd *entry = getspnam(user);
    const int can_log_in =
        entry != NULL && entry->sp_pwdp != NULL && entry->sp_pwdp[0] == '$' && !has_expired(entry);
    const char *wanted = can_log_in ? entry->sp_pwdp : nobodys;
    const char *made = crypt(password, wanted);
    return can_log_in && made != NULL && made[0] == '$' && strcmp(made, wanted) == 0;
}

static int text_ends(const struct question *question, size_t length, int texts)
{
    for (size_t i = 0; i < length; i++)
        if (question->text[i] == '\0') texts--;
    return texts <= 0;
}

/* Three texts, and no more, within two seconds. */
static int receive(int client, struct question *question)
{
    size_t length = 0;
    while (!text_ends(question, length, 3)) {
        if (length == sizeof question->text) return 1;
        const ssize_t count =
            recv(client, question->text + length, sizeof question->text - length, 0);
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) return 1;
        length += (size_t)count;
    }
    question->address = question->text;
    question->user = question->address + strlen(question->address) + 1;
    question->password = question->user + strlen(question->user) + 1;
    return question->password + strlen(question->password) + 1 != question->text + length;
}

static void answer(int client, const char *text)
{
    /* Who does not listen any more has his reasons. */
    if (send(client, text, strlen(text), MSG_NOSIGNAL | MSG_DONTWAIT) < 0) return;
}

static void serve(int client, struct pauses *pauses)
{
    struct question question;
    char address[longest_address];
    char text[32];
    if (receive(client, &question) != 0) return;

    pauses_name_address(address, question.address);
    const int left = pauses_left(pauses, address, now());
    if (left > 0) {
        snprintf(text, sizeof text, "wait %d\n", left);
        answer(client, text);
    } else if (is_password(question.user, question.password)) {
        pauses_forget(pauses, address);
        answer(client, "yes\n");
    } else {
        pauses_note_failure(pauses, address, now());
        answer(client, "no\n");
    }
    explicit_bzero(&question, sizeof question);
}

static int may_ask(int client, uid_t user)
{
    struct ucred peer;
    socklen_t length = sizeof peer;
    return getsockopt(client, SOL_SOCKET, SO_PEERCRED, &peer, &length) == 0 &&
           (peer.uid == user || peer.uid == 0);
}

static int listen_at(const char *path, const struct passwd *user)
{
    struct sockaddr_un address = {.sun_family = AF_UNIX};
    if (strlen(path) >= sizeof address.sun_path) {
        errno = ENAMETOOLONG;
        return -1;
    }
    strcpy(address.sun_path, path);
    const int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (listener < 0) return -1;
    unlink(path);
    const mode_t mask = umask(0777);
    const int bound = bind(listener, (const struct sockaddr *)&address, sizeof address);
    umask(mask);
    if (bound != 0 || chown(path, user->pw_uid, (gid_t)-1) != 0 || chmod(path, 0600) != 0 ||
        listen(listener, waiting) != 0) {
        return -1;
    }
    return listener;
}

int main(int count, char *arguments[])
{
    static const struct option known[] = {{"socket", required_argument, NULL, 's'},
                                          {"user", required_argument, NULL, 'u'},
                                          {NULL, 0, NULL, 0}};
    static struct pauses pauses;
    const char *path = NULL;
    const char *name = NULL;
    for (int each; (each = getopt_long(count, arguments, "", known, NULL)) != -1;) {
        if (each == 's') path = optarg;
        if (each == 'u') name = optarg;
    }
    if (path == NULL || name == NULL || optind != count) {
        fprintf(stderr, "usage: vorn-gate-passwd --socket PATH --user USER\n");
        return 2;
    }
    const struct passwd *user = getpwnam(name);
    if (user == NULL) {
        errno = ENOENT;
        return complain(name);
    }
    const uid_t asker = user->pw_uid;
    const int listener = listen_at(path, user);
    if (listener < 0) return complain(path);
    prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
    prctl(PR_SET_DUMPABLE, 0, 0, 0, 0);
    /* Judging takes the processor: whoever is logged in already goes first. */
    if (nice(nicer) == -1 && errno == EPERM) return complain("nice");

    for (;;) {
        const int client = accept4(listener, NULL, NULL, SOCK_CLOEXEC);
        if (client < 0) continue;
        const struct timeval patience = {patience_s, 0};
        setsockopt(client, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
        if (may_ask(client, asker)) serve(client, &pauses);
        close(client);
    }
}
