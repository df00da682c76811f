/* SPDX-License-Identifier: MIT */
/* Keys and passwords: saved and sent, but not shown. */
#include "secrets.h"

#include <unistd.h>

namespace vorn::client {

namespace {

constexpr char secret[] = "(secret)";
constexpr char other_secret[] = "(another secret)";

} // namespace

bool is_on_terminal()
{
    return isatty(STDOUT_FILENO) != 0;
}

void hide_secrets(std::vector<Instance> &instances, const Schema &schema)
{
    for (Instance &instance : instances) {
        for (auto &[property, value] : instance.values) {
            if (!value.empty() && schema.is_secret(instance.class_name, property)) value = secret;
        }
    }
}

void hide_secrets(std::vector<Difference> &differences, const Schema &schema)
{
    for (Difference &each : differences) {
        const std::vector<Instance> before = each.before;
        const std::vector<Instance> after = each.after;
        hide_secrets(each.before, schema);
        hide_secrets(each.after, schema);
        for (std::size_t i = 0; i < before.size() && i < after.size(); i++) {
            for (auto &[property, value] : each.after[i].values) {
                const std::string &old = before[i].value(property);
                if (value == secret && !old.empty() && old != after[i].value(property)) {
                    value = other_secret;
                }
            }
        }
    }
}

bool drop_secrets(Configuration &configuration, const Schema &schema)
{
    std::size_t dropped = 0;
    for (Instance &instance : configuration) {
        dropped += std::erase_if(instance.values, [&](const auto &each) {
            return !each.second.empty() && schema.is_secret(instance.class_name, each.first);
        });
    }
    return dropped > 0;
}

} // namespace vorn::client
