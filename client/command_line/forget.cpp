/* SPDX-License-Identifier: MIT */
/* vornctl forget: what is kept of the configuration though no plugin could read it goes. */
#include "device.h"
#include "effects.h"
#include "failure.h"
#include "inform.h"
#include "text.h"

namespace vorn::client {

namespace {

/* Of all that may speak against it the device tells nothing but that it is so. */
std::string why_not_forgotten(const Invocation &invocation)
{
    Device device(invocation.options.timeout_ms());
    const Instance saves = saves_of(device).value_or(Instance());
    const std::string &result = saves.value("result");
    if (result == "held" || result == "failed") return saves.value("reason");
    const std::string class_name = invocation.word(0);
    if (class_name.empty()) fail(differs, {"nothing is kept"});
    fail(differs, {"nothing is kept of ", title_of(class_name, invocation.word(1))});
}

} // namespace

int forget(const Invocation &invocation)
{
    std::vector<std::string> parameters = {"action=forget-kept"};
    const char *const names[] = {"class=", "name="};
    for (std::size_t i = 0; i < std::size(names); i++) {
        const std::string word = invocation.word(i);
        if (!word.empty()) parameters.push_back(concat({names[i], word}));
    }
    return command(invocation, "forget it", "save", parameters, why_not_forgotten);
}

} // namespace vorn::client
