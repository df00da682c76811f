/* SPDX-License-Identifier: MIT */
/* vorn-gate: the door to the network. Begins as root for its socket's sake and does not stay so. */
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <getopt.h>
#include <grp.h>
#include <sys/eventfd.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include "bounds.h"
#include "server.h"
#include "service.h"

namespace {

using vorn::gate::House;

constexpr int waiting_connections = 512;
constexpr int shortest_lifetime = 60;

struct Options {
    const char *socket = nullptr;
    const char *group = nullptr;
    const char *user = nullptr;
    const char *passwords = "/run/vorn-web/passwords";
    const char *tokens = "/run/vorn-web/tokens";
    int lifetime = 3600;
};

std::atomic<bool> stop = false;
int wake = -1;

void end(int)
{
    const std::uint64_t one = 1;
    stop = true;
    [[maybe_unused]] const ssize_t written = write(wake, &one, sizeof one);
}

int complain(const char *what)
{
    std::fprintf(stderr, "vorn-gate: %s: %s\n", what, std::strerror(errno));
    return -1;
}

int usage(std::FILE *file)
{
    std::fputs("usage: vorn-gate --socket PATH [--group GROUP] [--user USER] [--passwords PATH]\n"
               "                 [--tokens PATH] [--lifetime SECONDS]\n",
               file);
    return file == stdout ? 0 : 2;
}

/* Reached by root and by the group's members: the web server is the only one of them. */
int listen_at(const Options &options)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (std::strlen(options.socket) >= sizeof address.sun_path) {
        errno = ENAMETOOLONG;
        return complain(options.socket);
    }
    std::strcpy(address.sun_path, options.socket);
    const int descriptor = socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (descriptor < 0) return complain("a socket");
    unlink(options.socket);
    const mode_t mask = umask(0777);
    const int bound = bind(descriptor, reinterpret_cast<sockaddr *>(&address), sizeof address);
    umask(mask);
    if (bound != 0) return complain(options.socket);
    const group *group = options.group ? getgrnam(options.group) : nullptr;
    if (options.group && !group) {
        errno = ENOENT;
        return complain(options.group);
    }
    if (group && chown(options.socket, static_cast<uid_t>(-1), group->gr_gid) != 0)
        return complain(options.socket);
    if (chmod(options.socket, 0660) != 0 || listen(descriptor, waiting_connections) != 0)
        return complain(options.socket);
    return descriptor;
}

bool read_options(int count, char *arguments[], Options &options)
{
    static const option known[] = {
        {"socket", required_argument, nullptr, 's'},
        {"group", required_argument, nullptr, 'g'},
        {"user", required_argument, nullptr, 'u'},
        {"passwords", required_argument, nullptr, 'p'},
        {"tokens", required_argument, nullptr, 't'},
        {"lifetime", required_argument, nullptr, 'l'},
        {nullptr, 0, nullptr, 0},
    };
    for (int each; (each = getopt_long(count, arguments, "", known, nullptr)) != -1;) {
        switch (each) {
        case 's':
            options.socket = optarg;
            break;
        case 'g':
            options.group = optarg;
            break;
        case 'u':
            options.user = optarg;
            break;
        case 'p':
            options.passwords = optarg;
            break;
        case 't':
            options.tokens = optarg;
            break;
        case 'l':
            options.lifetime = std::atoi(optarg);
            break;
        default:
            return false;
        }
    }
    return options.socket && optind == count && options.lifetime >= shortest_lifetime;
}

} // namespace

int main(int count, char *arguments[])
{
    Options options;
    if (count == 2 && std::strcmp(arguments[1], "--help") == 0) return usage(stdout);
    if (!read_options(count, arguments, options)) return usage(stderr);
    vorn::service::stay_small();
    const int listener = listen_at(options);
    if (listener < 0 || !vorn::service::give_up_rights("vorn-gate", options.user)) return 1;

    rlimit files = {};
    if (getrlimit(RLIMIT_NOFILE, &files) == 0) {
        files.rlim_cur = std::min<rlim_t>(files.rlim_max, vorn::gate::most_connections + 64);
        setrlimit(RLIMIT_NOFILE, &files);
    }
    wake = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    struct sigaction action = {};
    action.sa_handler = end;
    sigaction(SIGTERM, &action, nullptr);
    sigaction(SIGINT, &action, nullptr);
    std::signal(SIGPIPE, SIG_IGN);

    const std::string passwords = options.passwords;
    House house = {
        vorn::gate::Sessions(options.lifetime),
        vorn::gate::Tokens(options.tokens),
        {},
        {},
        {},
        {},
        [&](const std::string &address, const std::string &user, const std::string &password) {
            return vorn::gate::ask_for_password(passwords, address, user, password);
        }};
    return wake < 0 ? 1 : vorn::gate::serve_clients(house, listener, wake, stop);
}
