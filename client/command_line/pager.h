/* SPDX-License-Identifier: MIT */
#pragma once

#include <sstream>
#include <streambuf>

namespace vorn::client {

/*
 * Holds back what goes to a terminal and, when it ends, shows it: through a pager if it has more
 * lines than the screen, as PAGER names it, else less(1) or more(1). Elsewhere it does nothing.
 */
class Pager {
public:
    Pager();
    Pager(const Pager &) = delete;
    ~Pager();

private:
    std::stringbuf held_;
    std::streambuf *direct_ = nullptr;
};

} // namespace vorn::client
