/* SPDX-License-Identifier: MIT */
#pragma once

namespace vorn {

class Client;

/* What a door calls itself in the log, how its clients speak, and who answers them. */
struct Door {
    const char *name;
    const char *accept_failed;
    const char *fcntl_failed;
    unsigned int head_size; /* bytes before a request's text; the length is the last word of them */
    const char *unknown_version; /* what is said of a first word that is not 0; null: any will do */
    bool stays;                  /* any number of requests and replies, both numbered */
    /* Gives the client its reply, if there is one. The text is terminated and may be changed. */
    void (*answer)(Client &client, char *request);
};

} // namespace vorn
