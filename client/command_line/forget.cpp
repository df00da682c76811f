/* SPDX-License-Identifier: MIT */
/* vornctl forget: what is kept of the configuration though no plugin could read it goes. */
#include "device.h"
#include "effects.h"
#include "failure.h"
#include "inform.h"
#include "verb.h"

namespace vorn::client {

namespace {

/* Of all that may speak against it the device tells nothing but that it is so. */
std::string reason_of(const Options &options, const std::string &what)
{
    Device device(options.timeout_ms());
    const Instance saves = saves_of(device).value_or(Instance());
    const std::string &result = saves.value("result");
    if (result == "held" || result == "failed") return saves.value("reason");
    throw Failure(differs, "nothing is kept" + (what.empty() ? "" : " of " + what));
}

} // namespace

int forget(const Invocation &invocation)
{
    const std::string class_name = invocation.word(0);
    const std::string name = invocation.word(1);
    std::vector<std::string> parameters = {"action=forget-kept"};
    if (!class_name.empty()) parameters.push_back("class=" + class_name);
    if (!name.empty()) parameters.push_back("name=" + name);
    return command(invocation.options, "forget it", "save", parameters, [&] {
        return reason_of(invocation.options, class_name.empty() ? "" : title_of(class_name, name));
    });
}

} // namespace vorn::client
