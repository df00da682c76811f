/* SPDX-License-Identifier: MIT */
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "content.h"
#include "reason.h"
#include "states.h"

namespace vorn::fleet {

/* What becomes of changes that others make to what the document is about. */
enum class Local : std::uint8_t { report, refuse, overwrite };

/* What a device is to be like. */
struct Desired {
    std::int64_t generation = 0;
    std::string digest; /* the SHA-256 of the document's bytes */
    std::string by;
    std::string why;
    std::string schema; /* empty for any */
    std::int64_t not_before = 0;
    std::int64_t not_after = 0; /* 0 for none, of both */
    std::int64_t trial = 0;
    std::int64_t attempts = 1;
    bool connects_anew = true;
    Local local = Local::report;
    std::string hash; /* of the content */
    Content content;
};

/* For whom a document has to be. */
struct Identity {
    std::string tenant;
    std::string device;
};

/* 1 to 64 letters, digits, points, hyphens and underscores: what topics are made of. */
bool is_identifier(std::string_view text);

/*
 * Reads a document whose signature was right. What is refused leaves its number in the result as
 * far as it was read.
 */
Refusal read_desired(std::string_view document, const Identity &identity, Desired &desired);

/* A question of somebody who supports the device: one of the two. */
struct Question {
    std::int64_t not_after = 0;
    std::string lsql;
    Watch watch;
};
Refusal read_question(std::string_view document, const Identity &identity, Question &question);

} // namespace vorn::fleet
