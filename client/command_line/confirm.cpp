/* SPDX-License-Identifier: MIT */
/* vornctl confirm: what is on trial stays, be it a change or a firmware. */
#include "device.h"
#include "failure.h"
#include "schema.h"
#include "transaction.h"
#include "trial.h"

namespace vorn::client {

namespace {

constexpr char history_class[] = "history";
constexpr char upgrade_property[] = "upgrade";
const Target history_target = {history_class, {}, {}};

std::string upgrade_of(Device &device)
{
    const std::vector<Instance> histories = device.select(history_target, {upgrade_property});
    return histories.empty() ? "" : histories[0].value(upgrade_property);
}

int confirm_upgrade(const Options &options)
{
    Device device(options.timeout_ms());
    const Schema schema = Schema::of(device);
    if (!schema.find_property(history_class, upgrade_property))
        fail(differs, {"this device knows nothing of upgrades"});
    if (upgrade_of(device) != "pending") fail(differs, {"this firmware is confirmed"});
    Transaction transaction(schema, options);
    transaction.update("confirm the upgrade", history_target, {{upgrade_property, "confirm"}});
    const int status = transaction.execute(device);
    if (!options.explains && upgrade_of(device) == "pending")
        fail(refused, {"that this firmware is confirmed can't be kept; the log says why"});
    return status;
}

} // namespace

int confirm(const Invocation &invocation)
{
    if (!invocation.has("--upgrade")) return end_trial(invocation, "confirm");
    if (!invocation.words.empty()) throw Misuse("an upgrade has no ID");
    return confirm_upgrade(invocation.options);
}

} // namespace vorn::client
