/* SPDX-License-Identifier: MIT */
/* Changes that are taken back unless somebody wants to keep them. */
#include "trial.h"

#include <cerrno>
#include <chrono>
#include <iostream>
#include <optional>

#include <poll.h>
#include <signal.h>
#include <termios.h>
#include <unistd.h>

#include "failure.h"
#include "transaction.h"

namespace vorn::client {

const Target trial_target = {"trial", {}, {}};

namespace {

using std::chrono::steady_clock;

volatile sig_atomic_t is_interrupted = 0;

void note_interruption(int)
{
    is_interrupted = 1;
}

/* Keys as they are typed, unseen, for as long as somebody is asked. */
class Question {
public:
    Question()
    {
        tcgetattr(STDIN_FILENO, &before_);
        termios keys = before_;
        keys.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
        tcsetattr(STDIN_FILENO, TCSANOW, &keys);
    }
    Question(const Question &) = delete;
    ~Question() { tcsetattr(STDIN_FILENO, TCSANOW, &before_); }

    /* The key that was pressed within a second, or nothing. What is no key any more is an 'n'. */
    static std::optional<char> take_key()
    {
        constexpr int a_second = 1000;
        pollfd terminal = {STDIN_FILENO, POLLIN, 0};
        const int ready = poll(&terminal, 1, a_second);
        if (is_interrupted) return 'n';
        if (ready == 0 || (ready < 0 && errno == EINTR)) return std::nullopt;
        char key = 'n';
        return ready > 0 && read(STDIN_FILENO, &key, 1) == 1 ? key : 'n';
    }

private:
    termios before_ = {};
};

/* Nothing when the time is over. */
std::optional<bool> wants_to_keep(int seconds)
{
    const auto end = steady_clock::now() + std::chrono::seconds(seconds);
    const Question question;
    for (;;) {
        const auto left =
            std::chrono::ceil<std::chrono::seconds>(end - steady_clock::now()).count();
        if (left <= 0) break;
        std::cerr << "\rKeep these changes? [y/N] " << left << " s " << std::flush;
        const std::optional<char> key = Question::take_key();
        if (!key) continue;
        std::cerr << '\n';
        return *key == 'y' || *key == 'Y';
    }
    std::cerr << '\n';
    return std::nullopt;
}

/* Of what the disk refused, that is what the status tells. */
int end(Device &device, const Schema &schema, const Options &options, const char *how,
        const std::string &id)
try {
    Options plain = options;
    plain.trial_seconds = 0;
    plain.joins.clear();
    plain.asks = false;
    Transaction transaction(schema, plain);
    transaction.update(how, trial_target, {{how, id}});
    return transaction.execute(device);
} catch (const Failure &failure) {
    const std::string_view what = failure.what();
    const bool is_disk = what.find("it can't be saved") != std::string::npos;
    fail(is_disk ? not_saved : failure.status(), {what});
}

std::string pending_id(Device &device)
{
    const std::vector<Instance> trials = device.select(trial_target, {"id", "state"});
    if (trials.empty() || trials[0].value("state") != "pending")
        fail(differs, {"nothing is on trial"});
    return trials[0].value("id");
}

} // namespace

void prepare_to_ask()
{
    if (!isatty(STDIN_FILENO) || !isatty(STDERR_FILENO)) {
        throw Misuse("--ask: nobody to ask; without it \"vornctl confirm ID\" keeps the change");
    }
    struct sigaction noted = {};
    noted.sa_handler = note_interruption;
    noted.sa_flags = SA_RESTART;
    for (const int each : {SIGINT, SIGTERM, SIGHUP, SIGQUIT})
        sigaction(each, &noted, nullptr);
    for (const int each : {SIGPIPE, SIGTTOU})
        signal(each, SIG_IGN);
}

int tell_of_trial(Device &device, const Schema &schema, const Options &options,
                  const std::string &id)
{
    if (!options.asks) {
        std::cout << id << std::endl;
        if (isatty(STDERR_FILENO)) {
            std::cerr
                << "It is on trial: \"vornctl confirm\" keeps it, \"vornctl revert\" takes it "
                   "back.\n";
        }
        return done;
    }
    const std::optional<bool> keeps = wants_to_keep(options.trial_seconds);
    if (keeps && *keeps) return end(device, schema, options, "confirm", id);
    if (keeps) end(device, schema, options, "revert", id);
    fail(refused, {"it was taken back"});
}

int end_trial(const Invocation &invocation, const char *how)
{
    Device device(invocation.options.timeout_ms());
    const Schema schema = Schema::of(device);
    const std::string id = invocation.words.empty() ? pending_id(device) : invocation.word(0);
    return end(device, schema, invocation.options, how, id);
}

} // namespace vorn::client
