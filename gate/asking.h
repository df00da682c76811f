/* SPDX-License-Identifier: MIT */
#pragma once

#include <memory>
#include <string>
#include <vector>

#include <device.h>

#include "answer.h"
#include "known_answers.h"
#include "schemas.h"

namespace vorn::gate {

/* Who asks, and what by. */
struct Caller {
    std::string user;
    std::string session; /* his cookie; empty for a program with a token */
    std::string key;     /* of the session or of the token, for counting */
};

/* What an answer is made with: one for each thread that makes some. */
struct Desk {
    client::Device &device;
    Schemas &schemas;
    KnownAnswers &answers;
    Stillness &stillness;
};

/* A request in the name of somebody. */
client::Request request_for(const Caller &caller, client::Request::Kind kind);

/* The outcomes of a request; what the daemon has against it as a whole is a Problem. */
std::vector<client::Outcome> ask(Desk &desk, const client::Request &request);

/* One class, its properties named or all. */
std::vector<client::Instance> select(Desk &desk, const Caller &caller, const client::Target &target,
                                     const std::vector<std::string> &properties = {});

/* A Problem of what an error of the daemon says, which may be several lines. */
Problem problem_of(const std::string &error, int change = -1);
Wrong wrong_of(const std::string &line, int change = -1);

/* The running configuration's id. */
std::string present_commit(Desk &desk, const Caller &caller);

/* An id as clients may send it, in quotes or without; the daemon compares. */
std::string unquoted(std::string_view tag);

} // namespace vorn::gate
