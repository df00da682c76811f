/* SPDX-License-Identifier: MIT */
/* vorn-agent: makes the device one of a fleet. Begins as root, if at all, and does not stay so. */
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <getopt.h>
#include <openssl/ssl.h>
#include <sys/eventfd.h>
#include <sys/resource.h>
#include <unistd.h>

#include "home.h"
#include "protocol/bounds.h"
#include "service.h"

namespace {

using vorn::fleet::Broker;
using vorn::fleet::HomeOptions;
using vorn::fleet::Key;

/* What a hostile broker makes the agent keep is not the device's memory. */
#ifdef __SANITIZE_ADDRESS__
constexpr rlim_t most_memory = RLIM_INFINITY; /* what watches it has terabytes mapped */
#else
constexpr rlim_t most_memory = 24 * 1024 * 1024;
#endif
constexpr int encrypted_port = 8883;

int stop = -1;

void end(int)
{
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = write(stop, &one, sizeof one);
}

int usage(std::FILE *file)
{
    std::fputs(
        "usage: vorn-agent --tenant TENANT --device ID --broker HOST[:PORT]... --signer KEY...\n"
        "                  --note PATH [--status PATH] [--user USER] [--ca PATH]\n"
        "                  [--certificate PATH --key PATH] [--plain] [--requests]\n"
        "                  [--state CLASS[.PROPERTY]]... [--states-every SECONDS]\n",
        file);
    return file == stdout ? 0 : 2;
}

bool add_broker(HomeOptions &options, const std::string &text)
{
    const std::size_t colon = text.rfind(':');
    const int port = colon == std::string::npos ? encrypted_port : std::atoi(&text[colon + 1]);
    options.link.brokers.push_back({text.substr(0, colon), port});
    return port > 0 && port <= 65535 && !options.link.brokers.back().host.empty();
}

bool add_signer(HomeOptions &options, const char *text)
{
    const std::optional<Key> key = Key::of(text);
    if (key) options.settings.keys.push_back(*key);
    return key.has_value();
}

bool add_state(HomeOptions &options, const char *text)
{
    const std::optional<vorn::fleet::Selection> selection = vorn::fleet::Selection::of(text);
    if (selection) options.settings.watch.what.push_back(*selection);
    return selection && options.settings.watch.what.size() <= vorn::fleet::most_watched;
}

const option known[] = {
    {"tenant", required_argument, nullptr, 't'},
    {"device", required_argument, nullptr, 'd'},
    {"broker", required_argument, nullptr, 'b'},
    {"signer", required_argument, nullptr, 's'},
    {"note", required_argument, nullptr, 'n'},
    {"status", required_argument, nullptr, 'S'},
    {"user", required_argument, nullptr, 'u'},
    {"ca", required_argument, nullptr, 'a'},
    {"certificate", required_argument, nullptr, 'c'},
    {"key", required_argument, nullptr, 'k'},
    {"plain", no_argument, nullptr, 'p'},
    {"requests", no_argument, nullptr, 'r'},
    {"state", required_argument, nullptr, 'v'},
    {"states-every", required_argument, nullptr, 'e'},
    {nullptr, 0, nullptr, 0},
};

bool take_option(int letter, HomeOptions &options, const char *&user)
{
    switch (letter) {
    case 't':
        options.settings.identity.tenant = optarg;
        return true;
    case 'd':
        options.settings.identity.device = optarg;
        return true;
    case 'b':
        return add_broker(options, optarg);
    case 's':
        return add_signer(options, optarg);
    case 'n':
        options.note = optarg;
        return true;
    case 'S':
        options.status = optarg;
        return true;
    case 'u':
        user = optarg;
        return true;
    case 'a':
        options.link.authorities = optarg;
        return true;
    case 'c':
        options.link.certificate = optarg;
        return true;
    case 'k':
        options.link.key = optarg;
        return true;
    case 'p':
        options.link.is_encrypted = false;
        return true;
    case 'r':
        options.settings.answers_requests = true;
        return true;
    case 'v':
        return add_state(options, optarg);
    case 'e':
        options.settings.watch.every_s = std::atoi(optarg);
        return options.settings.watch.every_s > 0 &&
               options.settings.watch.every_s <= vorn::fleet::longest_interval;
    default:
        return false;
    }
}

bool read_options(int count, char *arguments[], HomeOptions &options, const char *&user)
{
    for (int each; (each = getopt_long(count, arguments, "", known, nullptr)) != -1;)
        if (!take_option(each, options, user)) return false;
    options.link.identity = options.settings.identity;
    return optind == count && vorn::fleet::is_identifier(options.settings.identity.tenant) &&
           vorn::fleet::is_identifier(options.settings.identity.device) &&
           !options.link.brokers.empty() && !options.note.empty();
}

} // namespace

/*
 * Takes the place of the C library's: libmosquitto makes a pair for each client, to wake up a
 * thread that is not there, and writes a byte for each packet that nobody reads: 200 KiB of the
 * kernel's.
 */
extern "C" [[gnu::visibility("default")]] int socketpair(int, int, int, int *)
{
    errno = EMFILE;
    return -1;
}

int main(int count, char *arguments[])
{
    HomeOptions options;
    const char *user = nullptr;
    if (count == 2 && std::strcmp(arguments[1], "--help") == 0) return usage(stdout);
    if (!read_options(count, arguments, options, user)) return usage(stderr);
    if (!vorn::service::give_up_rights("vorn-agent", user)) return 1;
    vorn::service::stay_small();
    const rlimit memory = {most_memory, most_memory};
    setrlimit(RLIMIT_DATA, &memory);

    stop = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    struct sigaction action = {};
    action.sa_handler = end;
    sigaction(SIGTERM, &action, nullptr);
    sigaction(SIGINT, &action, nullptr);
    std::signal(SIGPIPE, SIG_IGN);

    /* Nobody asks for the words of its errors, which are a hundred kilobytes. */
    OPENSSL_init_ssl(OPENSSL_INIT_NO_LOAD_SSL_STRINGS | OPENSSL_INIT_NO_LOAD_CRYPTO_STRINGS,
                     nullptr);
    if (stop < 0 || mosquitto_lib_init() != MOSQ_ERR_SUCCESS) return 1;
    static vorn::fleet::Home home(options);
    home.run(stop);
    std::fflush(nullptr);
    _exit(0); /* a thread may be waiting for the daemon, or for a name */
}
