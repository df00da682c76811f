/* SPDX-License-Identifier: MIT */
#pragma once

#include <string>
#include <vector>

namespace vorn::check {

struct Finding {
    long line; /* in the file; 0 for what concerns all of it */
    std::string text;
};

/* One configuration file, held against the plugins. */
struct CheckedFile {
    enum class State {
        refused,    /* not even taken for a document: it is missing, or its header is wrong */
        not_parsed, /* taken, but no configuration */
        usable,
    };
    std::string role; /* startup, default or rescue */
    std::string path;
    State state = State::refused;
    int instances = 0;
    std::vector<std::string> notes; /* of its versions */
    std::vector<Finding> findings;
};

/* Reads the file as a boot would, into a configuration of its own. */
CheckedFile check_file(const std::string &role, const std::string &path);

struct Boot {
    const CheckedFile *source = nullptr; /* null when no file can be used */
};

/* Which of the files, given in the order startup, default, rescue, the daemon would end up with. */
Boot simulate(const std::vector<CheckedFile> &files);

} // namespace vorn::check
