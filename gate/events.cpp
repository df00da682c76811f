/* SPDX-License-Identifier: MIT */
/* Events as text, and what a stream begins with. */
#include "events.h"

#include <cstdlib>
#include <fstream>
#include <sstream>

#include "aftermath.h"
#include "sha256.h"

namespace vorn::gate {

namespace {

constexpr char pid_file[] = "/var/run/vorn.pid";
constexpr std::size_t digits_of_epoch = 8;

std::string frame(const char *name, const std::string &id, const std::string &data)
{
    std::string text = "event: " + std::string(name) + "\n";
    if (!id.empty()) text += "id: " + id + "\n";
    return text + "data: " + data + "\n\n";
}

/* "EPOCH-NUMBER" of this epoch; below 0 for any other. */
long long number_in(const std::string &id, const std::string &epoch)
{
    if (!id.starts_with(epoch + "-")) return -1;
    char *end = nullptr;
    const long long number = std::strtoll(id.c_str() + epoch.size() + 1, &end, 10);
    return *end == '\0' && number >= 0 ? number : -1;
}

} // namespace

const char keep_alive[] = ":\n\n";
const char farewell[] = "event: bye\ndata: {}\n\n";
const char give_way[] = "retry: 30000\nevent: later\ndata: {}\n\n";

/* The kernel's word for when that process began, which no other one of its number shares. */
std::string present_epoch()
{
    std::string pid;
    std::ifstream(pid_file) >> pid;
    std::ifstream status("/proc/" + std::to_string(std::atoi(pid.c_str())) + "/stat");
    std::string line;
    std::getline(status, line);
    const std::size_t name = line.rfind(')');
    std::istringstream words(name == std::string::npos ? "" : line.substr(name + 1));
    constexpr int words_before = 19;
    std::string began;
    for (int i = 0; i <= words_before; i++)
        words >> began;
    return sha256(pid + " " + began).substr(0, digits_of_epoch);
}

long long number_of(const client::Instance &commit)
{
    return std::atoll(commit.called().c_str());
}

Event event_of_commit(const client::Instance &commit, const std::string &epoch)
{
    return {Event::Kind::change, number_of(commit),
            frame("change", epoch + "-" + commit.called(), written(json_of_commit(commit)))};
}

Event event_of_trial(const std::vector<client::Instance> &trials)
{
    return {Event::Kind::trial, 0, frame("trial", "", written(json_of_trial(trials)))};
}

Event event_of_state(const State &state)
{
    return {Event::Kind::other, 0, frame("state", "", written(json_of_state(state)))};
}

Event event_of_reset(const std::string &epoch, long long number)
{
    return {Event::Kind::other, 0, frame("reset", epoch + "-" + std::to_string(number), "{}")};
}

std::vector<client::Instance> present_trial(Desk &desk, const Caller &caller)
{
    return select(desk, caller, {"trial", {}, {}},
                  {"state", "id", "holder", "since", "until", "remaining"});
}

std::string mark_of_trial(const std::vector<client::Instance> &trials)
{
    if (trials.empty() || trials[0].value("state") != "pending") return {};
    return trials[0].value("id") + trials[0].value("until");
}

Answer begin_stream(Desk &desk, const Caller &caller, const Request &request, StreamStart &start)
{
    const std::string epoch = present_epoch();
    const std::vector<client::Instance> commits = last_commits(desk, caller);
    const std::vector<client::Instance> trials = present_trial(desk, caller);
    start.caller = caller;
    start.number = commits.empty() ? 0 : number_of(commits.back());
    start.trial = mark_of_trial(trials);

    Answer answer = {200, "text/event-stream", ""};
    const Json hello = object();
    put_text(hello, "commit", present_commit(desk, caller));
    put(hello, "number", number(start.number));
    answer.body = frame("hello", "", written(hello));
    if (!request.last_event_id.empty()) {
        const long long last = number_in(request.last_event_id, epoch);
        const long long oldest = commits.empty() ? 0 : number_of(commits.front());
        const bool is_known = last >= 0 && last <= start.number && last + 1 >= oldest;
        if (!is_known) answer.body += event_of_reset(epoch, start.number).text;
        for (const client::Instance &each : commits)
            if (is_known && number_of(each) > last)
                answer.body += event_of_commit(each, epoch).text;
    }
    answer.body += event_of_trial(trials).text;
    return answer;
}

} // namespace vorn::gate
