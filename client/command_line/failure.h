/* SPDX-License-Identifier: MIT */
#pragma once

#include <initializer_list>
#include <stdexcept>
#include <string>
#include <string_view>

namespace vorn::client {

/* What vornctl ends with. */
enum ExitStatus {
    done = 0,        /* everything that was asked for was done */
    refused = 1,     /* what was asked for is there, but can't be so */
    misused = 2,     /* the command line or the input was not understood */
    not_there = 3,   /* no daemon, or it did not answer in time */
    no_answer = 4,   /* the daemon closed the connection without an answer */
    differs = 5,     /* no such class, property or instance, or a difference was found */
    not_saved = 6,   /* applied, but a reboot would undo it */
    not_applied = 7, /* recorded, but the running system is not what it says */
};

/* Ends the command; the text is meant for a person. */
class Failure : public std::runtime_error {
public:
    Failure(ExitStatus status, const std::string &text) : std::runtime_error(text), status_(status)
    {}
    ExitStatus status() const { return status_; }

private:
    ExitStatus status_;
};

/* The configuration is no longer the one that the request was made for. */
class MovedOn : public Failure {
public:
    explicit MovedOn(const std::string &text) : Failure(refused, text) {}
};

/* Throws a Failure of these parts. */
[[noreturn]] void fail(ExitStatus status, std::initializer_list<std::string_view> parts);

/* A command line that the table of verbs does not allow; the help is what helps. */
class Misuse : public Failure {
public:
    explicit Misuse(const std::string &text) : Failure(misused, text) {}
};

} // namespace vorn::client
