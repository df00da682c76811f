/* SPDX-License-Identifier: MIT */
/* vornctl rollback: back to what was saved before, in one transaction. */
#include "device.h"
#include "generations.h"
#include "schema.h"
#include "transaction.h"
#include "verb.h"

namespace vorn::client {

int rollback(const Invocation &invocation)
{
    const std::string number = generation_in(invocation.word(0));
    Device device(invocation.options.timeout_ms());
    const Schema schema = Schema::of(device);
    Transaction transaction(schema, invocation.options);
    transaction.update("rollback to " + number, {"history", {}, {}}, {{"rollback", number}});
    return transaction.execute(device);
}

} // namespace vorn::client
