/* SPDX-License-Identifier: MIT */
/* Keys and passwords: saved and sent, but not shown. */
#include "secrets.h"

#include <algorithm>

#include <unistd.h>

namespace vorn::client {

namespace {

constexpr char hidden[] = "********"; /* by the device */
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

namespace {

/* Whether the device told of such an instance's secret that it is there, and nothing else. */
bool is_hidden(const Configuration &running, const Instance &instance, const std::string &property)
{
    return std::ranges::any_of(running, [&](const Instance &each) {
        return each.class_name == instance.class_name && each.name == instance.name &&
               each.value(property) == hidden;
    });
}

bool is_set(const Configuration &running, const Instance &instance, const std::string &property)
{
    return std::ranges::any_of(running, [&](const Instance &each) {
        return each.class_name == instance.class_name && each.name == instance.name &&
               !each.value(property).empty();
    });
}

} // namespace

void hide_as_the_device_does(Configuration &saved, const Configuration &running,
                             const Schema &schema)
{
    for (Instance &instance : saved) {
        for (auto &[property, value] : instance.values) {
            if (value.empty() || !schema.is_secret(instance.class_name, property)) continue;
            if (is_hidden(running, instance, property)) value = hidden;
        }
    }
}

std::size_t drop_hidden(Configuration &file, const Configuration &running, const Schema &schema)
{
    std::size_t dropped = 0;
    for (Instance &instance : file) {
        dropped += std::erase_if(instance.values, [&](const auto &each) {
            return each.second == hidden && schema.is_secret(instance.class_name, each.first) &&
                   !is_set(running, instance, each.first);
        });
    }
    return dropped;
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
