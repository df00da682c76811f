/* SPDX-License-Identifier: MIT */
/* Long results are read page by page. */
#include "pager.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <string>

#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "secrets.h"

namespace vorn::client {

namespace {

constexpr int not_found = 127; /* what a shell ends with that has no such program */

bool fits_the_screen(const std::string &text)
{
    winsize size = {};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_row == 0) return true;
    return std::ranges::count(text, '\n') < size.ws_row;
}

std::string pager_command()
{
    const char *wanted = std::getenv("PAGER");
    if (wanted && *wanted) return wanted;
    return "less 2>/dev/null || more";
}

/* False when there is no such program; one that is left early has been enough. */
bool page(const std::string &text)
{
    const std::string command = pager_command();
    if (command == "cat") return false;
    setenv("LESS", "FRX", 0);
    std::signal(SIGPIPE, SIG_IGN);
    std::FILE *pager = popen(command.c_str(), "w");
    if (!pager) return false;
    std::fwrite(text.data(), 1, text.size(), pager);
    const int status = pclose(pager);
    return status == -1 || !WIFEXITED(status) || WEXITSTATUS(status) != not_found;
}

} // namespace

Pager::Pager()
{
    if (is_on_terminal()) direct_ = std::cout.rdbuf(&held_);
}

Pager::~Pager()
{
    if (!direct_) return;
    std::cout.rdbuf(direct_);
    const std::string text = held_.str();
    if (fits_the_screen(text) || !page(text)) std::cout << text;
}

} // namespace vorn::client
