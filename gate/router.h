/* SPDX-License-Identifier: MIT */
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "asking.h"
#include "events.h"
#include "passwords.h"
#include "request.h"
#include "sessions.h"
#include "tokens.h"

namespace vorn::gate {

/* What all threads share. */
struct House {
    Sessions sessions;
    Tokens tokens;
    Schemas schemas;
    KnownAnswers answers;
    Stillness stillness;
    Tickets tickets;
    /* Whether that is the password: address, user, password. */
    std::function<Verdict(const std::string &, const std::string &, const std::string &)> judge;
};

/* Seconds of a steady clock. */
std::int64_t now_s();

/* A stream, when the answer begins one. */
struct Served {
    Answer answer;
    std::optional<StreamStart> stream = {};
};

/* The answer to one request. Nothing is thrown but what the C++ library throws for memory. */
Served serve(House &house, client::Device &device, Request &request);

/* Whether it asks for a password to be judged, which takes its time. */
bool is_login(const Request &request);

} // namespace vorn::gate
