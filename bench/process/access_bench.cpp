/* SPDX-License-Identifier: MIT */
/*
 * What rights cost who asks: by a hundred rules that are about him and others, and where there are
 * none. Requests with and without them take turns, and what counts is what the best tenth of the
 * turns of each reaches: the difference is far less than what another program costs both.
 */
#include "config/config_state.h"
#include "core/base/file.h"
#include "core/peer.h"
#include "vorn/query.h"

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <string>
#include <utility>
#include <vector>

#include <benchmark/benchmark.h>
#include <sys/socket.h>
#include <unistd.h>

#include "access/access.h"
#include "process/board.h"
#include "process/numbered.h"

namespace vorn::bench {

namespace {

constexpr int rules = 100;
constexpr int turns = 2000;
constexpr int requests_in_a_turn = 20;
constexpr uid_t nobody_in_particular = 65534;

/* One end of a connection of somebody who is not root, to whom no rule would apply. */
class Connection {
public:
    Connection()
    {
        const bool is_root = geteuid() == 0;
        int ends[2] = {-1, -1};
        if (is_root && seteuid(nobody_in_particular) != 0) std::abort();
        if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) std::abort();
        if (is_root && seteuid(0) != 0) std::abort();
        ours_ = Fd(ends[0]);
        theirs_ = Fd(ends[1]);
    }
    int descriptor() const { return ours_.get(); }

private:
    Fd ours_;
    Fd theirs_;
};

void put(const char *class_name, const char *name,
         std::initializer_list<std::pair<const char *, std::string>> values)
{
    vorn_instance *instance = vorn_instance_new(vorn_classes_get(class_name), name);
    for (const auto &[property, value] : values)
        vorn_instance_set_value(instance, property, value.c_str());
    vorn_instances_add(running_config, instance);
}

/* Half of them are about everybody, and permit what no rule would: a property each, in turns. */
void put_rules()
{
    for (int i = 0; i < rules; i++) {
        put(access_rule_class, numbered("rule", i).c_str(),
            {{"order", std::to_string(i)},
             {"subject", i % 2 ? "any" : numbered("user:somebody", i)},
             {"class", "Item"},
             {"properties", numbered("p", i / 2 % values_per_instance)},
             {"operations", "read update"},
             {"effect", "permit"}});
    }
    put(access_default_class, nullptr, {{"read", "deny"}, {"write", "deny"}});
}

void ask(const std::string &request)
{
    const Text answer(vorn_query_eval(request.c_str()));
    if (!answer || std::string(answer.get()).find("<rc>0</rc>") == std::string::npos) std::abort();
}

/* With room for what is known of him as if the connection stayed, and else as if it was new. */
void ask_as_somebody(const Connection &connection, const std::string &request,
                     PeerCredentials *kept = nullptr)
{
    const PeerOfRequest asked_for_by(connection.descriptor(), kept);
    PeerOfRequest::asks();
    ask(request);
}

double now_ns()
{
    struct timespec now;
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return 1e9 * static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec);
}

/* How long one of some requests takes. */
template <typename Ask>
double take_turn(Ask ask_once)
{
    ask_once(); /* it finds everything as the turns before have left it */
    const double before = now_ns();
    for (int i = 0; i < requests_in_a_turn; i++)
        ask_once();
    return (now_ns() - before) / requests_in_a_turn;
}

double best_fiftieth(std::vector<double> &all)
{
    std::nth_element(all.begin(), all.begin() + turns / 50, all.end());
    return all[turns / 50];
}

void compare(benchmark::State &state, const std::string &request)
{
    set_up_board(1000, 0);
    put_rules();
    const Connection connection;
    PeerCredentials kept;
    std::vector<double> of_nobody;
    std::vector<double> without_rules;
    std::vector<double> with_rules;
    std::vector<double> with_rules_staying;
    vorn_instances *const no_rules = vorn_instances_new();
    for (auto _ : state) {
        for (int i = 0; i < turns; i++) {
            put_rules_in_force(no_rules);
            of_nobody.push_back(take_turn([&] { ask(request); }));
            without_rules.push_back(take_turn([&] { ask_as_somebody(connection, request); }));
            put_rules_in_force(running_config);
            with_rules.push_back(take_turn([&] { ask_as_somebody(connection, request); }));
            with_rules_staying.push_back(
                take_turn([&] { ask_as_somebody(connection, request, &kept); }));
        }
    }
    put_rules_in_force(no_rules);
    vorn_instances_delete(no_rules);
    state.counters["none_ns"] = best_fiftieth(without_rules) - best_fiftieth(of_nobody);
    state.counters["extra_ns"] = best_fiftieth(with_rules) - best_fiftieth(without_rules);
    state.counters["extra_stays_ns"] =
        best_fiftieth(with_rules_staying) - best_fiftieth(without_rules);
}

void SelectWithRules(benchmark::State &state)
{
    compare(state, "<lsql><select><Item name=\"item500\"><p3/></Item></select></lsql>");
}

void UpdateWithRules(benchmark::State &state)
{
    compare(state, "<lsql><update><Item name=\"item500\"><p3>new</p3></Item></update></lsql>");
}

BENCHMARK(SelectWithRules)->Iterations(1)->Repetitions(1);
BENCHMARK(UpdateWithRules)->Iterations(1)->Repetitions(1);

} // namespace

} // namespace vorn::bench
