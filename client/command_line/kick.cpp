/* SPDX-License-Identifier: MIT */
/* vornctl kick: a wireless station has to join again. */
#include <algorithm>

#include <strings.h>

#include "device.h"
#include "failure.h"
#include "inform.h"
#include "schema.h"
#include "text.h"

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
    explicit Stations(Device &device) : stations_(device.select({"station", {}, {}}))
    {
        is_told_ = Schema::of(device).find("station") != nullptr;
    }

    bool contain(const std::string &mac) const
    {
        return std::ranges::any_of(stations_, [&](const Instance &each) {
            return strcasecmp(each.value("mac").c_str(), mac.c_str()) == 0;
        });
    }
    /* It may be there where the device does not tell of stations, or not of all. */
    void expect(const std::string &mac) const
    {
        if (is_told_ && !contain(mac) && std::ranges::none_of(stations_, [](const Instance &each) {
                return !each.value("unknown").empty();
            })) {
            fail(differs, {"no station ", mac, " has joined"});
        }
    }

private:
    std::vector<Instance> stations_;
    bool is_told_ = false;
};

std::string why_it_stays(const Invocation &invocation)
{
    const std::string mac = invocation.word(0);
    Device device(invocation.options.timeout_ms());
    const Stations now(device);
    now.expect(mac);
    return now.contain(mac) ? "hostapd did not do it; the station is still there"
                            : "hostapd did not do it, or the station is not there";
}

} // namespace

/* The plugin answers yes or no; what the device tells of its stations says why. */
int kick(const Invocation &invocation)
{
    const std::string mac = invocation.word(0);
    if (!is_mac(mac)) {
        fail(misused, {"\"", mac, "\" is no MAC address such as 02:00:00:00:00:01"});
    }
    Device device(invocation.options.timeout_ms());
    Stations(device).expect(mac);
    return command(invocation, "send that station away", "kick", {concat({"station=", mac})},
                   why_it_stays);
}

} // namespace vorn::client
