/* SPDX-License-Identifier: MIT */
/* vornctl kick: a wireless station has to join again. */
#include <algorithm>

#include <strings.h>

#include "device.h"
#include "failure.h"
#include "inform.h"
#include "lsql.h"
#include "schema.h"
#include "verb.h"

namespace vorn::client {

namespace {

bool is_mac(const std::string &text)
{
    constexpr std::size_t length = 17;
    for (std::size_t i = 0; i < text.size(); i++) {
        const bool is_right =
            i % 3 == 2 ? text[i] == ':' : std::isxdigit(static_cast<unsigned char>(text[i])) != 0;
        if (!is_right) return false;
    }
    return text.size() == length;
}

/* Who has joined, as far as the device knows. */
class Stations {
public:
    explicit Stations(Device &device)
    {
        Request request(Request::Kind::plain);
        request.select({"station", {}, {}}, {});
        const std::vector<Outcome> outcomes = parse_answer(device.ask(request.text()));
        if (!outcomes.empty()) stations_ = outcomes[0].instances;
        is_told_ = Schema::of(device).find("station") != nullptr;
    }

    bool contain(const std::string &mac) const
    {
        return std::any_of(stations_.begin(), stations_.end(), [&](const Instance &each) {
            return strcasecmp(each.value("mac").c_str(), mac.c_str()) == 0;
        });
    }
    /* Never where the device does not tell of stations, or not of all. */
    bool lack(const std::string &mac) const
    {
        return is_told_ && !contain(mac) &&
               std::none_of(stations_.begin(), stations_.end(),
                            [](const Instance &each) { return !each.value("unknown").empty(); });
    }

private:
    std::vector<Instance> stations_;
    bool is_told_ = false;
};

} // namespace

/* The plugin answers yes or no; what the device tells of its stations says why. */
int kick(const Invocation &invocation)
{
    const std::string mac = invocation.word(0);
    if (!is_mac(mac)) {
        throw Failure(misused, "\"" + mac + "\" is no MAC address such as 02:00:00:00:00:01");
    }
    Device device(invocation.options.timeout_ms());
    const Failure not_there(differs, "no station " + mac + " has joined");
    if (Stations(device).lack(mac)) throw not_there;
    return command(invocation.options, "send that station away", "kick", {"station=" + mac}, [&] {
        const Stations now(device);
        if (now.lack(mac)) throw not_there;
        return std::string(now.contain(mac) ? "hostapd did not do it; the station is still there"
                                            : "hostapd did not do it, or the station is not there");
    });
}

} // namespace vorn::client
