/* SPDX-License-Identifier: MIT */
#pragma once

#include <cstdint>
#include <string>

namespace vorn::fleet {

/* Why a document is not, or not yet, in force. */
enum class Reason : std::uint8_t {
    none,
    too_large,
    unsigned_, /* no first line as it has to be */
    unknown_key,
    damaged, /* the signature is not that of these bytes, or the hash not that of the content */
    malformed,
    other_device,
    older,
    reused, /* the number of what is in force, with other content */
    not_yet,
    clock, /* there are bounds of time, and the device does not know the time */
    expired,
    schema,
    unknown_class,
    rejected, /* by the daemon */
    busy,     /* somebody else's change is on trial, or no daemon answers */
    no_note,  /* what is about to be tried can't be written down */
    unreached,
    interrupted,
    not_saved,
    off,
};

/* As documents have it. */
const char *word_of(Reason reason);

/* The reason, and what it is about, for people. */
struct Refusal {
    Reason reason = Reason::none;
    std::string detail;

    explicit operator bool() const { return reason != Reason::none; }
    bool operator==(const Refusal &) const = default;
};

} // namespace vorn::fleet
