/* SPDX-License-Identifier: MIT */
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "json.h"

namespace vorn::gate {

struct Answer {
    int status = 200;
    std::string type = "application/json";
    std::string body;
    std::vector<std::pair<std::string, std::string>> headers = {};
};

Answer answer_of(const Json &value, int status = 200);

/* One thing that is wrong; what is not known is empty. */
struct Wrong {
    std::string detail;
    std::string class_name = {};
    std::string name = {};
    std::string property = {};
    int change = -1;
};

/* Thrown by whoever can't do what he was asked for. */
struct Problem {
    int status;
    const char *type; /* what follows "urn:vorn:" */
    std::string detail;
    std::vector<Wrong> errors = {};
    std::vector<std::pair<std::string, std::string>> headers = {};
};

Json json_of(const Wrong &wrong);
Answer answer_of(const Problem &problem);

/* As the web server takes it, with its headers. */
std::string bytes_of(const Answer &answer);

/* The same without a length, for a body that goes on. */
std::string head_of_stream(const Answer &answer);

} // namespace vorn::gate
